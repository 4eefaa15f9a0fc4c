// Read once for each kind of processor, by the sources that Highway's foreach_target.h includes
// again.
#if defined(BORVIK_VECTORS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef BORVIK_VECTORS_INL
#undef BORVIK_VECTORS_INL
#else
#define BORVIK_VECTORS_INL
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "charset/lanes/text_cursor.h"

/// True where there are vectors: the last resort of x86-64, which has none, goes without lanes.
#undef BORVIK_HAS_VECTORS
#define BORVIK_HAS_VECTORS (HWY_TARGET < HWY_EMU128)
/// True where bytes of 64 can be moved together by a mask.
#undef BORVIK_HAS_COMPRESS
#define BORVIK_HAS_COMPRESS (HWY_TARGET == HWY_AVX3_DL)

HWY_BEFORE_NAMESPACE();

/// What the vector code has in common. Vectors of 16 bytes where bytes move within one, since
/// every kind of processor has those.
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace hn = hwy::HWY_NAMESPACE;

inline constexpr std::size_t kVector = 16;
/// Long enough that text is either ASCII throughout or not at all for most of its blocks.
inline constexpr std::size_t kBlock = 64;

using ByteTag = hn::FixedTag<std::uint8_t, kVector>;
using SignedTag = hn::FixedTag<std::int8_t, kVector>;
using UnitTag = hn::FixedTag<std::uint16_t, kVector / 2>;
using Bytes = hn::Vec<ByteTag>;
using Units = hn::Vec<UnitTag>;
using ByteMask = hn::Mask<ByteTag>;
using UnitMask = hn::Mask<UnitTag>;
inline constexpr ByteTag kBytes;
inline constexpr SignedTag kSigned;
inline constexpr UnitTag kUnits;

/// The widest vectors of bytes that a block is made of, where the compiler knows how wide they are.
#if HWY_HAVE_SCALABLE
using WideTag = ByteTag;
#else
using WideTag = hn::CappedTag<std::uint8_t, kBlock>;
#endif

HWY_INLINE Bytes load(const void* in) {
    return hn::LoadU(kBytes, static_cast<const std::uint8_t*>(in));
}

HWY_INLINE Units loadUnits(const std::uint8_t* in) {
    return hn::BitCast(kUnits, load(in));
}

HWY_INLINE void store(std::uint8_t* out, Bytes value) {
    hn::StoreU(value, kBytes, out);
}

HWY_INLINE void storeUnits(std::uint8_t* out, Units value) {
    store(out, hn::BitCast(kBytes, value));
}

HWY_INLINE Bytes bytes(unsigned value) {
    return hn::Set(kBytes, static_cast<std::uint8_t>(value));
}

HWY_INLINE Units units(unsigned value) {
    return hn::Set(kUnits, static_cast<std::uint16_t>(value));
}

/// Sixteen bytes as a vector, those of a table among them.
template <typename Table>
HWY_INLINE Bytes loadTable(const Table& table) {
    static_assert(sizeof table == kVector);
    return load(&table);
}

/// Bytes from the places of a table; its places from 0x80 up give 0.
template <typename Table>
HWY_INLINE Bytes shuffle(Bytes value, const Table& from) {
    return hn::TableLookupBytesOr0(value, loadTable(from));
}

/// A bit for each lane, the first in the lowest.
template <typename Tag>
HWY_INLINE std::uint64_t bitsOf(Tag tag, hn::Mask<Tag> mask) {
    constexpr std::size_t kLanes = hn::MaxLanes(Tag());
    using Upto32 = std::conditional_t<kLanes == 32, std::uint32_t, std::uint64_t>;
    using Upto16 = std::conditional_t<kLanes == 16, std::uint16_t, Upto32>;
    std::conditional_t<kLanes <= 8, std::uint8_t, Upto16> bits = 0;
    hn::StoreMaskBits(tag, mask, reinterpret_cast<std::uint8_t*>(&bits));
    return bits;
}

