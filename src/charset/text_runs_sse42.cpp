#include "charset/text_runs.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstring>

#include "charset/shuffle_tables.h"
#include "charset/utf7_alphabet.h"
#include "charset/utf8_bytes.h"

// Functions of this file are only called where the processor has these instructions.
#define BORVIK_SSE42 __attribute__((target("sse4.2,popcnt")))

namespace borvik {
namespace {

constexpr std::size_t kVector = 16;
/// Long enough that text is either ASCII throughout or not at all for most of its blocks.
constexpr std::size_t kBlock = 64;

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

BORVIK_SSE42 bool widenPlainBlock(TextCursor& c) {
    if (!isPlainBlock(c.in)) {
        return false;
    }
    widenBlock(c.in, c.out);
    c.in += kBlock;
    c.out += 2 * kBlock;
    return true;
}

BORVIK_SSE42 void asciiToUtf16(TextCursor& c) {
    while (c.has(kBlock) && widenPlainBlock(c)) {
    }
}

BORVIK_SSE42 void copyAscii(TextCursor& c) {
    while (c.has(kBlock) && isPlainBlock(c.in)) {
        std::memcpy(c.out, c.in, kBlock);
        c.in += kBlock;
        c.out += kBlock;
    }
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

BORVIK_SSE42 void utf16ToAscii(TextCursor& c) {
    while (c.has(kBlock) && narrowPlainBlock(c)) {
    }
}

/// 8 bytes through the table.
BORVIK_SSE42 inline __m128i lookUp8(const char16_t* units, const std::uint8_t* in) {
    return _mm_setr_epi16(static_cast<short>(units[in[0]]), static_cast<short>(units[in[1]]),
                          static_cast<short>(units[in[2]]), static_cast<short>(units[in[3]]),
                          static_cast<short>(units[in[4]]), static_cast<short>(units[in[5]]),
                          static_cast<short>(units[in[6]]), static_cast<short>(units[in[7]]));
}

/// A block with few characters beyond ASCII is converted as if it were ASCII, and these are put
/// right.
constexpr unsigned kFewOthers = kBlock / 4;

BORVIK_SSE42 inline std::uint64_t nonAsciiMask(const std::uint8_t* in) {
    return mask(load(in)) | static_cast<std::uint64_t>(mask(load(in + 16))) << 16 |
           static_cast<std::uint64_t>(mask(load(in + 32))) << 32 |
           static_cast<std::uint64_t>(mask(load(in + 48))) << 48;
}

/// All bytes of a block through the table. False when some have no character, or are 0.
BORVIK_SSE42 inline bool lookUpBlock(const char16_t* units, const std::uint8_t* in,
                                     std::uint8_t* out) {
    __m128i lowest = bytes(0xFF);
    for (std::size_t i = 0; i < kBlock; i += 8) {
        const __m128i value = lookUp8(units, in + i);
        lowest = _mm_min_epu16(lowest, value);
        store(out + 2 * i, value);
    }
    return mask(_mm_cmpeq_epi16(lowest, _mm_setzero_si128())) == 0;
}

/// As above for a block in which the `others` alone need the table; a 0 byte is U+0000 here.
BORVIK_SSE42 inline bool lookUpOthers(const char16_t* units, const std::uint8_t* in,
                                      std::uint64_t others, std::uint8_t* out) {
    widenBlock(in, out);
    std::uint32_t missing = 0;
    for (; others != 0; others &= others - 1) {
        const auto place = static_cast<unsigned>(__builtin_ctzll(others));
        const char16_t unit = units[in[place]];
        std::memcpy(out + std::size_t{2} * place, &unit, sizeof unit);
        missing |= unit - 1U;
    }
    return missing <= 0xFFFF;
}

BORVIK_SSE42 void singleByteToUtf16(const DecodeTable& table, TextCursor& c) {
    const char16_t* units = table.single.data();
    while (c.has(kBlock)) {
        const std::uint64_t others = nonAsciiMask(c.in);
        const bool few =
            table.asciiCompatible && static_cast<unsigned>(_mm_popcnt_u64(others)) <= kFewOthers;
        if (!(few ? lookUpOthers(units, c.in, others, c.out) : lookUpBlock(units, c.in, c.out))) {
            return;
        }
        c.in += kBlock;
        c.out += 2 * kBlock;
    }
}

/// 16 units from 0x80 up, as a mask of them.
BORVIK_SSE42 inline unsigned nonAsciiUnits(const std::uint8_t* in) {
    const __m128i outside = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = _mm_cmpeq_epi16(_mm_and_si128(load(in), outside), zero);
    const __m128i high = _mm_cmpeq_epi16(_mm_and_si128(load(in + 16), outside), zero);
    return ~mask(_mm_packs_epi16(low, high)) & 0xFFFFU;
}

/// 32 units at a time, in text that is ASCII for the most part.
BORVIK_SSE42 void utf16ToSingleByte(const EncodeTable& table, TextCursor& c) {
    if (!table.asciiCompatible) {
        return;
    }
    while (c.has(kBlock)) {
        std::uint32_t others = nonAsciiUnits(c.in) | nonAsciiUnits(c.in + 32) << 16;
        if (countBits(others) > kFewOthers / 2) {
            return;
        }
        store(c.out, _mm_packus_epi16(load(c.in), load(c.in + 16)));
        store(c.out + kVector, _mm_packus_epi16(load(c.in + 32), load(c.in + 48)));
        std::uint32_t missing = 0;
        for (; others != 0; others &= others - 1) {
            const auto place = static_cast<unsigned>(__builtin_ctz(others));
            char16_t unit;
            std::memcpy(&unit, c.in + std::size_t{2} * place, sizeof unit);
            const std::uint8_t byte = table.bytes[unit];
            c.out[place] = byte;
            missing |= byte - 1U;
        }
        if (missing > 0xFF) {
            return;
        }
        c.in += kBlock;
        c.out += kBlock / 2;
    }
}

/// Not 0 where a byte is in a set: the row of its low nibble has the bit of its high one.
BORVIK_SSE42 inline __m128i setBits(__m128i rows, __m128i bitOfHigh, __m128i value) {
    const __m128i low = _mm_and_si128(value, bytes(0x0F));
    const __m128i high = _mm_and_si128(_mm_srli_epi16(value, 4), bytes(0x0F));
    return _mm_and_si128(_mm_shuffle_epi8(rows, low), _mm_shuffle_epi8(bitOfHigh, high));
}

/// The places of 64 bytes whose byte begins pairs.
BORVIK_SSE42 inline std::uint64_t leadMask(const DecodeTable& table, const std::uint8_t* in) {
    const __m128i rows = load(table.leadRows.data());
    const __m128i bits = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 4, 8, 16, 32, 64, -128);
    std::uint64_t leads = 0;
    for (unsigned i = 0; i < kBlock; i += kVector) {
        const __m128i both = setBits(rows, bits, load(in + i));
        const unsigned outside = mask(_mm_cmpeq_epi8(both, _mm_setzero_si128()));
        leads |= static_cast<std::uint64_t>(~outside & 0xFFFFU) << i;
    }
    return leads;
}

/// The bytes of pairs that are second ones, among 64 bytes that begin with a character. Within a
/// run of bytes that can begin a pair, first and second bytes take turns: the subtraction borrows
/// from the beginning of each run up to the place behind its end.
inline std::uint64_t secondBytes(std::uint64_t leads) {
    constexpr std::uint64_t kOddPlaces = 0xAAAAAAAAAAAAAAAA;
    const std::uint64_t turns = ((leads << 1 | kOddPlaces) - leads) ^ kOddPlaces;
    return turns ^ leads;
}

BORVIK_SSE42 void doubleByteToUtf16(const DecodeTable& table, TextCursor& c) {
    const char16_t* units = table.units.data();
    while (c.has(kBlock + 1)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const std::uint8_t* in = c.in;
        std::uint8_t* out = c.out;
        const std::uint64_t leads = leadMask(table, in);
        const std::uint64_t seconds = secondBytes(leads);
        std::uint32_t missing = 0;
        for (std::uint64_t starts = ~seconds; starts != 0; starts &= starts - 1) {
            std::uint16_t pair;
            std::memcpy(&pair, in + __builtin_ctzll(starts), sizeof pair);
            const std::uint32_t unit = units[__builtin_bswap16(pair)];
            const auto stored = static_cast<char16_t>(unit);
            std::memcpy(out, &stored, sizeof stored);
            out += sizeof stored;
            // The high bits become set where the unit is 0.
            missing |= unit - 1;
        }
        if (missing > 0xFFFF) {
            return;
        }
        const bool pairAtEnd = (leads & ~seconds) >> (kBlock - 1) != 0;
        c.in = in + kBlock + (pairAtEnd ? 1 : 0);
        c.out = out;
    }
}

/// Shifts within bytes; `kept` masks off what came from the neighbour.
BORVIK_SSE42 inline __m128i shiftLeft(__m128i value, int count, int kept) {
    return _mm_and_si128(_mm_slli_epi16(value, count), bytes(kept));
}
BORVIK_SSE42 inline __m128i shiftRight(__m128i value, int count, int kept) {
    return _mm_and_si128(_mm_srli_epi16(value, count), bytes(kept));
}

/// Writes the units that begin at the set places, their low and high bytes given for all 16.
BORVIK_SSE42 inline void storeUnits(__m128i low, __m128i high, unsigned starts,
                                    std::uint8_t*& out) {
    store(out, shuffle(_mm_unpacklo_epi8(low, high), shuffles::kLanes[starts & 0xFF]));
    out += 2 * countBits(starts & 0xFF);
    store(out, shuffle(_mm_unpackhi_epi8(low, high), shuffles::kLanes[starts >> 8]));
    out += 2 * countBits(starts >> 8);
}

/// Reads the whole characters within 16 bytes that begin with one. False for what is not
/// well-formed. A character that goes on behind the vector is left for the next one.
BORVIK_SSE42 inline bool decodeVector(const std::uint8_t*& in, std::uint8_t*& out) {
    const __m128i b0 = load(in);
    const __m128i b1 = load(in + 1);
    const __m128i lead = atLeast(b0, 0xC0);
    const __m128i lead3 = atLeast(b0, 0xE0);
    const unsigned leads = mask(lead);
    const unsigned threes = mask(lead3);
    const unsigned trails = mask(_mm_cmplt_epi8(b0, bytes(0xC0)));
    // Lead bytes that are never valid.
    __m128i never = _mm_cmpeq_epi8(_mm_and_si128(b0, bytes(0xFE)), bytes(0xC0));
    const __m128i low2 = _mm_or_si128(shiftLeft(b0, 6, 0xC0), _mm_and_si128(b1, bytes(0x3F)));
    __m128i low = _mm_blendv_epi8(b0, low2, lead);
    __m128i high = _mm_and_si128(shiftRight(b0, 2, 0x07), lead);
    if (threes == 0) {
        if ((mask(never) | (trails ^ (leads << 1 & 0xFFFF))) != 0) {
            return false;
        }
        const unsigned cutOff = leads >> 15;
        storeUnits(low, high, ~trails & (0xFFFFU >> cutOff), out);
        in += kVector - cutOff;
        return true;
    }
    const __m128i b2 = load(in + 2);
    // Longer forms than needed, and characters of 4 bytes.
    never = _mm_or_si128(
        never, _mm_or_si128(atLeast(b0, 0xF0), _mm_and_si128(_mm_cmpeq_epi8(b0, bytes(0xE0)),
                                                             _mm_cmplt_epi8(b1, bytes(0xA0)))));
    const unsigned wanted = (leads << 1 | threes << 2) & 0xFFFF;
    if ((mask(never) | (trails ^ wanted)) != 0) {
        return false;
    }
    const __m128i low3 = _mm_or_si128(shiftLeft(b1, 6, 0xC0), _mm_and_si128(b2, bytes(0x3F)));
    const __m128i high3 = _mm_or_si128(shiftLeft(b0, 4, 0xF0), shiftRight(b1, 2, 0x0F));
    low = _mm_blendv_epi8(low, low3, lead3);
    high = _mm_blendv_epi8(high, high3, lead3);
    const unsigned cutOff = leads >> 15 | (threes >> 14 & 1U) * 2;
    storeUnits(low, high, ~trails & (0xFFFFU >> cutOff), out);
    in += kVector - cutOff;
    return true;
}

BORVIK_SSE42 void utf8ToUtf16(TextCursor& c) {
    while (c.has(kBlock + 2)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const std::uint8_t* in = c.in;
        std::uint8_t* out = c.out;
        bool wellFormed = true;
        for (std::size_t i = 0; i < kBlock && wellFormed; i += kVector) {
            wellFormed = decodeVector(in, out);
        }
        c.in = in;
        c.out = out;
        if (!wellFormed) {
            return;
        }
    }
}

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

/// 4 units in 32 bits each, none of them 0.
BORVIK_SSE42 inline void encodeTriples(__m128i units, std::uint8_t*& out) {
    const __m128i low6 = _mm_set1_epi32(0x3F);
    const __m128i sixth = _mm_srli_epi32(units, 6);
    const __m128i last = _mm_or_si128(_mm_and_si128(units, low6), _mm_set1_epi32(0x80));
    const __m128i two =
        _mm_or_si128(_mm_or_si128(sixth, _mm_slli_epi32(last, 8)), _mm_set1_epi32(0xC0));
    const __m128i middle = _mm_or_si128(_mm_and_si128(sixth, low6), _mm_set1_epi32(0x80));
    const __m128i three =
        _mm_or_si128(_mm_or_si128(_mm_srli_epi32(units, 12), _mm_set1_epi32(0xE0)),
                     _mm_or_si128(_mm_slli_epi32(middle, 8), _mm_slli_epi32(last, 16)));
    const __m128i isTwo = _mm_cmpgt_epi32(units, _mm_set1_epi32(0x7F));
    const __m128i isThree = _mm_cmpgt_epi32(units, _mm_set1_epi32(0x7FF));
    const __m128i bytesOfAll = _mm_blendv_epi8(_mm_blendv_epi8(units, two, isTwo), three, isThree);
    const auto twos = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(isTwo)));
    const auto threes = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(isThree)));
    const unsigned lengths = twos | threes << 4;
    store(out, shuffle(bytesOfAll, shuffles::kTriples[lengths]));
    out += 4 + countBits(lengths);
}

