#include "platform/settings_file.h"

#include <algorithm>
#include <unordered_set>

#include "platform/ascii_text.h"

namespace platform {
namespace {

/// The first line of a file that writing made: when nothing else is left, the file goes.
constexpr std::string_view kMadeMark =
    "# This file was made for the keys below and goes with the last of them.\n";
/// Stands between text that had no line end of its own and the keys added behind it.
constexpr std::string_view kJoinMark =
    "\n# The line above gets its missing line break back out when the keys below are gone.\n";

constexpr char kKeyNameSeparator = '\n';

struct RootName {
    std::string_view brief;
    std::string_view full;
};
constexpr RootName kRootNames[] = {
    {"HKLM", "HKEY_LOCAL_MACHINE"},
    {"HKCR", "HKEY_CLASSES_ROOT"},
    {"HKCU", "HKEY_CURRENT_USER"},
    {"HKU", "HKEY_USERS"},
};

bool hasLineBreak(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result.push_back('\\');
        }
        result.push_back(c);
    }
    return result.append("\"");
}

/// Reads a quoted text from the start of `rest` and moves `rest` behind it.
std::string takeQuoted(std::string_view& rest) {
    std::string result;
    std::size_t i = 1;
    for (; i < rest.size() && rest[i] != '"'; ++i) {
        const bool isEscape =
            rest[i] == '\\' && i + 1 < rest.size() && (rest[i + 1] == '"' || rest[i + 1] == '\\');
        i += isEscape ? 1 : 0;
        result.push_back(rest[i]);
    }
    rest.remove_prefix(std::min(i + 1, rest.size()));
    return result;
}

std::string joined(const std::string& key, std::string_view name) {
    return key + kKeyNameSeparator + loweredText(name);
}

bool isBelow(const std::string& key, const std::string& parent) {
    return key.size() > parent.size() && key.starts_with(parent) && key[parent.size()] == '\\';
}

/// One line of the file, as far as it means something.
struct Meaning {
    enum Kind { kNothing, kSection, kText } kind = kNothing;
    std::string key;  ///< of a section, as written
    std::string name;
    std::string text;
};

Meaning readLine(std::string_view line) {
    line = trimmedBlanks(line);
    Meaning result;
    if (line.empty() || line.front() == '#' || line.front() == ';') {
        return result;
    }
    if (line.front() == '[') {
        const std::size_t close = line.rfind(']');
        if (close != std::string_view::npos) {
            result.kind = Meaning::kSection;
            result.key = line.substr(1, close - 1);
        }
        return result;
    }
    std::string_view rest = line;
    if (rest.front() == '"') {
        result.name = takeQuoted(rest);
    } else {
        const std::size_t sign = std::min(rest.find('='), rest.size());
        const std::string_view name = trimmedBlanks(rest.substr(0, sign));
        result.name = name == "@" ? std::string_view() : name;
        rest.remove_prefix(sign);
    }
    rest = trimmedBlanks(rest);
    if (rest.empty() || rest.front() != '=') {
        return result;
    }
    rest = trimmedBlanks(rest.substr(1));
    result.kind = Meaning::kText;
    result.text = !rest.empty() && rest.front() == '"' ? takeQuoted(rest) : std::string(rest);
    return result;
}

}  // namespace

std::string normalisedKey(std::string_view key, bool keepCase) {
    std::string result;
    while (!key.empty()) {
        const std::size_t end = std::min(key.find('\\'), key.size());
        std::string_view step = key.substr(0, end);
        key.remove_prefix(std::min(end + 1, key.size()));
        if (step.empty()) {
            continue;
        }
        if (result.empty()) {
            for (const RootName& root : kRootNames) {
                step = equalsIgnoringCase(step, root.brief) ? root.full : step;
            }
        } else {
            result.push_back('\\');
        }
        result.append(step);
    }
    return keepCase ? result : loweredText(result);
}

SettingsIndex::SettingsIndex(std::string_view content) {
    std::string key;
    bool hasSection = false;
    splitLines(content, [&](std::string_view line) {
        Meaning meaning = readLine(line);
        if (meaning.kind == Meaning::kSection) {
            keys_.push_back(normalisedKey(meaning.key, true));
            key = loweredText(keys_.back());
            hasSection = true;
        } else if (meaning.kind == Meaning::kText && hasSection) {
            texts_.try_emplace(joined(key, meaning.name), std::move(meaning.text));
        }
    });
}

const std::string* SettingsIndex::find(std::string_view key, std::string_view name) const {
    const auto found = texts_.find(joined(normalisedKey(key), name));
    return found == texts_.end() ? nullptr : &found->second;
}

bool SettingsIndex::hasKey(std::string_view key) const {
    const std::string wanted = normalisedKey(key);
    return std::any_of(keys_.begin(), keys_.end(), [&](const std::string& stored) {
        const std::string candidate = loweredText(stored);
        return candidate == wanted || isBelow(candidate, wanted);
    });
}

