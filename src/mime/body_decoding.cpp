#include "mime/body_decoding.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/ascii_text.h"
#include "charset/code_pages.h"
#include "charset/encoding_convert.h"
#include "mime/content_coding.h"

namespace borvik {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct PageRange {
    std::uint32_t first;
    std::uint32_t last;
};

constexpr PageRange kIsoPages{28591, 28605};
constexpr PageRange kWindowsPages{1250, 1258};

/// Pages whose text may hold any byte pair, so that nothing can be told from one.
constexpr std::array<std::uint32_t, 10> kPairsTellNothing = {
    kUtf16Le, kUtf16Be, kShiftJis, kGbk, kKoreanUhc, kBig5, 28595, kEucJp, kEucKr, 52936};

bool within(PageRange range, std::uint32_t codePage) {
    return range.first <= codePage && codePage <= range.last;
}

template <class Pages>
bool isOneOf(const Pages& pages, std::uint32_t codePage) {
    return std::find(pages.begin(), pages.end(), codePage) != pages.end();
}

bool isEightBit(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

/// Position of the first 8-bit byte at or behind `from`, or the end.
std::size_t findEightBit(std::string_view bytes, std::size_t from) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::size_t at = from;
    for (std::uint64_t word = 0; bytes.size() - at >= sizeof word; at += sizeof word) {
        std::memcpy(&word, bytes.data() + at, sizeof word);
        if ((word & kHighBits) != 0) {
            break;
        }
    }
    while (at < bytes.size() && !isEightBit(bytes[at])) {
        ++at;
    }
    return at;
}

/// What the 8-bit bytes of a text look like.
struct EightBitLook {
    /// A byte that leads a two-byte UTF-8 character of Latin-1 has an 8-bit byte behind it, as
    /// Latin text in UTF-8 is sure to hold. The scan ends there.
    bool hasUtf8Pair = false;
    /// A byte that windows-1252 has a character for and iso-8859-1 a control.
    bool hasC1Byte = false;
};

/// The last byte isn't looked at, but as the second of a pair.
EightBitLook lookAt(std::string_view bytes) {
    EightBitLook look;
    for (std::size_t i = findEightBit(bytes, 0); i + 1 < bytes.size();
         i = findEightBit(bytes, i + 1)) {
        const char c = bytes[i];
        if ((c == '\xC2' || c == '\xC3') && isEightBit(bytes[i + 1])) {
            look.hasUtf8Pair = true;
            break;
        }
        look.hasC1Byte = look.hasC1Byte || ('\x82' <= c && c <= '\x9F');
    }
    return look;
}

bool hasUtf8Pair(std::string_view bytes) {
    return lookAt(bytes).hasUtf8Pair;
}

/// False when characters were dropped.
bool convertToUtf8(std::uint32_t codePage, const DataBuffer& body, DataBuffer& out) {
    return EncodingConvert().convert(codePage, kUtf8, body.view(), out);
}

void convertToUtf8(std::uint32_t codePage, DataBuffer& body) {
    if (isAsciiCompatible(codePage) && body.isAscii() && !body.containsByte('\0')) {
        return;
    }
    DataBuffer converted;
    convertToUtf8(codePage, body, converted);
    body.takeFrom(converted);
}

}  // namespace

void decode8BitBody(std::string_view text, std::uint32_t codePage, bool convert, DataBuffer& body) {
    body.assign(text);
    if (!convert || codePage == kUtf8) {
        return;
    }
    const bool hasEightBit = !body.isAscii();
    if (codePage == kNoCodePage && hasEightBit) {
        codePage = hasUtf8Pair(body.view()) ? kUtf8 : kIsoLatin1;
    }
    if (codePage == kNoCodePage || codePage == kUtf8) {
        return;
    }
    const bool singleByte =
        codePage == kUsAscii || within(kIsoPages, codePage) || within(kWindowsPages, codePage);
    if (singleByte && hasEightBit && hasUtf8Pair(body.view())) {
        DataBuffer converted;
        if (convertToUtf8(codePage, body, converted)) {
            body.takeFrom(converted);
        }
        return;
    }
    convertToUtf8(codePage, body);
}

void decodeBase64Body(std::string_view text, std::uint32_t codePage, DataBuffer& body) {
    body.clear();
    ContentCoding::decodeBase64(text, body);
    convertBase64Body(codePage, body);
}

void convertBase64Body(std::uint32_t codePage, DataBuffer& body) {
    if (codePage == kNoCodePage || codePage == kUtf8) {
        return;
    }
    const bool isPlainText = body.isAscii() && !body.containsByte('\0');
    if (codePage == kUtf16Le && isPlainText) {
        return;
    }
    convertToUtf8(codePage, body);
}

bool decodeQuotedPrintableBody(std::string_view text, std::uint32_t codePage, DataBuffer& body) {
    body.clear();
    ContentCoding::decodeQuotedPrintable(text, body);
    const std::string_view bytes = body.view();
    if (codePage == kNoCodePage || codePage == kUtf8 || bytes.starts_with(kByteOrderMark)) {
        return false;
    }
    bool relabelled = false;
    if (!isOneOf(kPairsTellNothing, codePage)) {
        const EightBitLook look = lookAt(bytes);
        if (look.hasUtf8Pair && findNoCase(bytes, "utf-8") != std::string_view::npos) {
            return false;
        }
        relabelled = look.hasC1Byte && codePage == kIsoLatin1;
        if (relabelled) {
            codePage = kWindowsLatin1;
        }
    }
    convertToUtf8(codePage, body);
    return relabelled;
}

}  // namespace borvik
