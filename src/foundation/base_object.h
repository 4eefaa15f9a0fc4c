#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace tessolt {

class CZncString;

/// Where and how `CZncBase::Log` writes; combined with |.
enum LogLevel : std::uint32_t {
    kLogFile = 1,      ///< To the log file, with line breaks made visible.
    kLogActivity = 2,  ///< To the activity file.
    kLogFileAsIs = 4,  ///< To the log file, with line breaks left in place; wins over kLogFile.
    kLogReply = 3,     ///< A server's reply.
    kLogProtocol = 6,  ///< What a protocol engine does.
};

/// Root of the system's own classes: a lock and two log outputs. The log file grows by a line an
/// entry; the activity file is a short history of the latest 100 entries in the form of an INI
/// file. An object logs once a caller has named a file. Logging never fails towards the caller:
/// what can't be written is lost.
///
/// The operations of this class may be called from several threads at once. Two objects that name
/// the same log file never tear a line, since each goes out in one append.
class CZncBase {
public:
    /// `className` labels the object for debugging and is kept as a pointer; null means none.
    /// A `number` other than 0 goes behind it.
    explicit CZncBase(const char* className = nullptr, std::int32_t number = 0);
    virtual ~CZncBase();
    /// A copy has the label and no log outputs.
    CZncBase(const CZncBase& other) noexcept;
    CZncBase& operator=(const CZncBase&) = delete;

    /// Names the log file, a path in the ANSI code page; empty for none. Touches no file.
    void SetLogFile(const char* path);
    void GetLogFile(CZncString& result) const;

    /// Names the activity file and starts an empty history in it.
    void SetActivityFile(const char* path);
    void GetActivityFile(CZncString& result) const;

    /// Writes "[HH:MM:SS] " and the text to the outputs that `level` names. The line is cut at
    /// 64 KiB.
    void Log(std::uint32_t level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    /// As `Log`, for lines of up to `sizeHint` + 2046 bytes.
    void LogLong(std::uint32_t level, std::uint32_t sizeHint, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

    /// Records a condition that doesn't hold, in the system log and in the file "assert.txt" of the
    /// folder named by the environment variable TESSOLT_DEBUG_DIR. Work goes on.
    static void Assert(bool condition, const char* file, std::int32_t line);

private:
    struct LogOutputs;

    /// Made at the first use, since most objects never log.
    LogOutputs& Outputs();
    /// Null for `sizeHint` means the buffer of the object.
    void WriteLine(std::uint32_t level, const std::uint32_t* sizeHint, const char* format,
                   va_list arguments);
    void WriteEntry(std::uint32_t level, std::string_view line);

    const char* m_pszClassName;
    std::int32_t m_nClassNumber;
    std::atomic<LogOutputs*> m_pOutputs{nullptr};
};

}  // namespace tessolt
