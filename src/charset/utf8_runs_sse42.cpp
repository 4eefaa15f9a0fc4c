#if defined(__x86_64__)

#include "charset/sse42.h"
#include "charset/text_runs_sse42.h"

namespace borvik::sse42 {
namespace {

/// Writes the units that begin at the set places, their low and high bytes given for all 16.
BORVIK_SSE42 inline void storeUnits(__m128i low, __m128i high, unsigned starts,
                                    std::uint8_t*& out) {
    store(out, shuffle(_mm_unpacklo_epi8(low, high), shuffles::kLanes[starts & 0xFF]));
    out += 2 * countBits(starts & 0xFF);
    store(out, shuffle(_mm_unpackhi_epi8(low, high), shuffles::kLanes[starts >> 8]));
    out += 2 * countBits(starts >> 8);
}

/// What a block of UTF-8 has shown so far.
struct BlockState {
    /// Bit 0 and 1: the next bytes must be trail bytes, since a character has begun in front of
    /// them.
    unsigned wanted = 0;
    /// Not 0 when the block is ill-formed.
    unsigned wrong = 0;
};

/// Reads the characters that begin in 16 bytes, each with the trail bytes behind it; `kThrees` when
/// there may be characters of 3 bytes. Only the `kept` places count.
template <bool kThrees>
BORVIK_SSE42 inline void decodeVector(const std::uint8_t* in, unsigned kept, BlockState& state,
                                      std::uint8_t*& out) {
    const __m128i b0 = load(in);
    const __m128i b1 = load(in + 1);
    const __m128i lead = atLeast(b0, 0xC0);
    const unsigned leads = mask(lead);
    const unsigned trails = mask(_mm_cmplt_epi8(b0, bytes(0xC0)));
    // Lead bytes that are never valid.
    __m128i never = _mm_cmpeq_epi8(_mm_and_si128(b0, bytes(0xFE)), bytes(0xC0));
    const __m128i low2 = _mm_or_si128(shiftLeft(b0, 6, 0xC0), _mm_and_si128(b1, bytes(0x3F)));
    __m128i low = _mm_blendv_epi8(b0, low2, lead);
    __m128i high = _mm_and_si128(shiftRight(b0, 2, 0x07), lead);
    unsigned wanted = state.wanted | leads << 1;
    if constexpr (kThrees) {
        const __m128i b2 = load(in + 2);
        const __m128i lead3 = atLeast(b0, 0xE0);
        // Longer forms than needed, and characters of 4 bytes.
        never = _mm_or_si128(
            never, _mm_or_si128(atLeast(b0, 0xF0), _mm_and_si128(_mm_cmpeq_epi8(b0, bytes(0xE0)),
                                                                 _mm_cmplt_epi8(b1, bytes(0xA0)))));
        const __m128i low3 = _mm_or_si128(shiftLeft(b1, 6, 0xC0), _mm_and_si128(b2, bytes(0x3F)));
        const __m128i high3 = _mm_or_si128(shiftLeft(b0, 4, 0xF0), shiftRight(b1, 2, 0x0F));
        low = _mm_blendv_epi8(low, low3, lead3);
        high = _mm_blendv_epi8(high, high3, lead3);
        wanted |= mask(lead3) << 2;
    }
    state.wrong |= mask(never) | (trails ^ (wanted & 0xFFFF));
    state.wanted = wanted >> kVector;
    storeUnits(low, high, ~trails & kept, out);
}

/// How many bytes at the end of 16 belong to a character that goes on behind them.
BORVIK_SSE42 inline unsigned cutOffBytes(const std::uint8_t* in) {
    const unsigned last = in[kVector - 1];
    const unsigned before = in[kVector - 2];
    if (last >= 0xC0) {
        return 1;
    }
    return before >= 0xE0 ? 2 : 0;
}

/// Reads the whole characters of a block that begins with one. False, with nothing done, when it is
/// ill-formed.
template <bool kThrees>
BORVIK_SSE42 inline bool decodeBlock(TextCursor& c) {
    constexpr unsigned kAll = 0xFFFF;
    constexpr std::size_t kLast = kBlock - kVector;
    BlockState state;
    std::uint8_t* out = c.out;
    for (std::size_t i = 0; i < kLast; i += kVector) {
        decodeVector<kThrees>(c.in + i, kAll, state, out);
    }
    const unsigned cutOff = cutOffBytes(c.in + kLast);
    decodeVector<kThrees>(c.in + kLast, kAll >> cutOff, state, out);
    if (state.wrong != 0) {
        return false;
    }
    c.in += kBlock - cutOff;
    c.out = out;
    return true;
}

}  // namespace

BORVIK_SSE42 void utf8ToUtf16(TextCursor& c) {
    while (c.has(kBlock + 2)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const __m128i highest = _mm_max_epu8(_mm_max_epu8(load(c.in), load(c.in + 16)),
                                             _mm_max_epu8(load(c.in + 32), load(c.in + 48)));
        const bool threes = mask(atLeast(highest, 0xE0)) != 0;
        if (!(threes ? decodeBlock<true>(c) : decodeBlock<false>(c))) {
            return;
        }
    }
}

namespace {

/// 8 units under 0x800, none of them 0.
BORVIK_SSE42 inline void encodePairs(__m128i units, std::uint8_t*& out) {
    const __m128i first = _mm_or_si128(_mm_srli_epi16(units, 6), _mm_set1_epi16(0xC0));
    const __m128i second =
        _mm_or_si128(_mm_and_si128(units, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
    const __m128i both = _mm_or_si128(first, _mm_slli_epi16(second, 8));
    const __m128i single = _mm_cmplt_epi16(units, _mm_set1_epi16(0x80));
    const unsigned singles = mask(_mm_packs_epi16(single, _mm_setzero_si128()));
    store(out, shuffle(_mm_blendv_epi8(both, units, single), shuffles::kPairs[singles]));
    out += 16 - countBits(singles);
}

/// 8 units, none of them 0.
BORVIK_SSE42 inline void encodeTriples(__m128i units, std::uint8_t*& out) {
    const __m128i all = _mm_set1_epi16(0x3F);
    const __m128i ofMany = _mm_cmpeq_epi16(_mm_max_epu16(units, _mm_set1_epi16(0x80)), units);
    const __m128i ofThree = _mm_cmpeq_epi16(_mm_max_epu16(units, _mm_set1_epi16(0x800)), units);
    // The first and the second of three bytes in a lane, the third one in another. The second one
    // is the lead byte where there are two, and the third one stands alone where there is one.
    const __m128i middle = _mm_and_si128(_mm_slli_epi16(units, 2), _mm_set1_epi16(0x3F00));
    const __m128i marks =
        _mm_xor_si128(_mm_and_si128(ofMany, _mm_set1_epi16(static_cast<short>(0xC000))),
                      _mm_and_si128(ofThree, _mm_set1_epi16(0x40E0)));
    const __m128i upper = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(units, 12), middle), marks);
    const __m128i trail = _mm_or_si128(_mm_and_si128(units, all), _mm_set1_epi16(0x80));
    const __m128i lower = _mm_blendv_epi8(units, trail, ofMany);
    const unsigned lengths = mask(_mm_packs_epi16(ofMany, ofThree));
    const unsigned front = (lengths & 0x0F) | (lengths >> 4 & 0xF0);
    const unsigned back = (lengths >> 4 & 0x0F) | (lengths >> 8 & 0xF0);
    store(out, shuffle(_mm_unpacklo_epi16(upper, lower), shuffles::kTriples[front]));
    out += 4 + countBits(front);
    store(out, shuffle(_mm_unpackhi_epi16(upper, lower), shuffles::kTriples[back]));
    out += 4 + countBits(back);
}

}  // namespace

BORVIK_SSE42 void utf16ToUtf8(TextCursor& c) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i firstOfThree = _mm_set1_epi16(0x0800);
    while (c.has(kBlock)) {
        if (narrowPlainBlock(c)) {
            continue;
        }
        std::uint8_t* out = c.out;
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const __m128i units = load(c.in + i);
            const __m128i threes =
                _mm_cmpeq_epi16(_mm_min_epu16(units, firstOfThree), firstOfThree);
            if (mask(_mm_cmpeq_epi16(units, zero)) != 0) {
                return;
            }
            if (mask(threes) == 0) {
                encodePairs(units, out);
            } else {
                encodeTriples(units, out);
            }
        }
        c.in += kBlock;
        c.out = out;
    }
}

}  // namespace borvik::sse42

#endif
