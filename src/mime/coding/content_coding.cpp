#include "mime/coding/content_coding.h"

#include <algorithm>
#include <array>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/base64.h"
#include "mime/coding/hex_digits.h"
#include "mime/coding/quoted_printable.h"
#include "mime/coding/quoted_printable_decoding.h"

namespace borvik {

namespace {

constexpr std::string_view kDefaultCharset = "utf-8";

/// From this many bytes a value is split into several words.
constexpr std::size_t kSplitFrom = 61;
/// UTF-16 units of a word before it may end at a blank.
constexpr std::size_t kWordUnits = 30;
constexpr std::string_view kWordSeparator = "\r\n\t";

/// Bytes at the front of a text in which `encodeWordAuto` looks for words.
constexpr std::size_t kCodedProbe = 100;

/// Charsets whose text is mostly non-ASCII, so that B words are shorter.
constexpr std::array<std::string_view, 22> kBCharsets = {
    "shift_jis",    "shift-jis",  "Windows-31J",  "iso-2022-jp", "euc-jp",      "euc-kr",
    "iso-2022-kr",  "gb2312",     "hz-gb-2312",   "euc-cn",      "cp-936",      "euc-tw",
    "big5",         "cp-950",     "cp-932",       "tis-620",     "windows-874", "iso-8859-9",
    "windows-1254", "iso-8859-6", "windows-1256", "cp-1256"};

bool allBlank(std::string_view bytes) {
    return bytes.find_first_not_of(" \t") == std::string_view::npos;
}

/// Whether text can stand outside encoded words. 7-bit text can, unless it switches between the
/// sets of an ISO-2022 charset.
bool canStandUncoded(std::string_view bytes, std::uint32_t codePage) {
    constexpr std::string_view kSwitches = "\x1B[$";
    const bool isIso2022 = codePage >= kIso2022Jp && codePage <= kIso2022Kr;
    return isAscii(bytes) && (!isIso2022 || bytes.find_first_of(kSwitches) == bytes.npos);
}

/// Bytes that a Q word holds as they are; the blank is "_" there.
constexpr bool isQLiteral(unsigned char c) {
    return c >= 33 && c <= 126 && c != '=' && c != '?' && c != '_';
}

void openWord(std::string_view charset, char coding, std::string& out) {
    out += "=?";
    out += charset.empty() ? kDefaultCharset : charset;
    out += '?';
    out += coding;
    out += '?';
}

std::size_t unitsOf(const DataBuffer& utf16) {
    return utf16.getSize() / sizeof(char16_t);
}

bool isBlankUnit(const DataBuffer& utf16, std::size_t index) {
    char16_t unit = 0;
    std::memcpy(&unit, utf16.getData() + index * sizeof unit, sizeof unit);
    return unit == u' ';
}

/// UTF-16 units of the character that a byte of UTF-8 begins; 0 for a byte within one.
std::size_t unitsBegunBy(char byte) {
    constexpr unsigned char kFirstOfFour = 0xF0;
    const auto c = static_cast<unsigned char>(byte);
    return (c & 0xC0) == 0x80 ? 0 : c >= kFirstOfFour ? 2 : 1;
}

/// `encodePieces` for UTF-8, in which the text can be cut as it stands.
template <class WriteWord>
void encodeUtf8Pieces(std::string_view text, std::string& out, WriteWord writeWord) {
    while (!text.empty()) {
        std::size_t end = 0;
        for (std::size_t units = 0; end < text.size(); ++end) {
            if (units >= kWordUnits && text[end] == ' ') {
                break;
            }
            units += unitsBegunBy(text[end]);
        }
        writeWord(text.substr(0, end));
        text.remove_prefix(end);
        if (!text.empty()) {
            out += kWordSeparator;
        }
    }
}

/// Splits text at blanks behind every 30 characters and gives each piece, in its code page, to
/// `writeWord`. A piece never ends within a word.
template <class WriteWord>
void encodePieces(std::string_view bytes, std::uint32_t codePage, std::string& out,
                  WriteWord writeWord) {
    if (codePage == kUtf8) {
        encodeUtf8Pieces(bytes, out, writeWord);
        return;
    }
    EncodingConvert converter;
    DataBuffer utf16;
    converter.convert(codePage, kUtf16Le, bytes, utf16);
    const std::size_t units = unitsOf(utf16);
    DataBuffer piece;
    for (std::size_t begin = 0; begin < units;) {
        std::size_t end = std::min(begin + kWordUnits, units);
        while (end < units && !isBlankUnit(utf16, end)) {
            ++end;
        }
        piece.clear();
        converter.convert(
            kUtf16Le, codePage,
            utf16.view().substr(begin * sizeof(char16_t), (end - begin) * sizeof(char16_t)), piece);
        if (begin != 0) {
            out += kWordSeparator;
        }
        writeWord(piece.view());
        begin = end;
    }
}

}  // namespace

bool ContentCoding::encodeBase64Mime(std::string_view bytes, DataBuffer& out) {
    const std::size_t size = base64LinesSize(bytes.size());
    if (size == 0) {
        return true;
    }
    const std::size_t total = out.getSize() + size;
    if (total > DataBuffer::kMaxSize || !out.ensureCapacity(total)) {
        return false;
    }
    encodeBase64Lines(bytes, out.getData() + out.getSize());
    out.setLength(total);
    return true;
}

bool ContentCoding::decodeBase64(std::string_view text, DataBuffer& out) {
    const std::size_t room = base64DecodeRoom(text.size());
    if (text.empty()) {
        return true;
    }
    if (out.getSize() + room > DataBuffer::kMaxSize || !out.ensureCapacity(out.getSize() + room)) {
        return false;
    }
    const char* const end = decodeBase64Run(text, out.getData() + out.getSize());
    out.setLength(static_cast<std::size_t>(end - out.getData()));
    return true;
}

bool ContentCoding::encodeQuotedPrintable(std::string_view bytes, DataBuffer& out) {
    return appendQuotedPrintable(bytes, out);
}

bool ContentCoding::decodeQuotedPrintable(std::string_view text, DataBuffer& out) {
    return appendDecodedQuotedPrintable(text, out);
}

void ContentCoding::bEncodeWord(std::string_view bytes, std::string_view charset,
                                std::string& out) {
    openWord(charset, 'B', out);
    const std::size_t begin = out.size();
    out.resize(begin + base64Size(bytes.size()));
    encodeBase64Run(bytes, out.data() + begin);
    out += "?=";
}

void ContentCoding::qEncodeWord(std::string_view bytes, std::string_view charset,
                                std::string& out) const {
    openWord(charset, 'Q', out);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == ' ') {
            out += '_';
        } else if (isQLiteral(byte) && !(commaSafe_ && c == ',')) {
            out += c;
        } else {
            out += '=';
            out.append(&kHexPairs[2 * static_cast<std::size_t>(byte)], 2);
        }
    }
    out += "?=";
}

