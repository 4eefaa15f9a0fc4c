#include "platform/settings_file.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/ascii_text.h"

namespace platform {
namespace {

/// The first line of a file that writing made: when nothing else is left, the file goes.
constexpr std::string_view kMadeMark =
    "# This file was made for the keys below and goes with the last of them.\n";
/// Stands between text that had no line end of its own and the keys added behind it.
constexpr std::string_view kJoinMark =
    "\n# The line above gets its missing line break back out when the keys below are gone.\n";

/// What means nothing at the ends of a key.
constexpr std::string_view kAroundKeys = " \t\\";
constexpr char kKeyNameSeparator = '\n';
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kNumberPrefix = "dword:";
constexpr std::string_view kOffWords[] = {"", "0", "no", "off", "false"};

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

/// No line of the file holds such a character: it may be a line end to whoever wrote the file.
bool hasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char c) { return c < ' ' && c != '\t'; });
}

/// Whether a key, in its normalised form, stands below a root that can be asked for.
bool hasKnownRoot(std::string_view key) {
    const std::string_view root = key.substr(0, key.find('\\'));
    return std::any_of(std::begin(kRootNames), std::end(kRootNames),
                       [&](const RootName& known) { return equalsIgnoringCase(root, known.full); });
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

std::size_t markLength(std::string_view content) {
    return content.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
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
    enum Kind { kNothing, kSection, kText, kUnclear } kind = kNothing;
    std::string key;  ///< of a section, as written
    std::string name;
    std::string text;
};

bool isEmptyOrComment(std::string_view line) {
    return line.empty() || line.front() == '#' || line.front() == ';';
}

Meaning readLine(std::string_view line) {
    line = trimmedBlanks(line);
    Meaning result;
    if (isEmptyOrComment(line)) {
        return result;
    }
    result.kind = Meaning::kUnclear;
    if (line.front() == '[') {
        const std::size_t close = std::min(line.find(']'), line.size());
        // A value behind the key would be lost.
        if (close < line.size() && isEmptyOrComment(trimmedBlanks(line.substr(close + 1)))) {
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
        if (name.find('"') != std::string_view::npos) {
            return result;  // Signs in front of a quoted name would make it another one.
        }
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

/// What the bytes behind a lead byte of UTF-8 may be (RFC 3629): how many, and the range of the
/// first of them, which is smaller behind some: no long forms, no surrogates.
struct Utf8Tail {
    unsigned char firstLead, lastLead;
    std::size_t bytes;
    unsigned char lowest, highest;
};

constexpr Utf8Tail kUtf8Tails[] = {
    {0x01, 0x7F, 0, 0, 0},       {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

/// The length of the character that the bytes begin with, 0 where they begin with none.
std::size_t utf8CharacterLength(std::string_view bytes) {
    const auto isWithin = [](char byte, unsigned char lowest, unsigned char highest) {
        const auto value = static_cast<unsigned char>(byte);
        return value >= lowest && value <= highest;
    };
    const auto* const tail = std::find_if(
        std::begin(kUtf8Tails), std::end(kUtf8Tails),
        [&](const Utf8Tail& each) { return isWithin(bytes[0], each.firstLead, each.lastLead); });
    if (tail == std::end(kUtf8Tails) || tail->bytes >= bytes.size()) {
        return 0;
    }
    const std::string_view rest = bytes.substr(1, tail->bytes);
    const bool isWhole = rest.empty() || (isWithin(rest[0], tail->lowest, tail->highest) &&
                                          std::all_of(rest.begin() + 1, rest.end(), [&](char byte) {
                                              return isWithin(byte, 0x80, 0xBF);
                                          }));
    return isWhole ? 1 + rest.size() : 0;
}

/// Whether the bytes are UTF-8 and hold no zero byte, as UTF-16 would.
bool isUtf8Text(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = utf8CharacterLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

}  // namespace

bool isSwitchedOn(std::string_view text) {
    const std::string word = loweredText(trimmedBlanks(text));
    if (std::find(std::begin(kOffWords), std::end(kOffWords), word) != std::end(kOffWords)) {
        return false;
    }
    const bool isZero = word.starts_with(kNumberPrefix) && word.size() > kNumberPrefix.size() &&
                        word.find_first_not_of('0', kNumberPrefix.size()) == std::string::npos;
    return !isZero;
}

std::string normalisedKey(std::string_view key, bool keepCase) {
    std::string result;
    key.remove_prefix(std::min(key.find_first_not_of(kAroundKeys), key.size()));
    key = key.substr(0, key.find_last_not_of(kAroundKeys) + 1);
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

namespace {

/// Why a line can't be relied on, or nothing. `key` is the one that it begins or stands below.
const char* faultOf(std::string_view line, Meaning::Kind kind, const std::string& key) {
    line = trimmedBlanks(line);
    if (kind != Meaning::kNothing && !isUtf8Text(line)) {
        return " is no UTF-8 text";
    }
    if (hasControl(line)) {
        return " holds a control character";
    }
    // Words in front of the first key may be a title; a value there was meant for some key.
    const bool isTitle = kind == Meaning::kUnclear && key.empty() && line.front() != '[';
    if ((kind == Meaning::kUnclear && !isTitle) ||
        (kind == Meaning::kSection && !hasKnownRoot(key))) {
        return " can't be read";
    }
    return kind == Meaning::kText && key.empty() ? " stands in front of the first key" : "";
}

}  // namespace

SettingsIndex::SettingsIndex(std::string_view content) {
    content.remove_prefix(markLength(content));
    std::string key;
    std::size_t number = 0;
    splitLines(content, [&](std::string_view line) {
        Meaning meaning = readLine(line);
        ++number;
        if (meaning.kind == Meaning::kSection) {
            keys_.push_back(normalisedKey(meaning.key, true));
            key = loweredText(keys_.back());
        } else if (meaning.kind == Meaning::kText && !key.empty()) {
            texts_.try_emplace(joined(key, meaning.name), std::move(meaning.text));
        }
        if (fault_.empty()) {
            fault_ = faultOf(line, meaning.kind, key);
            fault_.insert(0, fault_.empty() ? "" : "line " + std::to_string(number));
        }
    });
}

const std::string* SettingsIndex::find(std::string_view key, std::string_view name) const {
    const auto found = texts_.find(joined(normalisedKey(key), name));
    return found == texts_.end() ? nullptr : &found->second;
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

namespace {

/// Whether a line may hold the text: one that can't be read would make the whole file useless.
bool isWritable(std::string_view text) {
    return isUtf8Text(text) && !hasControl(text);
}

}  // namespace

/// Where a line lies in the content, under which key it stands, and what it says.
struct SettingsEditor::Line {
    std::size_t begin;
    std::size_t end;  ///< Behind its line end.
    std::string key;  ///< Normalised; empty in front of the first section.
    Meaning meaning;

    bool saysSomething() const {
        return meaning.kind == Meaning::kSection || meaning.kind == Meaning::kText;
    }
    bool isBlank(const std::string& content) const {
        return content.find_first_not_of(" \t\r\n", begin) >= end;
    }
};

SettingsEditor::SettingsEditor(std::optional<std::string> content)
    : content_(std::move(content).value_or(std::string())),
      isMissing_(!content.has_value()),
      start_(markLength(content_)) {}

std::vector<SettingsEditor::Line> SettingsEditor::parse() const {
    std::vector<Line> lines;
    std::string key;
    for (std::size_t begin = start_; begin < content_.size();) {
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
    if (!hasKnownRoot(wanted) || !isWritable(key) || key.find(']') != std::string_view::npos ||
        content_.find('\0') != std::string::npos) {
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
    if (!isWritable(name) || !isWritable(text) || !createKey(key)) {
        return false;
    }
    const std::string wanted = normalisedKey(key);
    const std::vector<Line> lines = parse();
    const Line* behind = nullptr;
    for (const Line& line : lines) {
        if (line.key != wanted || !line.saysSomething()) {
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
    std::string kept = content_.substr(0, start_);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Line& line = lines[i];
        const bool goes = line.saysSomething() && (line.key == wanted || isBelow(line.key, wanted));
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
