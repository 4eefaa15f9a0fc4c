#include "base/log_base.h"

#include <cerrno>

namespace borvik {

void LogBase::getXml(StringBuffer& /*out*/) {}
void LogBase::getHtml(StringBuffer& /*out*/) {}
void LogBase::getText(StringBuffer& /*out*/) {}
bool LogBase::logError(const char* /*text*/) {
    return true;
}
bool LogBase::logInfo(const char* /*text*/) {
    return true;
}
bool LogBase::logXml(const char* /*text*/) {
    return true;
}
bool LogBase::clearLog() {
    return true;
}
bool LogBase::enterContext(const char* /*tag*/, bool /*unused*/) {
    return true;
}
bool LogBase::leaveContext() {
    return true;
}
bool LogBase::logData(const char* /*tag*/, const char* /*text*/) {
    return true;
}
bool LogBase::logDataInt(const char* /*tag*/, std::int32_t /*value*/) {
    return true;
}
bool LogBase::logData64(const char* /*tag*/, std::uint64_t /*value*/) {
    return true;
}
bool LogBase::logHex(const char* /*tag*/, std::uint32_t /*value*/) {
    return true;
}
void LogBase::logTimestamp(const char* /*tag*/) {}
bool LogBase::saveLog(bool /*unused*/, const char* /*path*/) {
    return true;
}

void LogBase::logLastSystemError() {
    const int code = errno;
    StringBuffer text;
    text.appendErrorText(code);
    logData("WindowsError", text.getString());
    logHex("WindowsErrorCode", static_cast<std::uint32_t>(code));
}

void LogBase::logSystemError(int code) {
    if (code == 0) {
        return;
    }
    StringBuffer text;
    text.appendErrorText(code);
    logData("WindowsError", text.getString());
}

}  // namespace borvik
