#include "automation/registrar.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

#include "platform/settings_file.h"

namespace tessolt {
namespace {

using platform::SettingsEditor;
using Replacements = std::map<std::string, std::string, std::less<>>;

/// Keys that stand inside each other more deeply than this are no script of ours.
constexpr int kMostDepth = 32;

struct Token {
    enum Kind { kEnd, kWord, kQuoted, kOpen, kClose, kEquals, kBroken };
    Kind kind = kEnd;
    std::string text;
};

class Tokenizer {
public:
    Tokenizer(std::string_view script, const Replacements& replacements)
        : script_(script), replacements_(replacements) {
        advance();
    }

    const Token& current() const { return token_; }
    bool isWord(std::string_view word) const {
        return token_.kind == Token::kWord && token_.text == word;
    }
    bool isText() const { return token_.kind == Token::kWord || token_.kind == Token::kQuoted; }

    /// Gives the current token's text, with replacements made, and goes on.
    std::string takeText() {
        std::string text = replace(token_.text);
        advance();
        return text;
    }
    void advance() { token_ = read(); }

private:
    static constexpr std::string_view kBlanks = " \t\r\n";
    static constexpr std::string_view kWordEnds = " \t\r\n{}='";

    Token read() {
        at_ = std::min(script_.find_first_not_of(kBlanks, at_), script_.size());
        if (at_ == script_.size()) {
            return {};
        }
        switch (script_[at_]) {
            case '{':
                ++at_;
                return {Token::kOpen, {}};
            case '}':
                ++at_;
                return {Token::kClose, {}};
            case '=':
                ++at_;
                return {Token::kEquals, {}};
            case '\'':
                return readQuoted();
            default:
                break;
        }
        const std::size_t end = std::min(script_.find_first_of(kWordEnds, at_), script_.size());
        Token word{Token::kWord, std::string(script_.substr(at_, end - at_))};
        at_ = end;
        return word;
    }

    Token readQuoted() {
        Token token{Token::kQuoted, {}};
        for (++at_; at_ < script_.size(); ++at_) {
            if (script_[at_] == '\'' && !script_.substr(at_ + 1).starts_with('\'')) {
                ++at_;
                return token;
            }
            at_ += script_[at_] == '\'' ? 1 : 0;
            token.text += script_[at_];
        }
        return {Token::kBroken, {}};
    }

    std::string replace(std::string_view text) const {
        std::string replaced;
        while (!text.empty()) {
            const std::size_t open = text.find('%');
            const std::size_t close = open == text.npos ? open : text.find('%', open + 1);
            if (close == text.npos) {
                break;
            }
            const auto found = replacements_.find(text.substr(open + 1, close - open - 1));
            const bool known = found != replacements_.end();
            replaced += text.substr(0, known ? open : close);
            replaced += known ? std::string_view(found->second) : std::string_view();
            // The second "%" of something unknown may begin a known name.
            text.remove_prefix(known ? close + 1 : close);
        }
        return replaced.append(text);
    }

