#include "base/error_log.h"

#include <new>

namespace borvik {

namespace {

constexpr std::string_view kRootTag = "BorvikLog";

}  // namespace

ErrorLog::ErrorLog() {
    clear();
}

bool ErrorLog::add(LogEntryKind kind, std::string_view tag, std::string_view text) {
    return stack_.last()->children().append(
        std::unique_ptr<LogEntry2>(new (std::nothrow) LogEntry2(kind, tag, text)));
}

bool ErrorLog::enterContext(std::string_view tag) {
    if (!add(LogEntryKind::kContext, tag, {})) {
        return false;
    }
    return stack_.append(stack_.last()->children().last());
}

void ErrorLog::leaveContext() {
    if (stack_.getSize() <= 1) {
        return;
    }
    stack_.pop();
    if (stack_.getSize() <= 1) {
        return;
    }
    ExtPtrArray<LogEntry2>& children = stack_.last()->children();
    const LogEntry2* const last = children.last();
    if (last != nullptr && last->isEmptyContext()) {
        delete children.pop();
    }
}

void ErrorLog::clear() {
    root_ = std::make_unique<LogEntry2>(LogEntryKind::kContext, kRootTag, std::string_view());
    stack_.clearWithoutDelete();
    stack_.append(root_.get());
}

}  // namespace borvik
