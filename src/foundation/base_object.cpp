#include "foundation/base_object.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>

#include "foundation/multi_string.h"
#include "foundation/narrow_string.h"
#include "foundation/system_files.h"
#include "platform/clock.h"
#include "platform/file_system.h"

namespace tessolt {
namespace {

constexpr std::size_t kScratchBytes = 64 * 1024;
constexpr std::uint32_t kLongLogRoom = 2047;
constexpr std::uint32_t kLeastSizeHint = 9;
constexpr std::size_t kActivityLineMax = 1023;
constexpr std::size_t kActivityLineCut = 1020;
constexpr std::uint32_t kActivityEntries = 100;
constexpr const char* kInitSection = "Init";
constexpr const char* kLogSection = "Log";
constexpr const char* kInitializedKey = "Initialized";
constexpr const char* kNextEntryKey = "NextEntry";
constexpr const char* kSourceName = "base_object.cpp";

/// Writes stamp and text into `buffer` and returns the line, cut where the buffer ends.
std::string_view FormatLine(char* buffer, std::size_t size, const char* format, va_list arguments) {
    const platform::LocalTime now = platform::localTime();
    const int stamp =
        std::snprintf(buffer, size, "[%02d:%02d:%02d] ", now.hour, now.minute, now.second);
    const auto used = static_cast<std::size_t>(stamp);
    const int text = std::vsnprintf(buffer + used, size - used, format, arguments);
    return {buffer, std::min(size - 1, used + static_cast<std::size_t>(std::max(text, 0)))};
}

/// The line as it is shown: with bit 4 each CR LF as LF, without it no break at the end and the
/// others spelled out.
std::string VisibleLine(std::uint32_t level, std::string_view line) {
    const bool keepsBreaks = (level & kLogFileAsIs) != 0;
    if (!keepsBreaks) {
        line = line.substr(0, line.find_last_not_of("\r\n") + 1);
    }
    std::string result;
    result.reserve(line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool isPair = line[i] == '\r' && i + 1 < line.size() && line[i + 1] == '\n';
        if (line[i] != '\r' && line[i] != '\n') {
            result.push_back(line[i]);
        } else if (keepsBreaks) {
            result.push_back(isPair ? '\n' : line[i]);
        } else {
            result.append(isPair ? " <CRLF> " : line[i] == '\r' ? " <CR> " : " <LF> ");
        }
        i += isPair ? 1 : 0;
    }
    return result;
}

void AppendActivity(const std::string& path, CZncMultiString& entries, std::string line) {
    if (line.size() > kActivityLineMax) {
        line.resize(kActivityLineCut);
        line.append("...");
    }
    platform::IniFile file(path);
    const std::uint32_t number = file.number(kInitSection, kNextEntryKey, 0);
    entries.Assign(file.section(kLogSection));
    entries.AddNumbered(line.c_str(), number);
    entries.KeepLast(kActivityEntries);
    file.removeSection(kLogSection);
    file.setSection(kLogSection, entries.GetEntries());
    file.setValue(kInitSection, kNextEntryKey,
                  std::to_string(static_cast<std::int32_t>(number + 1)));
    SaveIniFile(file);
}

}  // namespace

/// The lock and everything that it guards.
struct CZncBase::LogOutputs {
    std::recursive_mutex lock;
    CZncString logFile;
    CZncString activityFile;
    CZncMultiString entries;
    std::unique_ptr<char[]> scratch;
};

CZncBase::CZncBase(const char* className, std::int32_t number)
    : m_pszClassName(className), m_nClassNumber(number) {}

CZncBase::~CZncBase() {
    delete m_pOutputs.load(std::memory_order_acquire);
}

CZncBase::CZncBase(const CZncBase& other) noexcept
    : m_pszClassName(other.m_pszClassName), m_nClassNumber(other.m_nClassNumber) {}

CZncBase::LogOutputs& CZncBase::Outputs() {
    LogOutputs* outputs = m_pOutputs.load(std::memory_order_acquire);
    if (!outputs) {
        auto made = std::make_unique<LogOutputs>();
        if (m_pOutputs.compare_exchange_strong(outputs, made.get(), std::memory_order_acq_rel)) {
            outputs = made.release();
        }
    }
    return *outputs;
}

void CZncBase::SetLogFile(const char* path) {
    LogOutputs& outputs = Outputs();
    const std::lock_guard guard(outputs.lock);
    outputs.logFile.Assign(path);
}

void CZncBase::GetLogFile(CZncString& result) const {
    result.Assign("");
    if (LogOutputs* outputs = m_pOutputs.load(std::memory_order_acquire)) {
        const std::lock_guard guard(outputs->lock);
        result.Assign(outputs->logFile);
    }
}

void CZncBase::SetActivityFile(const char* path) {
    LogOutputs& outputs = Outputs();
    const std::lock_guard guard(outputs.lock);
    outputs.activityFile.Assign(path);
    if (outputs.activityFile.IsEmpty()) {
        return;
    }
    const std::string native = NativePath(outputs.activityFile.View());
    platform::FileInfo info;
    if (platform::statFile(native, info) == 0 && info.isRegular) {
        platform::removeFile(native);
    }
    platform::IniFile file(native);
    file.setValue(kInitSection, kInitializedKey, "1");
    file.setValue(kInitSection, kNextEntryKey, "0");
    file.save();
}

void CZncBase::GetActivityFile(CZncString& result) const {
    result.Assign("");
    if (LogOutputs* outputs = m_pOutputs.load(std::memory_order_acquire)) {
        const std::lock_guard guard(outputs->lock);
        result.Assign(outputs->activityFile);
    }
}

void CZncBase::WriteEntry(std::uint32_t level, std::string_view line) {
    LogOutputs& outputs = Outputs();
    std::string text = VisibleLine(level, line);
    if (!outputs.logFile.IsEmpty() && (level & (kLogFile | kLogFileAsIs)) != 0) {
        AppendTextFile(NativePath(outputs.logFile.View()), text + "\n");
    }
    if (!outputs.activityFile.IsEmpty() && (level & kLogActivity) != 0) {
        AppendActivity(NativePath(outputs.activityFile.View()), outputs.entries, std::move(text));
    }
}

void CZncBase::WriteLine(std::uint32_t level, const std::uint32_t* sizeHint, const char* format,
                         va_list arguments) try {
    LogOutputs* outputs = m_pOutputs.load(std::memory_order_acquire);
    if (!outputs || level == 0 || !format || !*format) {
        return;
    }
    const std::lock_guard guard(outputs->lock);
    if (outputs->logFile.IsEmpty() && outputs->activityFile.IsEmpty()) {
        return;
    }
    if (sizeHint) {
        Assert(*sizeHint >= kLeastSizeHint, kSourceName, __LINE__);
        const std::size_t size = std::size_t{*sizeHint} + kLongLogRoom;
        const auto buffer = std::make_unique_for_overwrite<char[]>(size);
        WriteEntry(level, FormatLine(buffer.get(), size, format, arguments));
        return;
    }
    if (!outputs->scratch) {
        outputs->scratch = std::make_unique_for_overwrite<char[]>(kScratchBytes);
    }
    WriteEntry(level, FormatLine(outputs->scratch.get(), kScratchBytes, format, arguments));
} catch (const std::exception&) {
    return;  // an entry that there is no memory for is lost, and nothing else
}

void CZncBase::Log(std::uint32_t level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    WriteLine(level, nullptr, format, arguments);
    va_end(arguments);
}

void CZncBase::LogLong(std::uint32_t level, std::uint32_t sizeHint, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    WriteLine(level, &sizeHint, format, arguments);
    va_end(arguments);
}

void CZncBase::Assert(bool condition, const char* file, std::int32_t line) {
    if (condition) {
        return;
    }
    const platform::LocalTime now = platform::localTime();
    CZncString text;
    text.FormatLong("[%02d:%02d:%02d] MERIVANE ASSERTION FAILURE, FILE: [%s]; LINE: %ld", now.hour,
                    now.minute, now.second, file, static_cast<long>(line));
    const char* folder = platform::environmentText("TESSOLT_DEBUG_DIR");
    platform::FileInfo info;
    if (folder && platform::statFile(folder, info) == 0 && info.isFolder) {
        AppendTextFile(std::string(folder) + "/assert.txt", text.GetString() + "\n");
    }
    ReportErrorEvent("%s", text.GetBuffer());
}

}  // namespace tessolt