BORVIK_SSE42 void utf16ToUtf8(TextCursor& c) {
    const __m128i zero = _mm_setzero_si128();
    while (c.has(kBlock)) {
        if (narrowPlainBlock(c)) {
            continue;
        }
        std::uint8_t* out = c.out;
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const __m128i units = load(c.in + i);
            if (mask(_mm_cmpeq_epi16(units, zero)) != 0) {
                return;
            }
            if (_mm_testz_si128(units, _mm_set1_epi16(static_cast<short>(0xF800))) != 0) {
                encodePairs(units, out);
            } else {
                encodeTriples(_mm_unpacklo_epi16(units, zero), out);
                encodeTriples(_mm_unpackhi_epi16(units, zero), out);
            }
        }
        c.in += kBlock;
        c.out = out;
    }
}

/// The bytes that are not direct characters of UTF-7.
BORVIK_SSE42 inline unsigned codedMask(__m128i value) {
    alignas(16) static constexpr std::array<std::uint8_t, 16> kRows = makeUtf7DirectRows();
    const __m128i bits = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
    return mask(_mm_cmpeq_epi8(setBits(load(kRows.data()), bits, value), _mm_setzero_si128()));
}

/// 16 digits make 6 units.
constexpr unsigned kUnitsOfVector = 6;

