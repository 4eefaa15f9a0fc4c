#include "mime/body_decoding.h"

#include <algorithm>
#include <array>

#include "base/ascii_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/content_coding.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
    std::size_t at = 0;
#if defined(__SSE2__)
    constexpr std::size_t kVector = sizeof(__m128i);
    const auto load = [&](std::size_t from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes.data() + from));
    };
    const auto mask = [](__m128i marks) { return static_cast<unsigned>(_mm_movemask_epi8(marks)); };
    for (; bytes.size() - at > kVector; at += kVector) {
        const __m128i here = load(at);
        const __m128i lead =
            _mm_cmpeq_epi8(_mm_or_si128(here, _mm_set1_epi8(1)), _mm_set1_epi8('\xC3'));
        const __m128i c1 = _mm_and_si128(_mm_cmpgt_epi8(here, _mm_set1_epi8('\x81')),
                                         _mm_cmpgt_epi8(_mm_set1_epi8('\xA0'), here));
        const unsigned pairs = mask(lead) & mask(load(at + 1));
        const unsigned inFrontOfPair = pairs == 0 ? ~0U : (pairs & (0U - pairs)) - 1;
        look.hasC1Byte = look.hasC1Byte || (mask(c1) & inFrontOfPair) != 0;
        look.hasUtf8Pair = pairs != 0;
        if (look.hasUtf8Pair) {
            return look;
        }
    }
#endif
    for (; at + 1 < bytes.size() && !look.hasUtf8Pair; ++at) {
        const char c = bytes[at];
        look.hasUtf8Pair = (c == '\xC2' || c == '\xC3') && isEightBit(bytes[at + 1]);
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
