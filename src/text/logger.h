#pragma once

#include <cstdint>
#include <string_view>

#include "base/borvik_crit_sec.h"
#include "base/error_log.h"
#include "base/log_base.h"
#include "text/xstring.h"

namespace borvik {

/// Builds the tree of log entries of one operation in memory, and mirrors it line by line to a file
/// when `setDebugLogPath` named one. Several threads may log to one object.
class Logger : public LogBase, public BorvikCritSec {
public:
    Logger() = default;

    void getXml(StringBuffer& out) override;
    void getHtml(StringBuffer& out) override;
    void getText(StringBuffer& out) override;

    bool logError(const char* text) override;
    bool logInfo(const char* text) override;
    bool logXml(const char* text) override;
    bool clearLog() override;
    bool enterContext(const char* tag, bool unused = false) override;
    bool leaveContext() override;
    /// False without an entry when the tag is empty. A blank in the tag becomes "_", a null text
    /// "(NULL)". So for the three that follow.
    bool logData(const char* tag, const char* text) override;
    bool logDataInt(const char* tag, std::int32_t value) override;
    bool logData64(const char* tag, std::uint64_t value) override;
    bool logHex(const char* tag, std::uint32_t value) override;
    void logTimestamp(const char* tag) override;
    bool saveLog(bool unused, const char* path) override;

    /// Names the file that entries are appended to; empty for none. In the ANSI code page.
    void setDebugLogPath(const char* path);
    /// Contexts that are open, which is the indent of the mirrored lines.
    std::int32_t depth() const { return depth_; }

private:
    bool addText(LogEntryKind kind, const char* text);
    bool addData(const char* tag, std::string_view text, bool mirrored);
    void mirrorLine(std::string_view tag, std::string_view separator, std::string_view text);

    ErrorLog tree_;
    std::int32_t depth_ = 0;
    XString debugLogPath_;
};

}  // namespace borvik
