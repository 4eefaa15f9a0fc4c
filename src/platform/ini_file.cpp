#include "platform/ini_file.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "platform/ascii_text.h"
#include "platform/file_system.h"

namespace platform {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeaderGuard = "|";
constexpr unsigned kOwnerOnly = 0600;

std::optional<std::string_view> sectionName(std::string_view line) {
    const std::string_view text = trimmedBlanks(line);
    if (text.empty() || text.front() != '[') {
        return std::nullopt;
    }
    return trimmedBlanks(text.substr(1, text.find(']') - 1));
}

std::string headerLine(std::string_view section) {
    return "[" + std::string(section) + "]";
}

}  // namespace

/// The lines from a header up to the next one; both are the line count when there is none.
struct IniFile::Range {
    std::size_t header;
    std::size_t end;
};

IniFile::IniFile(std::string path) : path_(std::move(path)) {
    std::string content;
    const int error = readWholeFile(path_, content);
    isReadable_ = error == 0 || error == ENOENT;
    splitLines(content, [this](std::string_view line) { lines_.emplace_back(line); });
}

IniFile::Range IniFile::find(std::string_view section) const {
    const auto isHeader = [](const std::string& line) { return sectionName(line).has_value(); };
    const auto header = std::find_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
        const auto name = sectionName(line);
        return name && equalsIgnoringCase(*name, section);
    });
    const auto end =
        header == lines_.end() ? header : std::find_if(header + 1, lines_.end(), isHeader);
    return {static_cast<std::size_t>(header - lines_.begin()),
            static_cast<std::size_t>(end - lines_.begin())};
}

std::size_t IniFile::findKey(Range range, std::string_view key) const {
    for (std::size_t i = range.header + 1; i < range.end; ++i) {
        const std::string_view line = lines_[i];
        const std::size_t sign = line.find('=');
        if (sign != std::string_view::npos &&
            equalsIgnoringCase(trimmedBlanks(line.substr(0, sign)), key)) {
            return i;
        }
    }
    return range.end;
}

std::vector<std::string> IniFile::section(std::string_view name) const {
    const Range range = find(name);
    std::vector<std::string> result;
    for (std::size_t i = range.header + 1; i < range.end; ++i) {
        const std::string_view line = trimmedBlanks(lines_[i]);
        if (!line.empty() && line.front() != ';') {
            result.emplace_back(line);
        }
    }
    return result;
}

std::uint32_t IniFile::number(std::string_view section, std::string_view key,
                              std::uint32_t defaultValue) const {
    const Range range = find(section);
    const std::size_t at = findKey(range, key);
    if (at == range.end) {
        return defaultValue;
    }
    std::string_view value = lines_[at];
    value = trimmedBlanks(value.substr(value.find('=') + 1));
    const bool isNegative = !value.empty() && value.front() == '-';
    std::uint32_t number = 0;
    for (std::size_t i = isNegative ? 1 : 0; i < value.size() && isDigit(value[i]); ++i) {
        number = number * 10 + static_cast<std::uint32_t>(value[i] - '0');
    }
    return isNegative ? 0 - number : number;
}

void IniFile::setSection(std::string_view name, const std::vector<std::string>& lines) {
    const Range range = find(name);
    std::vector<std::string> replacement{headerLine(name)};
    for (const std::string& text : lines) {
        splitLines(text, [&](std::string_view line) {
            replacement.emplace_back(sectionName(line) ? kHeaderGuard : "").append(line);
        });
    }
    const auto first = lines_.begin();
    const auto at = lines_.erase(first + static_cast<std::ptrdiff_t>(range.header),
                                 first + static_cast<std::ptrdiff_t>(range.end));
    lines_.insert(at, std::make_move_iterator(replacement.begin()),
                  std::make_move_iterator(replacement.end()));
}

void IniFile::removeSection(std::string_view name) {
    const Range range = find(name);
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(range.header),
                 lines_.begin() + static_cast<std::ptrdiff_t>(range.end));
}

void IniFile::setValue(std::string_view section, std::string_view key, std::string_view value) {
    Range range = find(section);
    if (range.header == lines_.size()) {
        lines_.push_back(headerLine(section));
        range.end = lines_.size();
    }
    std::string line = std::string(key) + "=" + std::string(value);
    const std::size_t at = findKey(range, key);
    if (at < range.end) {
        lines_[at] = std::move(line);
        return;
    }
    // Behind the last line that says something, so that blank lines stay between sections.
    std::size_t end = range.end;
    while (end > range.header + 1 && trimmedBlanks(lines_[end - 1]).empty()) {
        --end;
    }
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(end), std::move(line));
}

bool IniFile::save() const {
    if (!isReadable_) {
        return false;
    }
    std::string content;
    for (const std::string& line : lines_) {
        content.append(line).append(kLineEnd);
    }
    return replaceFile(path_, content, kOwnerOnly, false) == 0;
}

}  // namespace platform
