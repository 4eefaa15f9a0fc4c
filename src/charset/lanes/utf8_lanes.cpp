#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/utf8_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/text_lanes-inl.h"
#include "charset/lanes/utf8_blocks.h"
#include "charset/lanes/utf8_compress-inl.h"
#include "charset/lanes/utf8_vectors-inl.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

template <Longest kOfThree, Longest kOfFour>
HWY_INLINE void decodeBlocks(TextCursor& cursor) {
    // Of its own, since what is written might change any other.
    TextCursor c = cursor;
    bool going = true;
    while (going && c.has(kBlock + 3)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const Bytes highest = hn::Max(hn::Max(load(c.in), load(c.in + 16)),
                                      hn::Max(load(c.in + 32), load(c.in + 48)));
        const unsigned beyondAscii = signBits(highest);
        if ((beyondAscii & ~belowBits(highest, 0xF0 - 0x100)) != 0) {
            going = kOfFour == Longest::kFour && decodeBlock<kOfFour>(c);
        } else if ((beyondAscii & ~belowBits(highest, 0xE0 - 0x100)) != 0) {
            going = decodeBlock<kOfThree>(c);
        } else {
            going = decodeBlock<Longest::kTwo>(c);
        }
    }
    cursor = c;
}

}  // namespace

void utf8ToUtf16(TextCursor& c) {
    decodeBlocks<Longest::kThree, Longest::kThree>(c);
}

void utf8ToPairs(TextCursor& c) {
    decodeBlocks<Longest::kThreeButSurrogates, Longest::kFour>(c);
}

namespace {

template <bool kPairs>
HWY_INLINE void encodeBlocks(TextCursor& cursor) {
    TextCursor c = cursor;
    while (c.has(kBlock) && (narrowPlainBlock(c) || encodeBlock<kPairs>(c))) {
    }
    cursor = c;
}

}  // namespace

void utf16ToUtf8(TextCursor& c) {
    encodeBlocks<false>(c);
}

void pairsToUtf8(TextCursor& c) {
    encodeBlocks<true>(c);
}

namespace {

constexpr hn::CappedTag<std::int8_t, kBlock> kCountedBytes;
constexpr hn::CappedTag<std::uint16_t, kBlock / 2> kCountedUnits;

}  // namespace

std::size_t utf8BytesOfPairs(const std::uint8_t* in, std::size_t units) {
    const std::size_t step = hn::Lanes(kCountedUnits);
    const auto is = [](auto value, unsigned kind) HWY_ATTR {
        const auto mark = hn::Set(kCountedUnits, static_cast<std::uint16_t>(kind));
        return hn::Eq(hn::And(value, hn::Set(kCountedUnits, std::uint16_t{0xFC00})), mark);
    };
    const auto count = [](auto mask) HWY_ATTR { return hn::CountTrue(kCountedUnits, mask); };
    const auto isBelow = [](auto value, unsigned limit) HWY_ATTR {
        const auto most = hn::Set(kCountedUnits, static_cast<std::uint16_t>(limit - 1));
        return hn::Eq(hn::Min(value, most), value);
    };
    std::size_t bytes = 0;
    std::size_t at = 0;
    // Each unit is one byte, and up to two more; a pair is four bytes and not six.
    for (; at + step < units; at += step) {
        const auto* from = reinterpret_cast<const std::uint16_t*>(in + 2 * at);
        const auto all = hn::LoadU(kCountedUnits, from);
        const auto pairs = hn::And(is(all, 0xD800), is(hn::LoadU(kCountedUnits, from + 1), 0xDC00));
        bytes +=
            3 * step - count(isBelow(all, 0x80)) - count(isBelow(all, 0x800)) - 2 * count(pairs);
    }
    return bytes + plainUtf8BytesOfPairs(in + 2 * at, units - at);
}

std::size_t unitsOfUtf8(const std::uint8_t* in, std::size_t length) {
    const std::size_t step = hn::Lanes(kCountedBytes);
    const auto count = [](auto mask) HWY_ATTR { return hn::CountTrue(kCountedBytes, mask); };
    const auto set = [](int value) HWY_ATTR {
        return hn::Set(kCountedBytes, static_cast<std::int8_t>(value));
    };
    std::size_t units = 0;
    std::size_t at = 0;
    // Each byte that begins a character, and those that begin one of four bytes once more.
    for (; at + step <= length; at += step) {
        const auto all = hn::LoadU(kCountedBytes, reinterpret_cast<const std::int8_t*>(in + at));
        const auto fours = hn::And(hn::Lt(all, set(0)), hn::Gt(all, set(0xEF - 0x100)));
        units += count(hn::Gt(all, set(0xBF - 0x100))) + count(fours);
    }
    return units + plainUnitsOfUtf8(in + at, length - at);
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
