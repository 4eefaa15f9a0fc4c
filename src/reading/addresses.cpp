#include "reading/addresses.h"

#include <algorithm>
#include <span>
#include <utility>

#include "base/ascii_text.h"
#include "reading/address_tokens.h"
#include "reading/charset_text.h"
#include "reading/field_text.h"

namespace tessolt::reading {
namespace {

using Kind = AddressToken::Kind;
using Tokens = std::span<const AddressToken>;

/// The words of a display name with their blanks; comments don't count.
std::string joinedWords(Tokens tokens) {
    std::string text;
    for (const AddressToken& token : tokens) {
        if (token.kind == Kind::kComment) {
            continue;
        }
        if (!text.empty() && token.isBehindBlank) {
            text += ' ';
        }
        text += token.text;
    }
    return text;
}

std::string joinedComments(Tokens tokens) {
    std::string text;
    for (const AddressToken& token : tokens) {
        if (token.kind == Kind::kComment) {
            text += (text.empty() ? "" : " ") + token.text;
        }
    }
    return text;
}

/// The tokens as an address: as written, without comments; blanks stay only between two words,
/// where none may be.
std::string joinedAddress(Tokens tokens) {
    std::string text;
    bool isWord = false;
    for (const AddressToken& token : tokens) {
        if (token.kind == Kind::kComment) {
            continue;
        }
        const bool touches = text.ends_with('.') || token.raw.starts_with('.');
        const bool isWordNow = token.kind != Kind::kSign;
        if (isWord && isWordNow && token.isBehindBlank && !touches) {
            text += ' ';
        }
        text += token.raw;
        isWord = isWordNow;
    }
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    return text;
}

bool continuesAddress(const AddressToken& left, const AddressToken& right) {
    return left.kind != Kind::kComment && right.kind != Kind::kComment &&
           (left.isSign('@') || right.isSign('@') || left.raw.ends_with('.') ||
            right.raw.starts_with('.') || !right.isBehindBlank);
}

class AddressReader {
public:
    AddressReader(std::string_view raw, std::string_view label)
        : label_(isWellFormedUtf8(raw) ? "utf-8" : label), tokens_(addressTokens(raw)) {}

    std::vector<Mailbox> run() {
        while (place_ < tokens_.size()) {
            const std::size_t begin = place_;
            const std::size_t end = wordsEnd(begin);
            place_ = end;
            const Tokens words(tokens_.data() + begin, end - begin);
            if (end < tokens_.size() && tokens_[end].isSign('<')) {
                readAngle(words);
            } else if (end < tokens_.size() && tokens_[end].isSign(':')) {
                ++place_;  // the name of a group; its members follow
            } else {
                place_ += end < tokens_.size() ? 1 : 0;
                readBare(words);
            }
        }
        return std::move(found_);
    }

private:
    std::size_t wordsEnd(std::size_t begin) const {
        std::size_t end = begin;
        while (end < tokens_.size()) {
            const AddressToken& token = tokens_[end];
            if (token.kind == Kind::kSign && !token.isSign('@') && !token.isSign('>')) {
                break;
            }
            ++end;
        }
        return end;
    }

    std::string text(const std::string& raw) const { return headerText(raw, label_); }

    void add(const std::string& name, const std::string& address) {
        found_.push_back({text(name), textInCharset(address, label_)});
    }

