#include "reading/address_tokens.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "reading/field_text.h"

namespace tessolt::reading {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kSigns = ",;:<>@";
constexpr std::string_view kAtomEnd = " \t\r\n,;:<>@\"()";

using Kind = AddressToken::Kind;

class Tokenizer {
public:
    explicit Tokenizer(std::string_view text) : text_(text) {}

    std::vector<AddressToken> run() {
        while (place_ < text_.size()) {
            const char c = text_[place_];
            if (kBlanks.find(c) != std::string_view::npos) {
                ++place_;
                isBehindBlank_ = true;
            } else if (kSigns.find(c) != std::string_view::npos) {
                add(Kind::kSign, std::string(1, c), place_ + 1);
            } else if (!takeQuoted() && !takeComment()) {
                takeAtom();
            }
        }
        return std::move(tokens_);
    }

private:
    void add(Kind kind, std::string text, std::size_t end) {
        tokens_.push_back(
            {kind, std::move(text), text_.substr(place_, end - place_), isBehindBlank_});
        isBehindBlank_ = kind == Kind::kComment;
        place_ = end;
    }

    bool takeQuoted() {
        if (text_[place_] != '"') {
            return false;
        }
        std::string text;
        for (std::size_t i = place_ + 1; !quotesBroken_ && i < text_.size(); ++i) {
            if (text_[i] == '"') {
                add(Kind::kQuoted, std::move(text), i + 1);
                return true;
            }
            if (text_[i] == '\\' && i + 1 < text_.size()) {
                ++i;
            }
            text += text_[i];
        }
        quotesBroken_ = true;
        return false;
    }

    bool takeComment() {
        if (text_[place_] != '(') {
            return false;
        }
        std::string text;
        std::size_t depth = 0;
        for (std::size_t i = place_; !commentsBroken_ && i < text_.size(); ++i) {
            depth += text_[i] == '(' ? 1 : 0;
            depth -= text_[i] == ')' ? 1 : 0;
            if (depth == 0) {
                add(Kind::kComment, std::move(text), i + 1);
                return true;
            }
            if (text_[i] == '\\' && i + 1 < text_.size()) {
                ++i;
            }
            if (i > place_) {
                text += text_[i];
            }
        }
        commentsBroken_ = true;
        return false;
    }

    void takeAtom() {
        std::size_t end = place_ + encodedWordLength(text_.substr(place_), false);
        if (end == place_) {
            // A mark that is never closed stands here, if it is one.
            end = std::min(endOfAtom(place_ + 1), text_.size());
        }
        add(Kind::kAtom, std::string(text_.substr(place_, end - place_)), end);
    }

    std::size_t endOfAtom(std::size_t from) const {
        std::size_t end = from;
        if (text_[from - 1] == '[') {
            const std::size_t close = text_.find_first_of("[]<>,;", from);
            end = close != std::string_view::npos && text_[close] == ']' ? close + 1 : from;
        }
        for (; end < text_.size(); ++end) {
            const char c = text_[end];
            const bool isLetter =
                (c == '"' && quotesBroken_) || (c == '(' && commentsBroken_) || (c == ')');
            if (!isLetter && kAtomEnd.find(c) != std::string_view::npos) {
                break;
            }
        }
        return end;
    }

    std::string_view text_;
    std::size_t place_ = 0;
    bool isBehindBlank_ = false;
    bool quotesBroken_ = false;
    bool commentsBroken_ = false;
    std::vector<AddressToken> tokens_;
};

}  // namespace

std::vector<AddressToken> addressTokens(std::string_view text) {
    return Tokenizer(text).run();
}

}  // namespace tessolt::reading