/// The bytes that are no base64 digits.
BORVIK_SSE42 inline unsigned nonDigitMask(__m128i value) {
    // The class of a byte is told by its nibbles: where the bits of both meet, it is no digit.
    const __m128i lowClasses = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                             0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m128i highClasses = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                              0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m128i both =
        _mm_and_si128(_mm_shuffle_epi8(lowClasses, _mm_and_si128(value, bytes(0x0F))),
                      _mm_shuffle_epi8(highClasses, shiftRight(value, 4, 0x0F)));
    return ~mask(_mm_cmpeq_epi8(both, _mm_setzero_si128())) & 0xFFFFU;
}

/// The first bytes of a vector, or 16-bit lanes; the others become 0.
BORVIK_SSE42 inline __m128i firstBytes(__m128i value, unsigned count) {
    const __m128i places = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_and_si128(value, _mm_cmpgt_epi8(bytes(static_cast<int>(count)), places));
}

/// The units that digits stand for; others than digits must not be looked at. Behind `count` digits
/// come zeros.
BORVIK_SSE42 inline __m128i unitsOfDigits(__m128i digits, unsigned count) {
    // What turns a digit into its value, by high nibble; "/" has the row before that of "+".
    const __m128i offsets = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i toUnits = _mm_setr_epi8(1, 2, 6, 0, 4, 5, 9, 10, 14, 8, 12, 13, -1, -1, -1, -1);
    const __m128i row =
        _mm_add_epi8(shiftRight(digits, 4, 0x0F), _mm_cmpeq_epi8(digits, bytes('/')));
    const __m128i values = firstBytes(_mm_add_epi8(digits, _mm_shuffle_epi8(offsets, row)), count);
    const __m128i twelves = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i bits = _mm_madd_epi16(twelves, _mm_set1_epi32(0x00011000));
    return _mm_shuffle_epi8(bits, toUnits);
}

