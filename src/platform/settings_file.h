/// The text of a settings file and how it is read and edited, apart from where it is kept.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace platform {

/// The form of a key in which two spellings of it are equal: roots in full, steps joined by single
/// "\", lower case. The case is kept with `keepCase`.
std::string normalisedKey(std::string_view key, bool keepCase = false);

/// Whether a setting that switches something is on: it is off where the text is empty, "0", "no",
/// "off", "false" or a "dword:" of zeros, blanks and case aside, and on with any other.
bool isSwitchedOn(std::string_view text);

/// What a settings file says, ready for look-ups.
class SettingsIndex {
public:
    explicit SettingsIndex(std::string_view content);

    const std::string* find(std::string_view key, std::string_view name) const;
    std::vector<std::string> keysBelow(std::string_view key) const;
    /// Why the content can't be relied on: the first line, comments aside, that is no UTF-8 text or
    /// may say something and can't be read. Empty when all is well.
    const std::string& fault() const { return fault_; }

private:
    std::string fault_;
    std::unordered_map<std::string, std::string> texts_;
    std::vector<std::string> keys_;
};

/// Edits of a file's content that touch no other line. The first two return false for a key without
/// a root, for a key, name or text that no line can hold or that isn't UTF-8, and for a content in
/// UTF-16.
class SettingsEditor {
public:
    /// `content` is the file, nothing for one that isn't there.
    explicit SettingsEditor(std::optional<std::string> content);

    bool createKey(std::string_view key);
    bool write(std::string_view key, std::string_view name, std::string_view text);
    void remove(std::string_view key, std::string_view name);
    void removeKey(std::string_view key);

    /// The content to store; nothing when the file goes.
    std::optional<std::string> result() const;

private:
    struct Line;

    std::vector<Line> parse() const;
    void appendSection(std::string_view key);

    std::string content_;
    bool isMissing_;
    std::size_t start_;  ///< Behind the byte order mark.
};

}  // namespace platform
