#include "platform/event_log.h"

#include <syslog.h>

#include <mutex>
#include <utility>

namespace platform {
namespace {

std::mutex sinkMutex;

EventSink& currentSink() {
    static EventSink sink;
    return sink;
}

}  // namespace

void reportEvent(const char* source, std::string_view text) {
    const std::lock_guard lock(sinkMutex);
    if (const EventSink& sink = currentSink()) {
        sink(source, text);
        return;
    }
    // The connection and its name belong to the program that this library is a part of.
    syslog(LOG_USER | LOG_ERR, "%s: %.*s", source, static_cast<int>(text.size()), text.data());
}

void replaceEventSink(EventSink sink) {
    const std::lock_guard lock(sinkMutex);
    currentSink() = std::move(sink);
}

}  // namespace platform