/// Up to 6 units as digits; the bits behind them in the last digit are those of the next unit.
BORVIK_SSE42 inline __m128i digitsOfUnits(__m128i units) {
    // Of each 3 bytes in stream order the second, the first, the third and again the second.
    const __m128i spread = _mm_setr_epi8(0, 1, 3, 0, 5, 2, 4, 5, 6, 7, 9, 6, 11, 8, 10, 11);
    // What turns a value into its digit: for 26 to 51, 52 to 61, 62, 63 and 0 to 25.
    const __m128i offsets =
        _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                      '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
    const __m128i parts = _mm_shuffle_epi8(units, spread);
    const __m128i odd = _mm_mulhi_epu16(_mm_and_si128(parts, _mm_set1_epi32(0x0FC0FC00)),
                                        _mm_set1_epi32(0x04000040));
    const __m128i even = _mm_mullo_epi16(_mm_and_si128(parts, _mm_set1_epi32(0x003F03F0)),
                                         _mm_set1_epi32(0x01000010));
    const __m128i values = _mm_or_si128(odd, even);
    const __m128i upper = _mm_and_si128(_mm_cmpgt_epi8(bytes(26), values), bytes(13));
    const __m128i row = _mm_or_si128(_mm_subs_epu8(values, bytes(51)), upper);
    return _mm_add_epi8(values, _mm_shuffle_epi8(offsets, row));
}

