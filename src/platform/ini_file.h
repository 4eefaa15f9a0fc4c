/// INI files: sections in brackets with lines below them. Section and key names ignore ASCII case,
/// written files have CR LF line ends. Paths are native ones (see file_system.h).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// All lines of `section` in order, blanks at both ends removed, without empty lines and those that
/// begin with ";". Empty when file or section is missing.
std::vector<std::string> readIniSection(const std::string& path, std::string_view section);
/// Replaces the lines of `section` by `lines`; a section that isn't there goes to the end of the
/// file, which is made when missing. False when the file can't be written. A line that would read
/// as a section header gets a "|" in front, and line breaks inside a line start a new one.
bool writeIniSection(const std::string& path, std::string_view section,
                     const std::vector<std::string>& lines);
/// Removes `section` with its header and lines. True when it is gone; a missing file is not made.
bool deleteIniSection(const std::string& path, std::string_view section);
/// The decimal number at the start of the value of `key`, negative ones as their 32-bit unsigned
/// value; `defaultValue` when the key is missing, 0 when its value is no number.
std::uint32_t readIniNumber(const std::string& path, std::string_view section, std::string_view key,
                            std::uint32_t defaultValue);
/// Sets `key` to `value`, making the section and the file when missing.
bool writeIniText(const std::string& path, std::string_view section, std::string_view key,
                  std::string_view value);

}  // namespace platform
