#include "mime/coding/encoded_word_reader.h"

#include <array>
#include <cstdint>
#include <string>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/charset_registry.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/base64.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/hex_digits.h"

namespace borvik {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

/// What `qDecode` does with a byte of its text.
enum class QByte : std::uint8_t { kDrop, kCopy, kBlank, kEscape };

constexpr std::array<QByte, 256> makeQBytes() {
    std::array<QByte, 256> classes{};
    for (std::size_t c = 0; c < classes.size(); ++c) {
        const bool copied = (c >= 33 && c <= 126 && c != '?') || c >= 160;
        classes[c] = copied ? QByte::kCopy : QByte::kDrop;
    }
    classes['_'] = QByte::kBlank;
    classes[' '] = QByte::kBlank;
    classes['='] = QByte::kEscape;
    return classes;
}
constexpr std::array<QByte, 256> kQBytes = makeQBytes();

bool isHexPair(std::string_view text, std::size_t at) {
    return text.size() - at >= 2 && hexValue(text[at]) >= 0 && hexValue(text[at + 1]) >= 0;
}

void appendBytes(const EncodedWord& word, std::string& out) {
    if (!word.isBase64) {
        ContentCoding::qDecode(word.coded, out);
        return;
    }
    const std::size_t begin = out.size();
    out.resize(begin + base64DecodeRoom(word.coded.size()));
    const char* const end = decodeBase64Run(word.coded, out.data() + begin);
    out.resize(static_cast<std::size_t>(end - out.data()));
}

/// Decodes words to UTF-8; its buffers serve all words of a text.
class WordDecoder {
public:
    void append(const EncodedWord& word, std::string& out) {
        const std::uint32_t codePage =
            equalsNoCase(word.charset, "utf-8") || equalsNoCase(word.charset, "8bit")
                ? kUtf8
                : CharsetNaming::lookUp(word.charset);
        if (codePage == kUtf8 || codePage == kNoCodePage) {
            appendBytes(word, out);
            return;
        }
        bytes_.clear();
        appendBytes(word, bytes_);
        converted_.clear();
        converter_.convert(codePage, kUtf8, bytes_, converted_);
        out += converted_.view();
    }

private:
    std::string bytes_;
    DataBuffer converted_;
    EncodingConvert converter_;
};

/// Replaces the commas behind `begin`; false when there are none.
bool markCommas(std::string& text, std::size_t begin) {
    if (text.find(',', begin) == kNone) {
        return false;
    }
    std::string marked;
    for (const char c : std::string_view(text).substr(begin)) {
        if (c == ',') {
            marked += ContentCoding::kCommaMark;
        } else {
            marked += c;
        }
    }
    text.replace(begin, kNone, marked);
    return true;
}

/// Builds the text that replaces `value`: what stands between the words, and of each word what
/// `appendWord` makes of it.
template <class AppendWord>
void decodeWords(std::string_view value, std::string& out, AppendWord appendWord) {
    EncodedWordReader reader(value);
    EncodedWord word{};
    for (;;) {
        const EncodedWordReader::Step step = reader.next(word);
        out += word.before;
        if (step != EncodedWordReader::Step::kWord) {
            return;
        }
        appendWord(word, out);
    }
}

}  // namespace

std::size_t findWordMark(std::string_view text, std::string_view lowerLetters) {
    for (std::size_t at = text.find('?'); at != kNone && text.size() - at >= 3;
         at = text.find('?', at + 1)) {
        if (text[at + 2] == '?' && lowerLetters.find(asciiLower(text[at + 1])) != kNone) {
            return at;
        }
    }
    return kNone;
}

EncodedWordReader::Step EncodedWordReader::next(EncodedWord& word) {
    const std::size_t begin = find(rest_, "=?");
    word.before = rest_.substr(0, begin);
    if (begin == kNone) {
        return Step::kRest;
    }
    rest_.remove_prefix(begin + 2);
    const std::size_t charsetEnd = rest_.find('?');
    // Behind the charset: the letter of the coding, "?", and at least one more byte.
    if (charsetEnd == kNone || rest_.size() - charsetEnd < 4 || rest_[charsetEnd + 2] != '?') {
        return Step::kBroken;
    }
    word.charset = rest_.substr(0, charsetEnd);
    word.isBase64 = asciiLower(rest_[charsetEnd + 1]) == 'b';
    rest_.remove_prefix(charsetEnd + 3);
    const std::size_t end = find(rest_, "?=");
    if (end == kNone) {
        return Step::kBroken;
    }
    word.coded = rest_.substr(0, end);
    rest_.remove_prefix(end + 2);
    return Step::kWord;
}

void ContentCoding::decodeEncodedWords(std::string& value) {
    std::string decoded;
    decoded.reserve(value.size());
    WordDecoder decoder;
    decodeWords(value, decoded,
                [&](const EncodedWord& word, std::string& out) { decoder.append(word, out); });
    value.swap(decoded);
}

bool ContentCoding::decodeEncodedWordsForAddress(std::string& value) {
    bool marked = false;
    std::string decoded;
    decoded.reserve(value.size());
    WordDecoder decoder;
    decodeWords(value, decoded, [&](const EncodedWord& word, std::string& out) {
        const std::size_t begin = out.size();
        decoder.append(word, out);
        marked = markCommas(out, begin) || marked;
    });
    value.swap(decoded);
    return marked;
}

void ContentCoding::decodeEncodedWordsRaw(std::string_view value, std::string& out) {
    decodeWords(value, out, appendBytes);
}

void ContentCoding::qDecode(std::string_view text, std::string& out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        switch (kQBytes[static_cast<unsigned char>(c)]) {
            case QByte::kCopy:
                out += c;
                break;
            case QByte::kBlank:
                out += ' ';
                break;
            case QByte::kEscape:
                if (isHexPair(text, i + 1)) {
                    out += static_cast<char>(hexValue(text[i + 1]) << 4 | hexValue(text[i + 2]));
                    i += 2;
                } else {
                    out += c;
                }
                break;
            case QByte::kDrop:
                break;
        }
    }
}

bool hasQWordMark(std::string_view text) {
    return findWordMark(text, "q") != kNone;
}

bool hasBWordMark(std::string_view text) {
    return findWordMark(text, "b") != kNone;
}

bool hasWordMark(std::string_view text) {
    return findWordMark(text, "qb") != kNone;
}

}  // namespace borvik
