#include "mime/body_decoding.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/ascii_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/base64.h"
#include "mime/coding/content_coding.h"
#include "platform/memory_pages.h"

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
bool convertToUtf8(std::uint32_t codePage, std::string_view text, DataBuffer& out) {
    return EncodingConvert().convert(codePage, kUtf8, text, out);
}

/// Whether a text in that page is the same in UTF-8.
bool isUtf8Already(std::uint32_t codePage, std::string_view text) {
    return isAsciiCompatible(codePage) && isAscii(text) &&
           text.find('\0') == std::string_view::npos;
}

void convertToUtf8(std::uint32_t codePage, DataBuffer& body) {
    if (!isUtf8Already(codePage, body.view())) {
        DataBuffer converted;
        convertToUtf8(codePage, body.view(), converted);
        body.takeFrom(converted);
    }
}

/// False when the text is to stay as it is.
bool convert8BitText(std::string_view text, std::uint32_t codePage, DataBuffer& out) {
    const bool hasEightBit = !isAscii(text);
    if (codePage == kNoCodePage && hasEightBit) {
        codePage = hasUtf8Pair(text) ? kUtf8 : kIsoLatin1;
    }
    if (codePage == kNoCodePage || codePage == kUtf8) {
        return false;
    }
    const bool singleByte =
        codePage == kUsAscii || within(kIsoPages, codePage) || within(kWindowsPages, codePage);
    if (singleByte && hasEightBit && hasUtf8Pair(text)) {
        return convertToUtf8(codePage, text, out);
    }
    if (isUtf8Already(codePage, text)) {
        return false;
    }
    convertToUtf8(codePage, text, out);
    return true;
}

/// So much base64 text is decoded before its memory is given back.
constexpr std::size_t kBase64Piece = std::size_t{1} << 18;
constexpr std::size_t kBase64Group = 4;

/// Whether the decoder takes the character for one of a group.
constexpr bool isOfBase64Group(char c) {
    return '+' <= c && c <= 'z';
}

constexpr bool endsBase64(char c) {
    return c == '=' || c == '\0';
}

/// The number of characters of groups in the text; nothing when the text may end in it.
std::optional<std::size_t> countOfGroups(std::string_view text) {
    std::size_t count = 0;
    std::size_t at = 0;
#if defined(__SSE2__)
    constexpr std::size_t kVector = sizeof(__m128i);
    __m128i counts = _mm_setzero_si128();
    __m128i ends = _mm_setzero_si128();
    for (; text.size() - at >= kVector; at += kVector) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
        const __m128i within = _mm_and_si128(_mm_cmpgt_epi8(here, _mm_set1_epi8('+' - 1)),
                                             _mm_cmpgt_epi8(_mm_set1_epi8('z' + 1), here));
        ends = _mm_or_si128(ends, _mm_or_si128(_mm_cmpeq_epi8(here, _mm_set1_epi8('=')),
                                               _mm_cmpeq_epi8(here, _mm_setzero_si128())));
        // Each byte of `within` is 0 or -1.
        const __m128i ones = _mm_sub_epi8(_mm_setzero_si128(), within);
        counts = _mm_add_epi64(counts, _mm_sad_epu8(ones, _mm_setzero_si128()));
    }
    if (_mm_movemask_epi8(ends) != 0) {
        return std::nullopt;
    }
    count = static_cast<std::size_t>(_mm_cvtsi128_si64(counts)) +
            static_cast<std::size_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(counts, counts)));
#endif
    for (; at < text.size(); ++at) {
        if (endsBase64(text[at])) {
            return std::nullopt;
        }
        count += isOfBase64Group(text[at]) ? 1 : 0;
    }
    return count;
}

/// How much of the text, a piece or a little more, holds whole groups only; 0 when the text may end
/// in it.
std::size_t wholeGroups(std::string_view text) {
    std::size_t length = std::min(kBase64Piece, text.size());
    const std::optional<std::size_t> count = countOfGroups(text.substr(0, length));
    if (!count) {
        return 0;
    }
    for (std::size_t taken = *count; taken % kBase64Group != 0; ++length) {
        if (length == text.size() || endsBase64(text[length])) {
            return 0;
        }
        taken += isOfBase64Group(text[length]) ? 1 : 0;
    }
    return length;
}

/// Appends what the front of the text stands for, and takes that front away.
void decodeInPieces(std::string_view& text, DataBuffer& body) {
    if (!body.ensureCapacity(base64DecodeRoom(text.size()))) {
        return;
    }
    for (std::size_t length = wholeGroups(text); length != 0 && text.size() > kBase64Piece;
         length = wholeGroups(text)) {
        const std::string_view piece = text.substr(0, length);
        const char* const end = decodeBase64Run(piece, body.getData() + body.getSize());
        body.setLength(static_cast<std::size_t>(end - body.getData()));
        platform::releasePages(piece.data(), piece.data() + piece.size());
        text.remove_prefix(length);
    }
}

}  // namespace

void decode8BitBody(std::string_view text, std::uint32_t codePage, bool convert, bool borrows,
                    DataBuffer& body) {
    DataBuffer converted;
    if (convert && codePage != kUtf8 && convert8BitText(text, codePage, converted)) {
        body.takeFrom(converted);
    } else if (borrows) {
        body.borrow(text.data(), text.size());
    } else {
        body.assign(text);
    }
}

void decodeBase64Body(std::string_view text, std::uint32_t codePage, bool usesUp,
                      DataBuffer& body) {
    body.clear();
    if (usesUp && text.size() > kBase64Piece) {
        decodeInPieces(text, body);
    }
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
