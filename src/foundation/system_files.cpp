#include "foundation/system_files.h"

#include <cstdarg>
#include <cstdio>

#include "charset/ansi_text.h"
#include "platform/clock.h"
#include "platform/event_log.h"
#include "platform/file_system.h"

namespace tessolt {
namespace {

constexpr int kIniAttempts = 3;
constexpr std::uint32_t kIniRetryMs = 10;
constexpr unsigned kOwnerOnly = 0600;
constexpr std::size_t kEventBytes = 2048;
constexpr const char* kEventSource = "SceCli";

}  // namespace

std::string NativePath(std::string_view ansiPath) {
    return platform::toNativePath(borvik::ansiToUtf8(ansiPath));
}

bool FileExists(const char* path) {
    platform::FileInfo info;
    return path && platform::statFile(NativePath(path), info) == 0 && !info.isFolder;
}

bool SaveIniFile(const platform::IniFile& file) {
    for (int attempt = 1;; ++attempt) {
        if (file.save()) {
            return true;
        }
        if (attempt == kIniAttempts) {
            return false;
        }
        platform::sleepFor(kIniRetryMs);
    }
}

bool WriteIniNumber(const char* section, const char* key, std::uint32_t value, const char* path) {
    platform::IniFile file(NativePath(path));
    file.setValue(section, key, std::to_string(static_cast<std::int32_t>(value)));
    return file.save();
}

bool WriteIniSection(const char* section, const CZncMultiString* lines, const char* path) {
    const std::string native = NativePath(path);
    platform::FileInfo info;
    if (!lines && platform::statFile(native, info) != 0) {
        return true;
    }
    platform::IniFile file(native);
    if (lines) {
        file.setSection(section, lines->GetEntries());
    } else {
        file.removeSection(section);
    }
    return SaveIniFile(file);
}

bool AppendTextFile(const std::string& nativePath, std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() + 2);
    for (const char c : text) {
        if (c == '\n') {
            bytes.push_back('\r');
        }
        bytes.push_back(c);
    }
    platform::File file;
    const unsigned flags = platform::kOpenWrite | platform::kOpenCreate | platform::kOpenAppend |
                           platform::kOpenNonBlocking;
    return file.open(nativePath, flags, kOwnerOnly) == 0 && file.append(bytes) == 0;
}

void ReportErrorEvent(const char* format, ...) {
    char text[kEventBytes];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    platform::reportEvent(kEventSource, text);
}

}  // namespace tessolt
