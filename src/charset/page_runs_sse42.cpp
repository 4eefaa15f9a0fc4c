#if defined(__x86_64__)

#include <algorithm>

#include "charset/sse42.h"
#include "charset/text_runs_sse42.h"
#include "charset/utf8_bytes.h"

namespace borvik::sse42 {
namespace {

/// A block with few characters that need a look-up is converted by the rule for the others, and
/// these are put right.
constexpr unsigned kFewOthers = kBlock / 4;

/// For the bits of high nibbles from 8 up, as the sets of a `DecodeTable` have them.
BORVIK_SSE42 inline __m128i bitsOfUpperRows() {
    return _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 4, 8, 16, 32, 64, -128);
}

/// The places of 64 bytes whose byte is in a set.
BORVIK_SSE42 inline std::uint64_t setMask(const std::array<std::uint8_t, 16>& set,
                                          const std::uint8_t* in) {
    const __m128i rows = load(set.data());
    std::uint64_t found = 0;
    for (unsigned i = 0; i < kBlock; i += kVector) {
        const __m128i both = setBits(rows, bitsOfUpperRows(), load(in + i));
        const unsigned outside = mask(_mm_cmpeq_epi8(both, _mm_setzero_si128()));
        found |= static_cast<std::uint64_t>(~outside & 0xFFFFU) << i;
    }
    return found;
}

/// 8 bytes through the table.
BORVIK_SSE42 inline __m128i lookUp8(const char16_t* units, const std::uint8_t* in) {
    return _mm_setr_epi16(static_cast<short>(units[in[0]]), static_cast<short>(units[in[1]]),
                          static_cast<short>(units[in[2]]), static_cast<short>(units[in[3]]),
                          static_cast<short>(units[in[4]]), static_cast<short>(units[in[5]]),
                          static_cast<short>(units[in[6]]), static_cast<short>(units[in[7]]));
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

/// A block by the shifts of the rows, and the uneven bytes through the table. A 0 byte is U+0000
/// here. False when bytes have no character.
BORVIK_SSE42 inline bool shiftBlock(const DecodeTable& table, const std::uint8_t* in,
                                    std::uint64_t uneven, std::uint8_t* out) {
    const __m128i lowShifts = load(table.shiftLow.data());
    const __m128i highShifts = load(table.shiftHigh.data());
    const __m128i zero = _mm_setzero_si128();
    for (std::size_t i = 0; i < kBlock; i += kVector) {
        const __m128i value = load(in + i);
        const __m128i row = shiftRight(value, 4, 0x0F);
        const __m128i low = _mm_shuffle_epi8(lowShifts, row);
        const __m128i high = _mm_shuffle_epi8(highShifts, row);
        store(out + 2 * i,
              _mm_add_epi16(_mm_unpacklo_epi8(value, zero), _mm_unpacklo_epi8(low, high)));
        store(out + 2 * i + kVector,
              _mm_add_epi16(_mm_unpackhi_epi8(value, zero), _mm_unpackhi_epi8(low, high)));
    }
    std::uint32_t missing = 0;
    for (; uneven != 0; uneven &= uneven - 1) {
        const auto place = static_cast<unsigned>(__builtin_ctzll(uneven));
        const char16_t unit = table.single[in[place]];
        std::memcpy(out + std::size_t{2} * place, &unit, sizeof unit);
        // The high bits become set where the unit is 0.
        missing |= unit - 1U;
    }
    return missing <= 0xFFFF;
}

}  // namespace

BORVIK_SSE42 void singleByteToUtf16(const DecodeTable& table, TextCursor& c) {
    while (c.has(kBlock)) {
        if (table.asciiCompatible && widenPlainBlock(c)) {
            continue;
        }
        bool done = false;
        if (table.asciiCompatible) {
            const std::uint64_t uneven = setMask(table.unevenRows, c.in);
            done = static_cast<unsigned>(_mm_popcnt_u64(uneven)) <= kFewOthers;
            if (done && !shiftBlock(table, c.in, uneven, c.out)) {
                return;
            }
        }
        if (!done && !lookUpBlock(table.single.data(), c.in, c.out)) {
            return;
        }
        c.in += kBlock;
        c.out += 2 * kBlock;
    }
}

/// 32 units at a time: ASCII, the stretch of the page that has its order from Unicode, and a few
/// others.
BORVIK_SSE42 void utf16ToSingleByte(const EncodeTable& table, TextCursor& c) {
    if (!table.asciiCompatible) {
        return;
    }
    const EncodeTable::Stretch stretch = table.stretch;
    const __m128i first = _mm_set1_epi16(static_cast<short>(stretch.first));
    const __m128i last = _mm_set1_epi16(static_cast<short>(stretch.count - 1));
    const __m128i shift = _mm_set1_epi16(static_cast<short>(stretch.first - stretch.firstByte));
    const __m128i ascii = _mm_set1_epi16(0x7F);
    while (c.has(kBlock)) {
        std::uint32_t others = 0;
        __m128i halves[2];
        for (unsigned half = 0; half < 2; ++half) {
            __m128i made[2];
            __m128i known[2];
            for (unsigned i = 0; i < 2; ++i) {
                const __m128i units = load(c.in + 32 * half + kVector * i);
                const __m128i offset = _mm_sub_epi16(units, first);
                const __m128i within = _mm_cmpeq_epi16(_mm_min_epu16(offset, last), offset);
                const __m128i plain = _mm_cmpeq_epi16(_mm_min_epu16(units, ascii), units);
                made[i] = _mm_sub_epi16(units, _mm_and_si128(within, shift));
                known[i] = _mm_or_si128(within, plain);
            }
            halves[half] = _mm_packus_epi16(made[0], made[1]);
            others |= (~mask(_mm_packs_epi16(known[0], known[1])) & 0xFFFFU) << (16 * half);
        }
        if (countBits(others) > kFewOthers / 2) {
            return;
        }
        store(c.out, halves[0]);
        store(c.out + kVector, halves[1]);
        std::uint32_t missing = 0;
        for (; others != 0; others &= others - 1) {
            const auto place = static_cast<unsigned>(__builtin_ctz(others));
            const std::uint8_t byte = table.bytes[loadUnit(c.in + std::size_t{2} * place)];
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

namespace {

/// The bytes of pairs that are second ones, among 64 bytes that begin with a character. Within a
/// run of bytes that can begin a pair, first and second bytes take turns: the subtraction borrows
/// from the beginning of each run up to the place behind its end.
inline std::uint64_t secondBytes(std::uint64_t leads) {
    constexpr std::uint64_t kOddPlaces = 0xAAAAAAAAAAAAAAAA;
    const std::uint64_t turns = ((leads << 1 | kOddPlaces) - leads) ^ kOddPlaces;
    return turns ^ leads;
}

/// The next 8 characters of a block through the table. Takes their places off `starts`.
BORVIK_SSE42 inline __m128i lookUpPairs(const char16_t* units, const std::uint8_t* in,
                                        std::uint64_t& starts) {
    const auto next = [units, in, &starts] {
        std::uint16_t pair;
        std::memcpy(&pair, in + __builtin_ctzll(starts), sizeof pair);
        starts &= starts - 1;
        return static_cast<short>(units[__builtin_bswap16(pair)]);
    };
    const short first[] = {next(), next(), next(), next(), next(), next(), next(), next()};
    return _mm_setr_epi16(first[0], first[1], first[2], first[3], first[4], first[5], first[6],
                          first[7]);
}

/// 8 units through the table, as in `cells`.
BORVIK_SSE42 inline __m128i lookUpCells(const std::uint16_t* cells, const std::uint8_t* in) {
    const auto cell = [cells, in](std::size_t i) {
        return static_cast<short>(cells[loadUnit(in + 2 * i)]);
    };
    return _mm_setr_epi16(cell(0), cell(1), cell(2), cell(3), cell(4), cell(5), cell(6), cell(7));
}

}  // namespace

/// 32 characters at a time, as many as a block has at least: text in which they are short and long
/// by turns gives no other number of steps to foresee.
BORVIK_SSE42 void doubleByteToUtf16(const DecodeTable& table, TextCursor& c) {
    const char16_t* units = table.units.data();
    while (c.has(kBlock + 1)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const std::uint64_t leads = setMask(table.leadRows, c.in);
        std::uint64_t starts = ~secondBytes(leads);
        const std::uint64_t pairs = leads & starts;
        __m128i lowest = bytes(0xFF);
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const __m128i found = lookUpPairs(units, c.in, starts);
            lowest = _mm_min_epu16(lowest, found);
            store(c.out + i, found);
        }
        if (mask(_mm_cmpeq_epi16(lowest, _mm_setzero_si128())) != 0) {
            return;
        }
        const std::size_t behind = kBlock + (pairs >> (kBlock - 1));
        c.in += starts == 0 ? behind : static_cast<std::size_t>(__builtin_ctzll(starts));
        c.out += kBlock;
    }
}

BORVIK_SSE42 void utf16ToDoubleByte(const EncodeTable& table, TextCursor& c) {
    const std::uint16_t* cells = table.cells.data();
    const __m128i zero = _mm_setzero_si128();
    const __m128i highByte = _mm_set1_epi16(static_cast<short>(0xFF00));
    while (c.has(kBlock)) {
        if (narrowPlainBlock(c)) {
            continue;
        }
        std::uint8_t* out = c.out;
        __m128i lowest = bytes(0xFF);
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const __m128i found = lookUpCells(cells, c.in + i);
            lowest = _mm_min_epu16(lowest, found);
            const __m128i single = _mm_cmpeq_epi16(_mm_and_si128(found, highByte), zero);
            const unsigned singles = mask(_mm_packs_epi16(single, zero));
            store(out, shuffle(found, shuffles::kPairs[singles]));
            out += kVector - countBits(singles);
        }
        if (mask(_mm_cmpeq_epi16(lowest, zero)) != 0) {
            return;
        }
        c.in += kBlock;
        c.out = out;
    }
}

}  // namespace borvik::sse42

#endif
