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
    /// Not 0 when trail bytes are not where they must be.
    unsigned misplaced = 0;
    /// Set at lead bytes that are not valid, or not with the byte behind them.
    __m128i invalid;
};

/// Reads the characters that begin in 16 bytes, each with the trail bytes behind it; `kThrees` when
/// there may be characters of 3 bytes, and none are longer. Only the `kept` places count. What is
/// made at the places of trail bytes is of no use, and is left out.
template <bool kThrees>
BORVIK_SSE42 inline void decodeVector(const std::uint8_t* in, unsigned kept, BlockState& state,
                                      std::uint8_t*& out) {
    const __m128i b0 = load(in);
    const __m128i b1 = load(in + 1);
    const unsigned trails = mask(_mm_cmplt_epi8(b0, bytes(0xC0)));
    const __m128i beyondAscii = _mm_cmplt_epi8(b0, _mm_setzero_si128());
    __m128i invalid = _mm_cmpeq_epi8(_mm_and_si128(b0, bytes(0xFE)), bytes(0xC0));
    // The byte in front of the last one of each character, and the last one.
    __m128i before = b0;
    __m128i last = b1;
    __m128i top = _mm_setzero_si128();
    unsigned wanted = state.wanted | (mask(b0) & ~trails) << 1;
    if constexpr (kThrees) {
        const __m128i three = atLeast(b0, 0xE0);
        before = _mm_blendv_epi8(b0, b1, three);
        last = _mm_blendv_epi8(b1, load(in + 2), three);
        top = _mm_and_si128(_mm_slli_epi16(b0, 4), _mm_and_si128(three, bytes(0xF0)));
        // Longer forms than needed.
        invalid = _mm_or_si128(invalid, _mm_and_si128(_mm_cmpeq_epi8(b0, bytes(0xE0)),
                                                      _mm_cmplt_epi8(b1, bytes(0xA0))));
        wanted |= mask(three) << 2;
    }
    const __m128i lowOfMany =
        _mm_or_si128(shiftLeft(before, 6, 0xC0), _mm_and_si128(last, bytes(0x3F)));
    const __m128i low = _mm_blendv_epi8(b0, lowOfMany, b0);
    const __m128i high = _mm_or_si128(_mm_and_si128(shiftRight(before, 2, 0x0F), beyondAscii), top);
    state.invalid = _mm_or_si128(state.invalid, invalid);
    state.misplaced |= trails ^ (wanted & 0xFFFF);
    state.wanted = wanted >> kVector;
    storeUnits(low, high, ~trails & kept, out);
}

/// How many bytes at the end of 16 belong to a character that goes on behind them. Without a
/// branch, since any answer is as likely as the next.
BORVIK_SSE42 inline unsigned cutOffBytes(const std::uint8_t* in) {
    const auto last = static_cast<unsigned>(in[kVector - 1] >= 0xC0);
    const auto before = static_cast<unsigned>(in[kVector - 2] >= 0xE0);
    return last + 2 * before;
}

/// Reads the whole characters of a block that begins with one. False, with nothing done, when it is
/// ill-formed.
template <bool kThrees>
BORVIK_SSE42 inline bool decodeBlock(TextCursor& c) {
    constexpr unsigned kAll = 0xFFFF;
    constexpr std::size_t kLast = kBlock - kVector;
    BlockState state;
    state.invalid = _mm_setzero_si128();
    std::uint8_t* out = c.out;
    for (std::size_t i = 0; i < kLast; i += kVector) {
        decodeVector<kThrees>(c.in + i, kAll, state, out);
    }
    const unsigned cutOff = cutOffBytes(c.in + kLast);
    decodeVector<kThrees>(c.in + kLast, kAll >> cutOff, state, out);
    if (state.misplaced != 0 || mask(state.invalid) != 0) {
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
        if (mask(atLeast(highest, 0xF0)) != 0) {
            return;
        }
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
