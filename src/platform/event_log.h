/// The system's log for things that should never happen.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// Writes `text` as an error of `source` to the system log. Failure is ignored.
void reportEvent(const char* source, std::string_view text);

/// Receives source and text of each event in place of the system log.
using EventSink = std::function<void(const char* source, std::string_view text)>;
/// Sends all later events to `sink`, or to the system log again for an empty one. For tests.
void replaceEventSink(EventSink sink);

}  // namespace platform