HWY_INLINE unsigned unitBits(UnitMask mask) {
    return static_cast<unsigned>(bitsOf(kUnits, mask));
}

HWY_INLINE unsigned countBits(unsigned value) {
    return static_cast<unsigned>(__builtin_popcount(value));
}

/// The place of the lowest set bit of 16, or 16.
HWY_INLINE unsigned firstBit(unsigned value) {
    return static_cast<unsigned>(__builtin_ctz(value | 0x10000U));
}

/// Bytes and units from `low` up, without a sign. Spelled so that x86-64, which compares with a
/// sign alone before AVX-512, needs the fewest steps.
HWY_INLINE ByteMask atLeast(Bytes value, unsigned low) {
    return hn::Eq(hn::Max(value, bytes(low)), value);
}
HWY_INLINE UnitMask atLeast(Units value, unsigned low) {
    return hn::Eq(hn::Max(value, units(low)), value);
}

/// Bytes under `high`, and units above `low`, as numbers with a sign.
HWY_INLINE ByteMask signedBelow(Bytes value, int high) {
    return hn::RebindMask(kBytes, hn::Lt(hn::BitCast(kSigned, value),
                                         hn::Set(kSigned, static_cast<std::int8_t>(high))));
}
HWY_INLINE UnitMask signedAbove(Units value, int low) {
    constexpr hn::RebindToSigned<UnitTag> kTag;
    return hn::RebindMask(
        kUnits, hn::Gt(hn::BitCast(kTag, value), hn::Set(kTag, static_cast<std::int16_t>(low))));
}

// Bits of comparisons that nothing but bits is wanted of. AVX-512 compares into registers of its
// own, from where the way is longer than from a vector of 16 bytes.

/// The highest bit of each byte.
HWY_INLINE unsigned signBits(Bytes value) {
#if HWY_ARCH_X86
    return static_cast<unsigned>(_mm_movemask_epi8(value.raw));
#else
    return static_cast<unsigned>(bitsOf(kBytes, signedBelow(value, 0)));
#endif
}

HWY_INLINE unsigned equalBits(Bytes a, Bytes b) {
#if HWY_ARCH_X86
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(a.raw, b.raw)));
#else
    return static_cast<unsigned>(bitsOf(kBytes, hn::Eq(a, b)));
#endif
}

/// Bytes under `high`, as numbers with a sign.
HWY_INLINE unsigned belowBits(Bytes value, int high) {
#if HWY_ARCH_X86
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_cmplt_epi8(value.raw, _mm_set1_epi8(static_cast<char>(high)))));
#else
    return static_cast<unsigned>(bitsOf(kBytes, signedBelow(value, high)));
#endif
}

/// Bytes from `low`, which is 1 to 0x80, up, without a sign.
HWY_INLINE unsigned atLeastBits(Bytes value, unsigned low) {
    return signBits(hn::SaturatedAdd(value, bytes(0x80 - low)));
}

HWY_INLINE bool noneOf(UnitMask mask) {
#if HWY_ARCH_X86 && HWY_TARGET > HWY_AVX3
    return signBits(hn::BitCast(kBytes, hn::VecFromMask(kUnits, mask))) == 0;
#else
    return hn::AllFalse(kUnits, mask);
#endif
}

HWY_INLINE bool anyZero(Units value) {
    return !noneOf(hn::Eq(value, hn::Zero(kUnits)));
}

/// Two vectors of units as bytes. Those over 0xFF, as numbers with a sign, become 0xFF, and those
/// under 0 become 0.
HWY_INLINE Bytes narrow(Units low, Units high) {
#if HWY_ARCH_X86
    return Bytes{_mm_packus_epi16(low.raw, high.raw)};
#else
    constexpr hn::Half<ByteTag> kHalf;
    constexpr hn::FixedTag<std::int16_t, kVector / 2> kSignedUnits;
    return hn::Combine(kBytes, hn::DemoteTo(kHalf, hn::BitCast(kSignedUnits, high)),
                       hn::DemoteTo(kHalf, hn::BitCast(kSignedUnits, low)));
#endif
}