std::vector<std::string> SettingsIndex::keysBelow(std::string_view key) const {
    const std::string parent = normalisedKey(key);
    std::unordered_set<std::string> seen;
    std::vector<std::string> result;
    for (const std::string& stored : keys_) {
        if (!isBelow(loweredText(stored), parent)) {
            continue;
        }
        const std::size_t start = parent.size() + 1;
        std::string step = stored.substr(start, stored.find('\\', start) - start);
        if (seen.insert(loweredText(step)).second) {
            result.push_back(std::move(step));
        }
    }
    return result;
}

/// Where a line lies in the content, under which key it stands, and what it says.
struct SettingsEditor::Line {
    std::size_t begin;
    std::size_t end;  ///< Behind its line end.
    std::string key;  ///< Normalised; empty in front of the first section.
    Meaning meaning;

    bool isBlank(const std::string& content) const {
        return content.find_first_not_of(" \t\r\n", begin) >= end;
    }
};

SettingsEditor::SettingsEditor(std::optional<std::string> content)
    : content_(std::move(content).value_or(std::string())), isMissing_(!content.has_value()) {}

std::vector<SettingsEditor::Line> SettingsEditor::parse() const {
    std::vector<Line> lines;
    std::string key;
    for (std::size_t begin = 0; begin < content_.size();) {
        const std::size_t feed = content_.find('\n', begin);
        const std::size_t end = feed == std::string::npos ? content_.size() : feed + 1;
        std::string_view text(content_.data() + begin, end - begin);
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
            text.remove_suffix(1);
        }
        Meaning meaning = readLine(text);
        if (meaning.kind == Meaning::kSection) {
            key = normalisedKey(meaning.key);
        }
        lines.push_back({begin, end, key, std::move(meaning)});
        begin = end;
    }
    return lines;
}

void SettingsEditor::appendSection(std::string_view key) {
    if (isMissing_) {
        content_ = kMadeMark;
        isMissing_ = false;
    } else if (!content_.empty() && content_.back() != '\n') {
        content_.append(kJoinMark);
    }
    if (!content_.empty()) {
        content_.push_back('\n');
    }
    content_.append("[").append(normalisedKey(key, true)).append("]\n");
}

bool SettingsEditor::createKey(std::string_view key) {
    const std::string wanted = normalisedKey(key);
    if (wanted.empty() || hasLineBreak(key)) {
        return false;
    }
    const std::vector<Line> lines = parse();
    const bool exists = std::any_of(lines.begin(), lines.end(), [&](const Line& line) {
        return line.meaning.kind == Meaning::kSection && line.key == wanted;
    });
    if (!exists) {
        appendSection(key);
    }
    return true;
}

bool SettingsEditor::write(std::string_view key, std::string_view name, std::string_view text) {
    if (hasLineBreak(name) || hasLineBreak(text) || !createKey(key)) {
        return false;
    }
    const std::string wanted = normalisedKey(key);
    const std::vector<Line> lines = parse();
    const Line* behind = nullptr;
    for (const Line& line : lines) {
        if (line.key != wanted || line.meaning.kind == Meaning::kNothing) {
            continue;
        }
        behind = &line;
        if (line.meaning.kind == Meaning::kText && equalsIgnoringCase(line.meaning.name, name)) {
            break;
        }
    }
    std::string written = name.empty() ? "@" : quoted(name);
    written.append("=").append(quoted(text));
    if (behind->meaning.kind == Meaning::kText && equalsIgnoringCase(behind->meaning.name, name)) {
        const std::size_t length = content_.find_first_of("\r\n", behind->begin) - behind->begin;
        content_.replace(behind->begin, length, written);
    } else if (content_[behind->end - 1] == '\n') {
        content_.insert(behind->end, written + "\n");
    } else {
        content_.append("\n").append(written);
    }
    return true;
}

void SettingsEditor::remove(std::string_view key, std::string_view name) {
    const std::string wanted = normalisedKey(key);
    std::vector<Line> lines = parse();
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (line->key == wanted && line->meaning.kind == Meaning::kText &&
            equalsIgnoringCase(line->meaning.name, name)) {
            const bool endsFile = line->end == content_.size() && content_.back() != '\n';
            content_.erase(line->begin, line->end - line->begin);
            if (endsFile && !content_.empty()) {
                content_.pop_back();  // the end of the file had no line break before either
            }
        }
    }
}

void SettingsEditor::removeKey(std::string_view key) {
    const std::string wanted = normalisedKey(key);
    std::vector<Line> lines = parse();
    std::string kept;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Line& line = lines[i];
        const bool goes = line.meaning.kind != Meaning::kNothing &&
                          (line.key == wanted || isBelow(line.key, wanted));
        if (!goes) {
            kept.append(content_, line.begin, line.end - line.begin);
            continue;
        }
        // The blank line that a section was added with goes with its header.
        if (line.meaning.kind == Meaning::kSection && i > 0 && lines[i - 1].isBlank(content_)) {
            kept.resize(kept.size() - (lines[i - 1].end - lines[i - 1].begin));
        }
    }
    content_ = std::move(kept);
}

std::optional<std::string> SettingsEditor::result() const {
    if (isMissing_ || content_ == kMadeMark) {
        return std::nullopt;
    }
    std::string content = content_;
    if (content.ends_with(kJoinMark)) {
        content.resize(content.size() - kJoinMark.size());
    }
    return content;
}

}  // namespace platform
