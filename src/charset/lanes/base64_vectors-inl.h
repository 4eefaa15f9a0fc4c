// Read once for each kind of processor, by the sources that Highway's foreach_target.h includes
// again.
#if defined(BORVIK_BASE64_VECTORS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef BORVIK_BASE64_VECTORS_INL
#undef BORVIK_BASE64_VECTORS_INL
#else
#define BORVIK_BASE64_VECTORS_INL
#endif

#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();

/// Base64 digits and what they stand for, which MIME bodies and UTF-7 have in common. In vectors of
/// any width; each 16 digits of one make 12 bytes by themselves.
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

/// A table that each 16 bytes of a vector look into.
struct alignas(kVector) Table16 {
    std::uint8_t at[kVector];
};

template <class Tag>
HWY_INLINE hn::Vec<Tag> repeated(Tag tag, const Table16& table) {
    return hn::LoadDup128(tag, table.at);
}

template <class Tag>
HWY_INLINE hn::Vec<Tag> highNibbles(Tag tag, hn::Vec<Tag> text) {
    constexpr hn::Repartition<std::uint16_t, Tag> kTag16;
    return hn::And(hn::BitCast(tag, hn::ShiftRight<4>(hn::BitCast(kTag16, text))),
                   hn::Set(tag, 0x0F));
}

/// Not 0, and under 0x80, for the bytes that are no digits: two look-ups by the halves of each byte
/// meet in a common bit just for those.
template <class Tag>
HWY_INLINE hn::Vec<Tag> foreignMarks(Tag tag, hn::Vec<Tag> text) {
    static constexpr Table16 kLowClasses = {{0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,  //
                                             0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A}};
    static constexpr Table16 kHighClasses = {{0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,  //
                                              0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10}};
    return hn::And(
        hn::TableLookupBytes(repeated(tag, kLowClasses), hn::And(text, hn::Set(tag, 0x0F))),
        hn::TableLookupBytes(repeated(tag, kHighClasses), highNibbles(tag, text)));
}

/// The values of digits; what other bytes give means nothing.
template <class Tag>
HWY_INLINE hn::Vec<Tag> sextetsOf(Tag tag, hn::Vec<Tag> text) {
    // What turns a digit into its value, by high nibble; "/" has the row before that of "+".
    static constexpr Table16 kOffsets = {{0, 16, 19, 4, 191, 191, 185, 185}};
    const auto isSlash = hn::VecFromMask(tag, hn::Eq(text, hn::Set(tag, '/')));
    const auto row = hn::Add(isSlash, highNibbles(tag, text));
    return hn::Add(text, hn::TableLookupBytes(repeated(tag, kOffsets), row));
}

/// Four sextets each to 24 bits of a lane, the first on top.
template <class Tag>
HWY_INLINE hn::Vec<Tag> joinSextets(Tag tag, hn::Vec<Tag> sextets) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSSE3
    using V = hn::Vec<Tag>;
    if constexpr (hn::MaxLanes(tag) == kVector) {
        const auto pairs = _mm_maddubs_epi16(sextets.raw, _mm_set1_epi32(0x01400140));
        return V{_mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000))};
    }
#if HWY_TARGET <= HWY_AVX2
    if constexpr (hn::MaxLanes(tag) == 2 * kVector) {
        const auto pairs = _mm256_maddubs_epi16(sextets.raw, _mm256_set1_epi32(0x01400140));
        return V{_mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000))};
    }
#endif
#if HWY_TARGET <= HWY_AVX3
    if constexpr (hn::MaxLanes(tag) == 4 * kVector) {
        const auto pairs = _mm512_maddubs_epi16(sextets.raw, _mm512_set1_epi32(0x01400140));
        return V{_mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000))};
    }
#endif
#else
    constexpr hn::Repartition<std::uint16_t, Tag> kTag16;
    constexpr hn::Repartition<std::uint32_t, Tag> kTag32;
    const auto two = hn::BitCast(kTag16, sextets);
    const auto pairs =
        hn::Or(hn::And(hn::ShiftLeft<6>(two), hn::Set(kTag16, 0x0FC0)), hn::ShiftRight<8>(two));
    const auto four = hn::BitCast(kTag32, pairs);
    // The top byte keeps bits of the second pair, and isn't looked at.
    return hn::BitCast(tag, hn::Or(hn::ShiftLeft<12>(four), hn::ShiftRight<16>(four)));
#endif
}

/// Writes the bytes that `order` takes out of each 16 of `groups`, 12 of them, without gaps; as
/// many bytes as the vector has are touched.
template <class Tag>
HWY_INLINE void storeGroups(Tag tag, hn::Vec<Tag> groups, const Table16& order, std::uint8_t* out) {
    const auto packed = hn::TableLookupBytesOr0(groups, repeated(tag, order));
    if constexpr (hn::MaxLanes(tag) == kVector) {
        hn::StoreU(packed, tag, out);
    } else {
        static constexpr std::uint32_t kLanes[] = {0,  1,  2,  4,  5, 6, 8,  9,
                                                   10, 12, 13, 14, 3, 7, 11, 15};
        static constexpr std::uint32_t kLanesOf8[] = {0, 1, 2, 4, 5, 6, 3, 7};
        constexpr hn::Repartition<std::uint32_t, Tag> kTag32;
        const auto places =
            hn::SetTableIndices(kTag32, hn::MaxLanes(kTag32) == 8 ? kLanesOf8 : kLanes);
        const auto joined = hn::TableLookupLanes(hn::BitCast(kTag32, packed), places);
        hn::StoreU(hn::BitCast(tag, joined), tag, out);
    }
}

/// The sextets of 3 bytes each, which stand as the second, the first, the third and again the
/// second: in the order in which they are written.
template <class Tag>
HWY_INLINE hn::Vec<Tag> splitSextets(Tag tag, hn::Vec<Tag> spread) {
    constexpr hn::Repartition<std::uint16_t, Tag> kTag16;
    constexpr hn::Repartition<std::uint32_t, Tag> kTag32;
    const auto oddKept = hn::BitCast(kTag16, hn::Set(kTag32, 0x0FC0FC00));
    const auto evenKept = hn::BitCast(kTag16, hn::Set(kTag32, 0x003F03F0));
    const auto oddShift = hn::BitCast(kTag16, hn::Set(kTag32, 0x04000040));
    const auto evenShift = hn::BitCast(kTag16, hn::Set(kTag32, 0x01000010));
    const auto parts = hn::BitCast(kTag16, spread);
    const auto odd = hn::MulHigh(hn::And(parts, oddKept), oddShift);
    const auto even = hn::Mul(hn::And(parts, evenKept), evenShift);
    return hn::BitCast(tag, hn::Or(odd, even));
}

/// Sextets as digits.
template <class Tag>
HWY_INLINE hn::Vec<Tag> digitsOf(Tag tag, hn::Vec<Tag> sextets) {
    // What turns a value into its digit: for 0 to 25, 26 to 51, 52 to 61, 62 and 63.
    static constexpr Table16 kOffsets = {
        {'A', 'a' - 26, 252, 252, 252, 252, 252, 252, 252, 252, 252, 252, 237, 240}};
    const auto behindUpper = hn::Min(hn::SaturatedSub(sextets, hn::Set(tag, 25)), hn::Set(tag, 1));
    const auto row = hn::Add(hn::SaturatedSub(sextets, hn::Set(tag, 51)), behindUpper);
    return hn::Add(sextets, hn::TableLookupBytes(repeated(tag, kOffsets), row));
}

#endif

}  // namespace borvik::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#endif
