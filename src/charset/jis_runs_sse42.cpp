#if defined(__x86_64__)

#include "charset/sse42.h"
#include "charset/text_runs_sse42.h"

namespace borvik::sse42 {
namespace {

/// The three bytes at `in` as a number.
inline std::uint32_t loadEscape(const std::uint8_t* in) {
    return in[0] | static_cast<std::uint32_t>(in[1]) << 8 | static_cast<std::uint32_t>(in[2]) << 16;
}

/// A short run of ASCII with the escapes around it: a number or the end of a line. False elsewhere.
BORVIK_SSE42 inline bool copyAsciiBetweenJis(TextCursor& c) {
    constexpr std::size_t kEscapeLength = 3;
    constexpr std::uint32_t kToAscii = 0x1B | '(' << 8 | 'B' << 16;
    constexpr std::uint32_t kToJis = 0x1B | '$' << 8 | 'B' << 16;
    if (c.left() < kEscapeLength + kVector || loadEscape(c.in) != kToAscii) {
        return false;
    }
    const __m128i text = load(c.in + kEscapeLength);
    const unsigned length = firstBit(mask(_mm_cmpeq_epi8(text, bytes(0x1B))));
    if (length > kVector - kEscapeLength || loadEscape(c.in + kEscapeLength + length) != kToJis) {
        return false;
    }
    store(c.out, text);
    c.in += kEscapeLength + length + kEscapeLength;
    c.out += length;
    return true;
}

}  // namespace

/// 8 pairs at a time: all bytes in 0x21 to 0x7E, and none in the rows that have a list of their
/// own.
BORVIK_SSE42 void jisToShiftJis(TextCursor& cursor) {
    TextCursor c = cursor;

    const __m128i lowByte = _mm_set1_epi16(0xFF);
    while (c.has(kVector)) {
        const __m128i value = load(c.in);
        const __m128i row = _mm_and_si128(value, lowByte);
        const __m128i cell = _mm_srli_epi16(value, 8);
        const __m128i listed = _mm_and_si128(_mm_cmpgt_epi16(row, _mm_set1_epi16(0x78)),
                                             _mm_cmplt_epi16(row, _mm_set1_epi16(0x7D)));
        const __m128i outside =
            _mm_or_si128(_mm_cmplt_epi8(value, bytes(0x21)), _mm_cmpeq_epi8(value, bytes(0x7F)));
        const __m128i second =
            _mm_and_si128(_mm_cmpgt_epi16(row, _mm_set1_epi16(0x5E)), _mm_set1_epi16(0x40));
        const __m128i lead = _mm_add_epi16(
            _mm_add_epi16(_mm_srli_epi16(_mm_add_epi16(row, _mm_set1_epi16(1)), 1), second),
            _mm_set1_epi16(0x70));
        const __m128i upper =
            _mm_and_si128(_mm_cmpgt_epi16(cell, _mm_set1_epi16(0x5F)), _mm_set1_epi16(1));
        const __m128i ofOdd = _mm_add_epi16(_mm_add_epi16(cell, upper), _mm_set1_epi16(0x1F));
        const __m128i ofEven = _mm_add_epi16(cell, _mm_set1_epi16(0x7E));
        const __m128i isOdd =
            _mm_cmpeq_epi16(_mm_and_si128(row, _mm_set1_epi16(1)), _mm_set1_epi16(1));
        const __m128i trail = _mm_blendv_epi8(ofEven, ofOdd, isOdd);
        store(c.out, _mm_or_si128(lead, _mm_slli_epi16(trail, 8)));
        const unsigned others = mask(_mm_or_si128(listed, outside));
        if (others != 0) {
            const unsigned count = firstBit(others) & ~1U;
            c.in += count;
            c.out += count;
            if (!copyAsciiBetweenJis(c)) {
                break;
            }
            continue;
        }
        c.in += kVector;
        c.out += kVector;
    }
    cursor = c;
}

}  // namespace borvik::sse42

#endif