    std::string_view script_;
    const Replacements& replacements_;
    std::size_t at_ = 0;
    Token token_;
};

/// `= s 'text'`, where it stands. False when something else follows the "=".
bool parseText(Tokenizer& tokens, std::optional<std::string>& text) {
    if (tokens.current().kind != Token::kEquals) {
        return true;
    }
    tokens.advance();
    if (!tokens.isWord("s")) {
        return false;
    }
    tokens.advance();
    if (!tokens.isText()) {
        return false;
    }
    text = tokens.takeText();
    return true;
}

bool parseBody(Tokenizer& tokens, ScriptKey& key, int depth);

bool parseKey(Tokenizer& tokens, ScriptKey& key, int depth) {
    while (tokens.isWord("NoRemove") || tokens.isWord("ForceRemove")) {
        (tokens.isWord("NoRemove") ? key.noRemove : key.forceRemove) = true;
        tokens.advance();
    }
    if (!tokens.isText()) {
        return false;
    }
    key.name = tokens.takeText();
    return parseText(tokens, key.text) &&
           (tokens.current().kind != Token::kOpen || parseBody(tokens, key, depth + 1));
}

bool parseValue(Tokenizer& tokens, ScriptKey& key) {
    tokens.advance();
    if (!tokens.isText()) {
        return false;
    }
    ScriptKey::Value value{tokens.takeText(), {}};
    std::optional<std::string> text;
    if (!parseText(tokens, text) || !text) {
        return false;
    }
    value.text = *std::move(text);
    key.values.push_back(std::move(value));
    return true;
}

/// What stands between braces.
bool parseBody(Tokenizer& tokens, ScriptKey& key, int depth) {
    if (depth > kMostDepth || tokens.current().kind != Token::kOpen) {
        return false;
    }
    tokens.advance();
    while (tokens.current().kind != Token::kClose) {
        const bool parsed = tokens.isWord("val") ? parseValue(tokens, key)
                                                 : parseKey(tokens, key.keys.emplace_back(), depth);
        if (!parsed) {
            return false;
        }
    }
    tokens.advance();
    return true;
}

bool enterKey(SettingsEditor& settings, const ScriptKey& key, const std::string& path) {
    if (key.forceRemove) {
        settings.removeKey(path);
    }
    // A key that holds something exists by that.
    const bool holdsNothing = !key.text && key.values.empty() && key.keys.empty();
    bool done = !holdsNothing || settings.createKey(path);
    done = done && (!key.text || settings.write(path, "", *key.text));
    for (const ScriptKey::Value& value : key.values) {
        done = done && settings.write(path, value.name, value.text);
    }
    for (const ScriptKey& below : key.keys) {
        done = done && enterKey(settings, below, path + "\\" + below.name);
    }
    return done;
}

bool holdsKeys(const SettingsEditor& settings, const std::string& path) {
    const std::optional<std::string> content = settings.result();
    return content && !platform::SettingsIndex(*content).keysBelow(path).empty();
}

bool removeKey(SettingsEditor& settings, const ScriptKey& key, const std::string& path) {
    if (key.forceRemove) {
        settings.removeKey(path);
        return true;
    }
    for (const ScriptKey& below : key.keys) {
        removeKey(settings, below, path + "\\" + below.name);
    }
    for (const ScriptKey::Value& value : key.values) {
        settings.remove(path, value.name);
    }
    if (!key.noRemove && !holdsKeys(settings, path)) {
        settings.removeKey(path);
    }
    return true;
}

using Visit = bool (*)(SettingsEditor& settings, const ScriptKey& key, const std::string& path);

HRESULT run(const std::optional<std::vector<ScriptKey>>& roots, SettingsEditor& settings,
            Visit visit) {
    if (!roots) {
        return E_FAIL;
    }
    for (const ScriptKey& root : *roots) {
        if (!visit(settings, root, root.name)) {
            return SELFREG_E_CLASS;
        }
    }
    return S_OK;
}

}  // namespace

void Registrar::addReplacement(std::string name, std::string text) {
    replacements_.insert_or_assign(std::move(name), std::move(text));
}

std::optional<std::vector<ScriptKey>> Registrar::parse(std::string_view script) const {
    Tokenizer tokens(script, replacements_);
    std::vector<ScriptKey> roots;
    while (tokens.current().kind != Token::kEnd) {
        if (!tokens.isText()) {
            return std::nullopt;
        }
        ScriptKey& root = roots.emplace_back();
        root.name = tokens.takeText();
        root.noRemove = true;
        if (!parseBody(tokens, root, 0)) {
            return std::nullopt;
        }
    }
    return roots;
}

HRESULT Registrar::registerScript(SettingsEditor& settings, std::string_view script) const {
    return run(parse(script), settings, &enterKey);
}

HRESULT Registrar::unregisterScript(SettingsEditor& settings, std::string_view script) const {
    return run(parse(script), settings, &removeKey);
}

}  // namespace tessolt
