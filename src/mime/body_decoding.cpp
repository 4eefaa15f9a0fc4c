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

constexpr std::array<std::uint32_t, 9> kOtherAsciiPages = {
    kUsAscii, 874, 20866, 21866, kShiftJis, kGbk, kKoreanUhc, kBig5, kEucKr};

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

/// Position of the first byte that leads a two-byte UTF-8 character of Latin-1 and has an 8-bit
/// byte behind it, as Latin text in UTF-8 is sure to hold; `npos` when there is none.
std::size_t findUtf8Pair(std::string_view bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if ((bytes[i] == '\xC2' || bytes[i] == '\xC3') && isEightBit(bytes[i + 1])) {
            return i;
        }
    }
    return std::string_view::npos;
}

bool hasUtf8Pair(std::string_view bytes) {
    return findUtf8Pair(bytes) != std::string_view::npos;
}

bool hasC1Byte(std::string_view bytes) {
    return std::any_of(bytes.begin(), bytes.end(),
                       [](char c) { return '\x82' <= c && c <= '\x9F'; });
}

/// False when characters were dropped.
bool convertToUtf8(std::uint32_t codePage, const DataBuffer& body, DataBuffer& out) {
    return EncodingConvert().convert(codePage, kUtf8, body.view(), out);
}

void convertToUtf8(std::uint32_t codePage, DataBuffer& body) {
    if (keepsAscii(codePage) && body.isAscii() && !body.containsByte('\0')) {
        return;
    }
    DataBuffer converted;
    convertToUtf8(codePage, body, converted);
    body.takeFrom(converted);
}

}  // namespace

bool keepsAscii(std::uint32_t codePage) {
    return within(kIsoPages, codePage) || within(kWindowsPages, codePage) ||
           isOneOf(kOtherAsciiPages, codePage);
}

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
    if (!body.isAscii() && !isOneOf(kPairsTellNothing, codePage)) {
        const std::size_t pair = findUtf8Pair(bytes);
        const bool hasPair = pair != std::string_view::npos;
        if (hasPair && findNoCase(bytes, "utf-8") != std::string_view::npos) {
            return false;
        }
        // The last byte isn't looked at.
        const std::size_t end = hasPair ? pair : bytes.size() - 1;
        if (codePage == kIsoLatin1 && hasC1Byte(bytes.substr(0, end))) {
            codePage = kWindowsLatin1;
            relabelled = true;
        }
    }
    convertToUtf8(codePage, body);
    return relabelled;
}

}  // namespace borvik
