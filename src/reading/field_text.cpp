#include "reading/field_text.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "mime/coding/hex_digits.h"
#include "reading/body_coding.h"
#include "reading/charset_text.h"

namespace tessolt::reading {
namespace {

constexpr std::string_view kWordBegin = "=?";
constexpr std::string_view kWordEnd = "?=";
constexpr std::string_view kNoCharset = " \t()<>@,;:\"/[]?.=\\";

/// The pieces of `=?charset?coding?text?=`.
struct Word {
    std::string_view charset;
    bool isBase64 = false;
    std::string_view coded;
    std::size_t length = 0;  ///< 0 for no word.
};

Word wordAt(std::string_view text, bool allowBlanks) {
    if (!text.starts_with(kWordBegin)) {
        return {};
    }
    const std::size_t charsetBegin = kWordBegin.size();
    const std::size_t charsetEnd = text.find_first_of(kNoCharset, charsetBegin);
    if (charsetEnd == std::string_view::npos || charsetEnd == charsetBegin ||
        text[charsetEnd] != '?' || charsetEnd + 2 >= text.size() || text[charsetEnd + 2] != '?') {
        return {};
    }
    const char coding = borvik::asciiLower(text[charsetEnd + 1]);
    if (coding != 'b' && coding != 'q') {
        return {};
    }
    const std::size_t begin = charsetEnd + 3;
    // Whichever comes first ends the search, so that many broken words cost no more than few.
    std::size_t end = begin;
    for (;; ++end) {
        end = text.find_first_of(allowBlanks ? "?=" : "?= \t", end);
        if (end == std::string_view::npos || text[end] == ' ' || text[end] == '\t') {
            return {};
        }
        const std::string_view here = text.substr(end, 2);
        if (here == kWordEnd) {
            break;
        }
        if (here == kWordBegin && text.substr(end + 1, 2) != kWordEnd) {
            return {};
        }
    }
    std::string_view charset = text.substr(charsetBegin, charsetEnd - charsetBegin);
    charset = charset.substr(0, charset.find('*'));  // a language (RFC 2231 5)
    return {charset, coding == 'b', text.substr(begin, end - begin), end + kWordEnd.size()};
}

void appendWordBytes(const Word& word, std::string& out) {
    if (word.isBase64) {
        appendBase64(word.coded, out);
        return;
    }
    for (std::size_t i = 0; i < word.coded.size(); ++i) {
        const char c = word.coded[i];
        if (c == '=' && i + 2 < word.coded.size() && borvik::hexValue(word.coded[i + 1]) >= 0 &&
            borvik::hexValue(word.coded[i + 2]) >= 0) {
            out += static_cast<char>(borvik::hexValue(word.coded[i + 1]) * 16 +
                                     borvik::hexValue(word.coded[i + 2]));
            i += 2;
        } else {
            out += c == '_' ? ' ' : c;
        }
    }
}

std::string unfold(std::string_view raw) {
    std::string text;
    text.reserve(raw.size());
    bool isFold = false;
    for (const char c : raw) {
        if (c == '\r' || c == '\n') {
            isFold = true;
        } else {
            text += isFold && c == '\t' ? ' ' : c;
            isFold = false;
        }
    }
    return text;
}

/// Puts the pieces of a text together; words of one charset wait for each other.
class TextBuilder {
public:
    explicit TextBuilder(std::string_view label) : label_(label) {}

    void addText(std::string_view text) {
        finishWords();
        out_ += textInCharset(text, label_);
    }
    void addWord(const Word& word) {
        if (!borvik::equalsNoCase(word.charset, charset_)) {
            finishWords();
        }
        charset_ = word.charset;
        appendWordBytes(word, bytes_);
    }
    std::string finish() {
        finishWords();
        return std::move(out_);
    }

private:
    void finishWords() {
        out_ += textInCharset(bytes_, charset_);
        bytes_.clear();
    }

    std::string_view label_;
    std::string_view charset_;
    std::string bytes_;
    std::string out_;
};

}  // namespace

std::size_t encodedWordLength(std::string_view text, bool allowBlanks) {
    return wordAt(text, allowBlanks).length;
}

std::string headerText(std::string_view raw, std::string_view label) {
    const std::string unfolded = unfold(raw);
    std::string_view text = borvik::trimmed(unfolded);
    if (text.find(kWordBegin) == std::string_view::npos && borvik::isAscii(text)) {
        return std::string(text);
    }
    // One broken piece must not change how the others are read.
    TextBuilder builder(isWellFormedUtf8(text) ? "utf-8" : label);
    std::size_t plain = 0;
    bool isBehindWord = false;
    for (std::size_t at = text.find(kWordBegin); at != std::string_view::npos;
         at = text.find(kWordBegin, at)) {
        const Word word = wordAt(text.substr(at), true);
        if (word.length == 0) {
            at += kWordBegin.size();
            continue;
        }
        const std::string_view between = text.substr(plain, at - plain);
        if (!between.empty() && !(isBehindWord && borvik::trimmed(between).empty())) {
            builder.addText(between);
        }
        builder.addWord(word);
        isBehindWord = true;
        at += word.length;
        plain = at;
    }
    if (plain < text.size()) {
        builder.addText(text.substr(plain));
    }
    return builder.finish();
}

}  // namespace tessolt::reading
