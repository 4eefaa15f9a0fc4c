/// INI files: sections in brackets with lines below them. Section and key names ignore ASCII case,
/// written files have CR LF line ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// One INI file in memory. Changes reach the file with `save`, all at once.
class IniFile {
public:
    /// Reads the file at `path`, a native one (see file_system.h). A missing file reads as empty;
    /// one that can't be read does too, and can't be saved.
    explicit IniFile(std::string path);

    /// All lines of the section in order, blanks at both ends removed, without empty lines and
    /// those that begin with ";". Empty when the section is missing.
    std::vector<std::string> section(std::string_view name) const;
    /// The decimal number at the start of the value of `key`, negative ones as their 32-bit
    /// unsigned value; `defaultValue` when the key is missing, 0 when its value is no number.
    std::uint32_t number(std::string_view section, std::string_view key,
                         std::uint32_t defaultValue) const;

    /// Replaces the lines of a section; one that isn't there goes to the end of the file. A line
    /// break inside a line starts another line, and a line that would read as a section header gets
    /// a "|" in front, so that no text can become structure.
    void setSection(std::string_view name, const std::vector<std::string>& lines);
    /// Removes a section with its header, if it is there.
    void removeSection(std::string_view name);
    /// Sets `key` to `value`, making the section when missing.
    void setValue(std::string_view section, std::string_view key, std::string_view value);

    /// Replaces the file in one step, readable by its owner only when it is new. False when it
    /// can't be written or is no regular file.
    bool save() const;

private:
    struct Range;

    Range find(std::string_view section) const;
    std::size_t findKey(Range range, std::string_view key) const;

    std::string path_;
    bool isReadable_ = true;
    std::vector<std::string> lines_;
};

}  // namespace platform
