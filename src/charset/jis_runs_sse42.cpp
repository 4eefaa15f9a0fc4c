#if defined(__x86_64__)

#include "charset/sse42.h"
#include "charset/text_runs_sse42.h"

namespace borvik::sse42 {
namespace {

constexpr std::uint8_t kEscape = 0x1B;
constexpr std::size_t kEscapeLength = 3;

/// Passes an escape to ASCII or to double-byte characters. False, with nothing done, elsewhere.
inline bool readEscape(TextCursor& c, std::uint8_t kind, std::uint8_t setA, std::uint8_t setB,
                       JisSet made, JisSet& set) {
    if (c.left() < kEscapeLength || c.in[0] != kEscape || c.in[1] != kind ||
        (c.in[2] != setA && c.in[2] != setB)) {
        return false;
    }
    c.in += kEscapeLength;
    set = made;
    return true;
}

/// 8 pairs of JIS bytes as Shift_JIS, the first byte of each in the high half. Sets the bits of
/// those bytes in `others` that make no pair by the common rule: they are not in 0x21 to 0x7E, or
/// in one of the rows that have a list of their own.
BORVIK_SSE42 inline __m128i shiftJisOf(__m128i jis, unsigned& others) {
    const __m128i one = _mm_set1_epi16(1);
    const __m128i row = _mm_and_si128(jis, _mm_set1_epi16(0xFF));
    const __m128i cell = _mm_srli_epi16(jis, 8);
    const __m128i listed = _mm_and_si128(_mm_cmpgt_epi16(row, _mm_set1_epi16(0x78)),
                                         _mm_cmplt_epi16(row, _mm_set1_epi16(0x7D)));
    const __m128i outside =
        _mm_or_si128(_mm_cmplt_epi8(jis, bytes(0x21)), _mm_cmpeq_epi8(jis, bytes(0x7F)));
    others = mask(_mm_or_si128(listed, outside));
    const __m128i second =
        _mm_and_si128(_mm_cmpgt_epi16(row, _mm_set1_epi16(0x5E)), _mm_set1_epi16(0x40));
    const __m128i lead = _mm_add_epi16(
        _mm_add_epi16(_mm_srli_epi16(_mm_add_epi16(row, one), 1), second), _mm_set1_epi16(0x70));
    const __m128i upper = _mm_and_si128(_mm_cmpgt_epi16(cell, _mm_set1_epi16(0x5F)), one);
    const __m128i ofOdd = _mm_add_epi16(_mm_add_epi16(cell, upper), _mm_set1_epi16(0x1F));
    const __m128i ofEven = _mm_add_epi16(cell, _mm_set1_epi16(0x7E));
    const __m128i isOdd = _mm_cmpeq_epi16(_mm_and_si128(row, one), one);
    const __m128i trail = _mm_blendv_epi8(ofEven, ofOdd, isOdd);
    return _mm_or_si128(_mm_slli_epi16(lead, 8), _mm_and_si128(trail, _mm_set1_epi16(0xFF)));
}

/// 8 codes through the table.
BORVIK_SSE42 inline __m128i lookUpCodes(const char16_t* units, __m128i codes) {
    const auto unit = [units](int code) { return static_cast<short>(units[code]); };
    return _mm_setr_epi16(unit(_mm_extract_epi16(codes, 0)), unit(_mm_extract_epi16(codes, 1)),
                          unit(_mm_extract_epi16(codes, 2)), unit(_mm_extract_epi16(codes, 3)),
                          unit(_mm_extract_epi16(codes, 4)), unit(_mm_extract_epi16(codes, 5)),
                          unit(_mm_extract_epi16(codes, 6)), unit(_mm_extract_epi16(codes, 7)));
}

/// Double-byte characters up to the first that needs a closer look, and the escape to ASCII if it
/// stands there. False when something else does.
BORVIK_SSE42 inline bool readPairs(const DecodeTable& shiftJis, TextCursor& c, JisSet& set) {
    unsigned others = 0;
    const __m128i codes = shiftJisOf(load(c.in), others);
    const __m128i found = lookUpCodes(shiftJis.units.data(), codes);
    store(c.out, found);
    others |= mask(_mm_cmpeq_epi16(found, _mm_setzero_si128()));
    if (others == 0) {
        c.in += kVector;
        c.out += kVector;
        return true;
    }
    const unsigned count = firstBit(others) & ~1U;
    c.in += count;
    c.out += count;
    return readEscape(c, '(', 'B', 'J', JisSet::kAscii, set);
}

/// The same for ASCII and the escape to double-byte characters.
BORVIK_SSE42 inline bool readAscii(TextCursor& c, JisSet& set) {
    const __m128i text = load(c.in);
    store(c.out, _mm_unpacklo_epi8(text, _mm_setzero_si128()));
    store(c.out + kVector, _mm_unpackhi_epi8(text, _mm_setzero_si128()));
    const unsigned others =
        mask(_mm_or_si128(_mm_cmplt_epi8(text, bytes(1)), _mm_cmpeq_epi8(text, bytes(kEscape))));
    const unsigned count = firstBit(others);
    c.in += count;
    c.out += 2 * count;
    return others == 0 || readEscape(c, '$', 'B', '@', JisSet::kDoubleByte, set);
}

}  // namespace

BORVIK_SSE42 void jisToUtf16(const DecodeTable& shiftJis, TextCursor& cursor, JisSet& state) {
    TextCursor c = cursor;
    JisSet set = state;
    while (set != JisSet::kKana && c.has(kVector + kEscapeLength) &&
           (set == JisSet::kAscii ? readAscii(c, set) : readPairs(shiftJis, c, set))) {
    }
    cursor = c;
    state = set;
}

}  // namespace borvik::sse42

#endif
