#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "charset/shuffle_tables.h"
#include "charset/text_cursor.h"

// Functions so marked are only called where the processor has these instructions.
#define BORVIK_SSE42 __attribute__((target("sse4.2,popcnt")))

/// What the lanes for SSE 4.2 have in common. For x86-64 alone.
namespace borvik::sse42 {

inline constexpr std::size_t kVector = 16;
/// Long enough that text is either ASCII throughout or not at all for most of its blocks.
inline constexpr std::size_t kBlock = 64;

BORVIK_SSE42 inline __m128i load(const void* in) {
    return _mm_loadu_si128(static_cast<const __m128i*>(in));
}

BORVIK_SSE42 inline void store(std::uint8_t* out, __m128i value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), value);
}

BORVIK_SSE42 inline __m128i bytes(int value) {
    return _mm_set1_epi8(static_cast<char>(value));
}

BORVIK_SSE42 inline __m128i shuffle(__m128i value, const shuffles::Shuffle& by) {
    return _mm_shuffle_epi8(value, _mm_load_si128(reinterpret_cast<const __m128i*>(&by)));
}

BORVIK_SSE42 inline unsigned mask(__m128i value) {
    return static_cast<unsigned>(_mm_movemask_epi8(value));
}

BORVIK_SSE42 inline unsigned countBits(unsigned value) {
    return static_cast<unsigned>(_mm_popcnt_u32(value));
}

/// The place of the lowest set bit of 16, or 16.
inline unsigned firstBit(unsigned value) {
    return static_cast<unsigned>(__builtin_ctz(value | 0x10000U));
}

/// Bytes from `low` (at least 0x80) up, compared unsigned.
BORVIK_SSE42 inline __m128i atLeast(__m128i value, int low) {
    return _mm_cmpeq_epi8(_mm_max_epu8(value, bytes(low)), value);
}

/// All of 0x01 to 0x7F: as signed numbers, the lowest is above 0.
BORVIK_SSE42 inline bool isPlain(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i lowest = _mm_min_epi8(_mm_min_epi8(a, b), _mm_min_epi8(c, d));
    return mask(_mm_cmpgt_epi8(lowest, _mm_setzero_si128())) == 0xFFFF;
}

BORVIK_SSE42 inline bool isPlainBlock(const std::uint8_t* in) {
    return isPlain(load(in), load(in + 16), load(in + 32), load(in + 48));
}

BORVIK_SSE42 inline void widenBlock(const std::uint8_t* in, std::uint8_t* out) {
    for (std::size_t i = 0; i < kBlock; i += kVector) {
        const __m128i value = load(in + i);
        store(out + 2 * i, _mm_unpacklo_epi8(value, _mm_setzero_si128()));
        store(out + 2 * i + kVector, _mm_unpackhi_epi8(value, _mm_setzero_si128()));
    }
}

BORVIK_SSE42 inline bool widenPlainBlock(TextCursor& c) {
    if (!isPlainBlock(c.in)) {
        return false;
    }
    widenBlock(c.in, c.out);
    c.in += kBlock;
    c.out += 2 * kBlock;
    return true;
}

/// 32 units. Saturating makes 0 of units over 0x7FFF and 0xFF of those over 0xFF: neither is plain.
BORVIK_SSE42 inline bool narrowPlainBlock(TextCursor& c) {
    const __m128i low = _mm_packus_epi16(load(c.in), load(c.in + 16));
    const __m128i high = _mm_packus_epi16(load(c.in + 32), load(c.in + 48));
    if (!isPlain(low, low, high, high)) {
        return false;
    }
    store(c.out, low);
    store(c.out + kVector, high);
    c.in += kBlock;
    c.out += kBlock / 2;
    return true;
}

/// Not 0 where a byte is in a set: the row of its low nibble has the bit of its high one.
BORVIK_SSE42 inline __m128i setBits(__m128i rows, __m128i bitOfHigh, __m128i value) {
    const __m128i low = _mm_and_si128(value, bytes(0x0F));
    const __m128i high = _mm_and_si128(_mm_srli_epi16(value, 4), bytes(0x0F));
    return _mm_and_si128(_mm_shuffle_epi8(rows, low), _mm_shuffle_epi8(bitOfHigh, high));
}

/// Shifts within bytes; `kept` masks off what came from the neighbour.
BORVIK_SSE42 inline __m128i shiftLeft(__m128i value, int count, int kept) {
    return _mm_and_si128(_mm_slli_epi16(value, count), bytes(kept));
}
BORVIK_SSE42 inline __m128i shiftRight(__m128i value, int count, int kept) {
    return _mm_and_si128(_mm_srli_epi16(value, count), bytes(kept));
}

/// 8 bytes as a number.
inline std::uint64_t loadWord(const std::uint8_t* in) {
    std::uint64_t word;
    std::memcpy(&word, in, sizeof word);
    return word;
}

}  // namespace borvik::sse42