/// Characters outside coded runs, up to the first other one. False there.
BORVIK_SSE42 inline bool readDirect(TextCursor& c) {
    const __m128i value = load(c.in);
    const unsigned others =
        mask(_mm_or_si128(_mm_cmpeq_epi8(value, bytes('+')), _mm_cmplt_epi8(value, bytes(1))));
    store(c.out, _mm_unpacklo_epi8(value, _mm_setzero_si128()));
    store(c.out + kVector, _mm_unpackhi_epi8(value, _mm_setzero_si128()));
    const unsigned count = firstBit(others);
    c.in += count;
    c.out += 2 * count;
    return others == 0;
}

/// The next digits of a run, with "-" if that ends it. False for an end in any other way, and for
/// bits that are left over.
BORVIK_SSE42 inline bool readCoded(TextCursor& c, Utf7Run& run) {
    const __m128i digits = load(c.in);
    const unsigned others = nonDigitMask(digits);
    if (others == 0) {
        store(c.out, unitsOfDigits(digits, kVector));
        c.in += kVector;
        c.out += std::size_t{2} * kUnitsOfVector;
        run = {true, false, true};
        return true;
    }
    const unsigned count = firstBit(others);
    const unsigned made = count * 6 / 16;
    alignas(16) std::array<std::uint8_t, kVector> units;
    store(units.data(), unitsOfDigits(digits, count));
    if (c.in[count] != '-' || loadUnit(units.data() + std::size_t{2} * made) != 0 ||
        (made == 0 && run.first)) {
        return false;
    }
    std::memcpy(c.out, units.data(), units.size());
    c.in += count + 1;
    c.out += std::size_t{2} * made;
    run.coded = false;
    return true;
}

/// A run of one unit, as Latin text is full of. To foresee its end by a branch is quicker than to
/// wait for a count of digits.
BORVIK_SSE42 inline bool readSingle(TextCursor& c) {
    const unsigned high = kUtf7Sextets[c.in[0]];
    const unsigned middle = kUtf7Sextets[c.in[1]];
    const unsigned low = kUtf7Sextets[c.in[2]];
    if (c.in[3] != '-' || ((high | middle | low) & 0x80) != 0 || (low & 3) != 0) {
        return false;
    }
    c.out = putUnit(static_cast<char16_t>(high << 10 | middle << 4 | low >> 2), c.out);
    c.in += 4;
    return true;
}

