/// File helpers of the foundation. All paths are 8-bit text in the ANSI code page.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/multi_string.h"
#include "platform/ini_file.h"

namespace tessolt {

/// The native path of an ANSI one (see platform::toNativePath).
std::string NativePath(std::string_view ansiPath);

/// True when `path` names something that isn't a folder.
bool FileExists(const char* path);

/// Writes `value` as a signed decimal number under `key`. False when the file can't be written.
bool WriteIniNumber(const char* section, const char* key, std::uint32_t value, const char* path);
/// Replaces the lines of a section, or deletes it for null, with up to 3 attempts.
bool WriteIniSection(const char* section, const CZncMultiString* lines, const char* path);
/// Saves with up to 3 attempts, since another program may hold the file for a moment.
bool SaveIniFile(const platform::IniFile& file);

/// Appends `text` to a text file in one write, each LF as CR LF. The file is made readable by its
/// owner only. False when it can't be written whole; the file is then as it was before, and nothing
/// is waited for.
bool AppendTextFile(const std::string& nativePath, std::string_view text);

/// Writes one entry, at most 2047 bytes long, to the system's event log.
void ReportErrorEvent(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tessolt