/// Writes bytes as units.
HWY_INLINE void widen(Bytes value, std::uint8_t* out) {
    store(out, hn::InterleaveLower(kBytes, value, hn::Zero(kBytes)));
    store(out + kVector, hn::InterleaveUpper(kBytes, value, hn::Zero(kBytes)));
}

/// All of a block is 0x01 to 0x7F: as signed numbers, the lowest is above 0.
HWY_INLINE bool isPlainBlock(const std::uint8_t* in) {
    constexpr hn::RebindToSigned<WideTag> kWide;
    constexpr std::size_t kStep = hn::MaxLanes(kWide);
    const auto* from = reinterpret_cast<const std::int8_t*>(in);
    auto lowest = hn::LoadU(kWide, from);
    for (std::size_t i = kStep; i < kBlock; i += kStep) {
        lowest = hn::Min(lowest, hn::LoadU(kWide, from + i));
    }
    return hn::AllTrue(kWide, hn::Gt(lowest, hn::Zero(kWide)));
}

HWY_INLINE bool copyPlainBlock(TextCursor& c) {
    if (!isPlainBlock(c.in)) {
        return false;
    }
    std::memcpy(c.out, c.in, kBlock);
    c.in += kBlock;
    c.out += kBlock;
    return true;
}

HWY_INLINE bool widenPlainBlock(TextCursor& c) {
    if (!isPlainBlock(c.in)) {
        return false;
    }
    for (std::size_t i = 0; i < kBlock; i += kVector) {
        widen(load(c.in + i), c.out + 2 * i);
    }
    c.in += kBlock;
    c.out += 2 * kBlock;
    return true;
}

/// 32 units. Narrowing makes 0 of units over 0x7FFF and 0xFF of those over 0xFF: neither is plain.
HWY_INLINE bool narrowPlainBlock(TextCursor& c) {
    const Bytes low = narrow(loadUnits(c.in), loadUnits(c.in + 16));
    const Bytes high = narrow(loadUnits(c.in + 32), loadUnits(c.in + 48));
    const auto lowest = hn::Min(hn::BitCast(kSigned, low), hn::BitCast(kSigned, high));
    if (!hn::AllTrue(kSigned, hn::Gt(lowest, hn::Zero(kSigned)))) {
        return false;
    }
    store(c.out, low);
    store(c.out + kVector, high);
    c.in += kBlock;
    c.out += kBlock / 2;
    return true;
}

/// Shifts within bytes; `kept` masks off what came from the neighbour.
template <int kCount>
HWY_INLINE Bytes shiftLeft(Bytes value, unsigned kept) {
    return hn::And(hn::BitCast(kBytes, hn::ShiftLeft<kCount>(hn::BitCast(kUnits, value))),
                   bytes(kept));
}
template <int kCount>
HWY_INLINE Bytes shiftRight(Bytes value, unsigned kept) {
    return hn::And(hn::BitCast(kBytes, hn::ShiftRight<kCount>(hn::BitCast(kUnits, value))),
                   bytes(kept));
}

/// Not 0 where a byte is in a set: the row of its low nibble has the bit of its high one.
HWY_INLINE Bytes setBits(Bytes rows, Bytes bitOfHigh, Bytes value) {
    return hn::And(hn::TableLookupBytes(rows, hn::And(value, bytes(0x0F))),
                   hn::TableLookupBytes(bitOfHigh, shiftRight<4>(value, 0x0F)));
}

/// The 8 units that `at` gives for 0 to 7, asked in that order.
template <typename At>
HWY_INLINE Units gather8(At at) {
    using Eight = std::uint16_t __attribute__((vector_size(kVector)));
    const std::uint16_t first[] = {at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)};
    const Eight eight = {first[0], first[1], first[2], first[3],
                         first[4], first[5], first[6], first[7]};
    return hn::BitCast(kUnits, load(&eight));
}

#endif

}  // namespace borvik::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#endif
