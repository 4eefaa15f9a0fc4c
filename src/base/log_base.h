#pragma once

#include <cstdint>

#include "base/string_buffer.h"

namespace borvik {

/// The logging interface that the library hands down every call chain, as the last argument of an
/// operation; callers may pass null. All texts are NUL-terminated and may be null. The bodies here
/// do nothing, and give true where they give anything.
class LogBase {
public:
    LogBase() = default;
    virtual ~LogBase() = default;

    LogBase(const LogBase&) = delete;
    LogBase& operator=(const LogBase&) = delete;

    /// The log as XML, HTML or indented text; `out` is replaced.
    virtual void getXml(StringBuffer& out);
    virtual void getHtml(StringBuffer& out);
    virtual void getText(StringBuffer& out);

    virtual bool logError(const char* text);
    virtual bool logInfo(const char* text);
    /// `text` is ready-made XML.
    virtual bool logXml(const char* text);
    /// Forgets every entry.
    virtual bool clearLog();
    /// Entries up to the matching `leaveContext` stand under `tag`.
    virtual bool enterContext(const char* tag, bool unused = false);
    virtual bool leaveContext();
    virtual bool logData(const char* tag, const char* text);
    virtual bool logDataInt(const char* tag, std::int32_t value);
    virtual bool logData64(const char* tag, std::uint64_t value);
    virtual bool logHex(const char* tag, std::uint32_t value);
    /// The system's millisecond tick count, in hexadecimal.
    virtual void logTimestamp(const char* tag);
    /// Writes the XML form to the file, replacing it. `path` is in the ANSI code page.
    virtual bool saveLog(bool unused, const char* path);

    /// Logs the text and the number of the calling thread's last system error (`errno`).
    void logLastSystemError();
    /// Logs the text of a system error number; nothing for 0.
    void logSystemError(int code);
};

/// Discards everything; one on the stack serves a call chain that nobody wants a log of.
class LogNull final : public LogBase {};

}  // namespace borvik