void ContentCoding::encodeBValue(std::string_view bytes, std::uint32_t codePage,
                                 std::string_view charset, std::string& out) {
    if (allBlank(bytes) || canStandUncoded(bytes, codePage)) {
        out += bytes;
    } else if (bytes.size() < kSplitFrom) {
        bEncodeWord(bytes, charset, out);
    } else {
        encodePieces(bytes, codePage == kNoCodePage ? kUtf8 : codePage, out,
                     [&](std::string_view piece) { bEncodeWord(piece, charset, out); });
    }
}

void ContentCoding::encodeQValue(std::string_view bytes, std::uint32_t codePage,
                                 std::string_view charset, std::string& out) const {
    if (allBlank(bytes)) {
        out += bytes;
    } else if (bytes.size() < kSplitFrom) {
        qEncodeWord(bytes, charset, out);
    } else {
        encodePieces(bytes, codePage == kNoCodePage ? kUtf8 : codePage, out,
                     [&](std::string_view piece) { qEncodeWord(piece, charset, out); });
    }
}

void ContentCoding::encodeWordAuto(std::string_view bytes, std::string_view charset,
                                   std::string& out) const {
    const std::string_view front = bytes.substr(0, kCodedProbe);
    if (bytes.empty() || hasQWordMark(front) || hasBWordMark(front)) {
        out += bytes;
    } else if (std::any_of(kBCharsets.begin(), kBCharsets.end(),
                           [&](std::string_view name) { return equalsNoCase(name, charset); })) {
        bEncodeWord(bytes, charset, out);
    } else {
        qEncodeWord(bytes, charset, out);
    }
}

}  // namespace borvik
