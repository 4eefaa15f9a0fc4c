#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/page_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/shuffle_tables.h"
#include "charset/lanes/text_lanes-inl.h"
#include "charset/lanes/utf8_bytes.h"
#include "charset/lanes/utf8_compress-inl.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

/// A block with few characters that need a look-up is converted by the rule for the others, and
/// these are put right.
constexpr unsigned kFewOthers = kBlock / 4;

/// For the bits of high nibbles from 8 up, as the sets of a `DecodeTable` have them.
HWY_INLINE Bytes bitsOfUpperRows() {
    static constexpr std::uint8_t kBits[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 4, 8, 16, 32, 64, 128};
    return loadTable(kBits);
}

/// The places of 64 bytes whose byte is in a set.
HWY_INLINE std::uint64_t setMask(const std::array<std::uint8_t, 16>& set, const std::uint8_t* in) {
    const Bytes rows = loadTable(set);
    std::uint64_t found = 0;
    for (unsigned i = 0; i < kBlock; i += kVector) {
        const Bytes both = setBits(rows, bitsOfUpperRows(), load(in + i));
        found |= static_cast<std::uint64_t>(atLeastBits(both, 1)) << i;
    }
    return found;
}

/// All bytes of a block through the table. False when some have no character, or are 0.
HWY_INLINE bool lookUpBlock(const char16_t* table, const std::uint8_t* in, std::uint8_t* out) {
    Units lowest = units(0xFFFF);
    for (std::size_t i = 0; i < kBlock; i += 8) {
        const Units value = gather8([=](std::size_t k) { return table[in[i + k]]; });
        lowest = hn::Min(lowest, value);
        storeUnits(out + 2 * i, value);
    }
    return !anyZero(lowest);
}