BORVIK_SSE42 void utf7ToUtf16(TextCursor& cursor, Utf7Run& state) {
    TextCursor c = cursor;
    Utf7Run run = state;

    while (c.has(2 * kVector)) {
        if (!run.coded) {
            if (readDirect(c)) {
                continue;
            }
            if (*c.in != '+') {
                break;
            }
            ++c.in;
            if (c.left() >= 4 && readSingle(c)) {
                continue;
            }
            run = {true, true, false};
        }
        // There may be one byte less than before, and still a vector of them.
        if (c.left() < kVector || !readCoded(c, run)) {
            break;
        }
    }
    cursor = c;
    state = run;
}

/// Units outside coded runs, up to the first one that needs coding. Returns those of 16 that do.
BORVIK_SSE42 inline unsigned writeDirect(TextCursor& c) {
    // Saturating gives 0 or 0xFF for units over 0xFF, which are not direct either.
    const __m128i value = _mm_packus_epi16(load(c.in), load(c.in + kVector));
    const unsigned coded = codedMask(value);
    store(c.out, value);
    const unsigned count = firstBit(coded);
    c.in += 2 * count;
    c.out += count;
    return coded;
}

/// A run of one unit, from its "+" to its "-".
BORVIK_SSE42 inline void writeSingle(TextCursor& c) {
    const unsigned unit = loadUnit(c.in);
    c.out[0] = '+';
    c.out[1] = utf7Digit(unit >> 10);
    c.out[2] = utf7Digit(unit >> 4);
    c.out[3] = utf7Digit(unit << 2);
    c.out[4] = '-';
    c.in += 2;
    c.out += 5;
}

/// The next units of a run, with its end if that comes.
BORVIK_SSE42 inline void writeCoded(TextCursor& c, Utf7Run& run) {
    const __m128i units = load(c.in);
    const unsigned direct = ~codedMask(_mm_packus_epi16(units, units));
    if ((direct & ((1U << kUnitsOfVector) - 1)) == 0) {
        store(c.out, digitsOfUnits(units));
        c.in += std::size_t{2} * kUnitsOfVector;
        c.out += kVector;
        return;
    }
    const unsigned count = firstBit(direct);
    store(c.out, digitsOfUnits(firstBytes(units, 2 * count)));
    c.in += 2 * count;
    c.out += (count * 16 + 5) / 6;
    *c.out++ = '-';
    run.coded = false;
}

BORVIK_SSE42 void utf16ToUtf7(TextCursor& cursor, Utf7Run& state) {
    TextCursor c = cursor;
    Utf7Run run = state;
    while (c.has(3 * kVector)) {
        if (!run.coded) {
            const unsigned coded = writeDirect(c);
            if (coded == 0) {
                continue;
            }
            if (*c.in == '+' && c.in[1] == 0) {
                *c.out++ = '+';
                *c.out++ = '-';
                c.in += 2;
                continue;
            }
            // The lowest bit is that of this unit; without its neighbour the next lowest is further
            // on.
            const unsigned next = (coded & (0U - coded)) << 1;
            if (next < 0x10000 && (coded & next) == 0) {
                writeSingle(c);
                continue;
            }
            *c.out++ = '+';
            run.coded = true;
            if (c.left() < kVector) {
                break;
            }
        }
        writeCoded(c, run);
    }
    cursor = c;
    state = run;
}

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

constexpr TextRuns kSse42 = {
    .asciiToUtf16 = asciiToUtf16,
    .copyAscii = copyAscii,
    .utf16ToAscii = utf16ToAscii,
    .singleByteToUtf16 = singleByteToUtf16,
    .doubleByteToUtf16 = doubleByteToUtf16,
    .utf16ToSingleByte = utf16ToSingleByte,
    .utf8ToUtf16 = utf8ToUtf16,
    .utf16ToUtf8 = utf16ToUtf8,
    .utf7ToUtf16 = utf7ToUtf16,
    .utf16ToUtf7 = utf16ToUtf7,
    .jisToShiftJis = jisToShiftJis,
};

}  // namespace

const TextRuns* sse42Runs() {
    static const bool supported =
        __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("popcnt") != 0;
    return supported ? &kSse42 : nullptr;
}

}  // namespace borvik

#else

namespace borvik {

const TextRuns* sse42Runs() {
    return nullptr;
}

}  // namespace borvik

#endif