    /// `words <address> more`, with `place_` at the bracket.
    void readAngle(Tokens words) {
        const std::size_t begin = place_ + 1;
        std::size_t end = begin;
        const auto isEnd = [this](const AddressToken& token) {
            return token.isSign('>') || token.isSign('<') ||
                   (noClosing_ && (token.isSign(',') || token.isSign(';')));
        };
        while (end < tokens_.size() && !isEnd(tokens_[end])) {
            ++end;
        }
        if (!noClosing_ && !(end < tokens_.size() && tokens_[end].isSign('>'))) {
            // From here on a list is cut at its commas, whatever its brackets do.
            noClosing_ = true;
            readAngle(words);
            return;
        }
        std::size_t first = begin;
        if (first < end && (tokens_[first].isSign('@') || tokens_[first].isSign(','))) {
            // An obsolete route ends at a colon.
            const auto colon =
                std::find_if(tokens_.begin() + static_cast<std::ptrdiff_t>(first),
                             tokens_.begin() + static_cast<std::ptrdiff_t>(end),
                             [](const AddressToken& token) { return token.isSign(':'); });
            const auto place = static_cast<std::size_t>(colon - tokens_.begin());
            first = place < end ? place + 1 : first;
        }
        const bool isClosed = end < tokens_.size() && tokens_[end].isSign('>');
        place_ = end + (isClosed ? 1 : 0);
        const std::size_t moreEnd = wordsEnd(place_);
        const Tokens more(tokens_.data() + place_, moreEnd - place_);
        std::string name = joinedWords(words);
        const std::string behind = joinedWords(more);
        if (!behind.empty() && behind != ">") {
            name += (name.empty() ? "" : " ") + behind;
        }
        if (name.empty()) {
            name = joinedComments(words.empty() ? more : words);
        }
        add(name, joinedAddress({tokens_.data() + first, end - first}));
        place_ = moreEnd;
        if (place_ < tokens_.size() &&
            (tokens_[place_].isSign(',') || tokens_[place_].isSign(';'))) {
            ++place_;
        }
    }

    /// Words without an angle bracket: an address, perhaps with a comment or words around it.
    void readBare(Tokens words) {
        while (!words.empty()) {
            const auto at = std::ranges::find_if(
                words, [](const AddressToken& token) { return token.isSign('@'); });
            if (at == words.end()) {
                readWithoutAt(words);
                return;
            }
            auto first = static_cast<std::size_t>(at - words.begin());
            std::size_t last = first;
            while (first > 0 && continuesAddress(words[first - 1], words[first])) {
                --first;
            }
            while (last + 1 < words.size() && continuesAddress(words[last], words[last + 1])) {
                ++last;
            }
            const Tokens address = words.subspan(first, last + 1 - first);
            if (address.front().isSign('@') || address.back().isSign('@')) {
                add(joinedAll(words), {});
                return;
            }
            Tokens behind = words.subspan(last + 1);
            words = words.first(first);
            const bool isAnother = std::ranges::any_of(
                behind, [](const AddressToken& token) { return token.isSign('@'); });
            std::string name = joinedWords(words);
            if (!isAnother && !joinedWords(behind).empty()) {
                name += (name.empty() ? "" : " ") + joinedWords(behind);
            }
            if (name.empty()) {
                name = joinedComments(isAnother ? words : behind);
            }
            if (name.empty()) {
                name = joinedComments(words);
            }
            add(name, joinedAddress(address));
            words = isAnother ? behind : Tokens();
        }
    }

    /// A lone word is a local address; anything else has none.
    void readWithoutAt(Tokens words) {
        const auto isWord = [](const AddressToken& token) { return token.kind != Kind::kComment; };
        const auto count = std::ranges::count_if(words, isWord);
        const auto word = std::ranges::find_if(words, isWord);
        if (count == 1 && word->kind == Kind::kAtom && !word->text.starts_with("=?")) {
            add(joinedComments(words), word->text);
        } else if (count > 0) {
            add(joinedAll(words), {});
        }
    }

    /// What can't be read, with its signs.
    static std::string joinedAll(Tokens tokens) {
        std::string text;
        for (const AddressToken& token : tokens) {
            text += !text.empty() && token.isBehindBlank ? " " : "";
            text += token.kind == Kind::kComment ? std::string(token.raw) : token.text;
        }
        return text;
    }

    std::string_view label_;
    std::vector<AddressToken> tokens_;
    std::size_t place_ = 0;
    bool noClosing_ = false;
    std::vector<Mailbox> found_;
};

}  // namespace

std::vector<Mailbox> mailboxes(std::string_view raw, std::string_view label) {
    return AddressReader(raw, label).run();
}

}  // namespace tessolt::reading