/// A block by the shifts of the rows, and the uneven bytes through the table. A 0 byte is U+0000
/// here. False when bytes have no character.
HWY_INLINE bool shiftBlock(const DecodeTable& table, const std::uint8_t* in, std::uint64_t uneven,
                           std::uint8_t* out) {
    const Bytes lowShifts = loadTable(table.shiftLow);
    const Bytes highShifts = loadTable(table.shiftHigh);
    const Bytes zero = hn::Zero(kBytes);
    for (std::size_t i = 0; i < kBlock; i += kVector) {
        const Bytes value = load(in + i);
        const Bytes row = shiftRight<4>(value, 0x0F);
        const Bytes low = hn::TableLookupBytes(lowShifts, row);
        const Bytes high = hn::TableLookupBytes(highShifts, row);
        const auto shifted = [](Bytes unit, Bytes by) HWY_ATTR {
            return hn::Add(hn::BitCast(kUnits, unit), hn::BitCast(kUnits, by));
        };
        storeUnits(out + 2 * i, shifted(hn::InterleaveLower(kBytes, value, zero),
                                        hn::InterleaveLower(kBytes, low, high)));
        storeUnits(out + 2 * i + kVector, shifted(hn::InterleaveUpper(kBytes, value, zero),
                                                  hn::InterleaveUpper(kBytes, low, high)));
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

#if BORVIK_HAS_COMPRESS

namespace {

/// The characters of the bytes from 0x80 up, all in vectors.
class UpperHalf {
public:
    HWY_INLINE explicit UpperHalf(const DecodeTable& table) {
        const char16_t* const upper = table.single.data() + 0x80;
        first_ = _mm512_loadu_si512(upper);
        second_ = _mm512_loadu_si512(upper + kUnitsOfVector);
        third_ = _mm512_loadu_si512(upper + 2 * kUnitsOfVector);
        fourth_ = _mm512_loadu_si512(upper + 3 * kUnitsOfVector);
    }

    /// The units of 32 bytes: ASCII, and what the table has; 0 where it has none.
    HWY_INLINE __m512i unitsOf(const std::uint8_t* in) const {
        const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
        const __m512i bytes = _mm512_cvtepu8_epi16(text);
        const __m512i low = _mm512_permutex2var_epi16(first_, bytes, second_);
        const __m512i high = _mm512_permutex2var_epi16(third_, bytes, fourth_);
        const __mmask32 isHigh = _mm512_test_epi16_mask(bytes, _mm512_set1_epi16(0x40));
        const auto isUpper = static_cast<__mmask32>(_mm256_movepi8_mask(text));
        return _mm512_mask_mov_epi16(bytes, isUpper, _mm512_mask_mov_epi16(low, isHigh, high));
    }

private:
    static constexpr std::size_t kUnitsOfVector = kBlock / 2;

    __m512i first_;
    __m512i second_;
    __m512i third_;
    __m512i fourth_;
};

/// Bytes that are taken at a time, and after how many such steps without others than ASCII more of
/// them are expected.
constexpr std::size_t kHalfBlock = kBlock / 2;
constexpr unsigned kSurelyPlain = 4;

/// Pages with ASCII.
HWY_INLINE void lookUpUpperHalf(const DecodeTable& table, TextCursor& cursor) {
    const UpperHalf upper(table);
    TextCursor c = cursor;
    while (c.has(kHalfBlock)) {
        const __m512i units = upper.unitsOf(c.in);
        if (_mm512_testn_epi16_mask(units, units) != 0) {
            break;
        }
        _mm512_storeu_si512(c.out, units);
        c.in += kHalfBlock;
        c.out += kBlock;
    }
    cursor = c;
}

/// 32 bytes, of which none is 0 and each has a character; false, with nothing done, for others.
/// `plain` is how many such steps had nothing but ASCII.
HWY_INLINE bool encodeHalfBlock(const UpperHalf& upper, TextCursor& c, unsigned& plain) {
    const __m512i units = upper.unitsOf(c.in);
    Utf16Bits bits;
    if (!readUtf16Bits<false>(units, bits)) {
        return false;
    }
    c.out = bits.three == 0 ? encodeShort(units, bits.many, c.out)
                            : encodeLong<false>(units, bits, c.out);
    c.in += kHalfBlock;
    plain = bits.many == 0 ? plain + 1 : 0;
    return true;
}

}  // namespace

void singleByteToUtf8(const DecodeTable& table, TextCursor& cursor) {
    if (!table.asciiCompatible) {
        return;
    }
    const UpperHalf upper(table);
    TextCursor c = cursor;
    bool going = true;
    while (going && c.has(kBlock)) {
        if (copyPlainBlock(c)) {
            continue;
        }
        for (unsigned plain = 0; going && plain < kSurelyPlain && c.has(kBlock);) {
            going = encodeHalfBlock(upper, c, plain);
        }
    }
    cursor = c;
}

#else

void singleByteToUtf8(const DecodeTable& table, TextCursor& c) {
    while (table.asciiCompatible && c.has(kBlock) && copyPlainBlock(c)) {
    }
}

#endif

void singleByteToUtf16(const DecodeTable& table, TextCursor& c) {
#if BORVIK_HAS_COMPRESS
    if (table.asciiCompatible) {
        lookUpUpperHalf(table, c);
        return;
    }
#endif
    while (c.has(kBlock)) {
        if (table.asciiCompatible && widenPlainBlock(c)) {
            continue;
        }
        bool done = false;
        if (table.asciiCompatible) {
            const std::uint64_t uneven = setMask(table.unevenRows, c.in);
            done = static_cast<unsigned>(__builtin_popcountll(uneven)) <= kFewOthers;
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

namespace {

/// 8 units of a stretch, those of ASCII among the others, as bytes in lanes of 16 bits; `known` are
/// those of both kinds.
HWY_INLINE Units byStretch(const EncodeTable::Stretch& stretch, Units all, UnitMask& known) {
    const Units last = units(stretch.count - 1);
    const Units offset = hn::Sub(all, units(stretch.first));
    const UnitMask within = hn::Eq(hn::Min(offset, last), offset);
    known = hn::Or(within, hn::Eq(hn::Min(all, units(0x7F)), all));
    return hn::Sub(all, hn::IfThenElseZero(within, units(stretch.first - stretch.firstByte)));
}

}  // namespace

/// 32 units at a time: ASCII, the stretch of the page that has its order from Unicode, and a few
/// others.
void utf16ToSingleByte(const EncodeTable& table, TextCursor& c) {
    if (!table.asciiCompatible) {
        return;
    }
    const EncodeTable::Stretch stretch = table.stretch;
    while (c.has(kBlock)) {
        std::uint32_t others = 0;
        for (unsigned half = 0; half < 2; ++half) {
            const std::uint8_t* in = c.in + 2 * kVector * half;
            UnitMask knownLow;
            UnitMask knownHigh;
            const Units low = byStretch(stretch, loadUnits(in), knownLow);
            const Units high = byStretch(stretch, loadUnits(in + kVector), knownHigh);
            // What this writes of a block that is left is written again.
            store(c.out + kVector * half, narrow(low, high));
            const unsigned both = unitBits(knownLow) | unitBits(knownHigh) << 8;
            others |= (~both & 0xFFFFU) << (kVector * half);
        }
        if (countBits(others) > kFewOthers / 2) {
            return;
        }
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
HWY_INLINE Units lookUpPairs(const char16_t* table, const std::uint8_t* in, std::uint64_t& starts) {
    return gather8([table, in, &starts](std::size_t) {
        std::uint16_t pair;
        std::memcpy(&pair, in + __builtin_ctzll(starts), sizeof pair);
        starts &= starts - 1;
        return table[__builtin_bswap16(pair)];
    });
}

}  // namespace

/// 32 characters at a time, as many as a block has at least: text in which they are short and long
/// by turns gives no other number of steps to foresee.
void doubleByteToUtf16(const DecodeTable& table, TextCursor& c) {
    const char16_t* pairs = table.units.data();
    while (c.has(kBlock + 1)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const std::uint64_t leads = setMask(table.leadRows, c.in);
        std::uint64_t starts = ~secondBytes(leads);
        const std::uint64_t firsts = leads & starts;
        Units lowest = units(0xFFFF);
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const Units found = lookUpPairs(pairs, c.in, starts);
            lowest = hn::Min(lowest, found);
            storeUnits(c.out + i, found);
        }
        if (anyZero(lowest)) {
            return;
        }
        const std::size_t behind = kBlock + (firsts >> (kBlock - 1));
        c.in += starts == 0 ? behind : static_cast<std::size_t>(__builtin_ctzll(starts));
        c.out += kBlock;
    }
}

void utf16ToDoubleByte(const EncodeTable& table, TextCursor& c) {
    const std::uint16_t* cells = table.cells.data();
    while (c.has(kBlock)) {
        if (narrowPlainBlock(c)) {
            continue;
        }
        std::uint8_t* out = c.out;
        Units lowest = units(0xFFFF);
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const Units found = gather8(
                [in = c.in + i, cells](std::size_t k) { return cells[loadUnit(in + 2 * k)]; });
            lowest = hn::Min(lowest, found);
            const Units upper = hn::And(found, units(0xFF00));
            const unsigned singles = unitBits(hn::Eq(upper, hn::Zero(kUnits)));
            store(out, shuffle(hn::BitCast(kBytes, found), shuffles::kPairs[singles]));
            out += kVector - countBits(singles);
        }
        if (anyZero(lowest)) {
            return;
        }
        c.in += kBlock;
        c.out = out;
    }
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
