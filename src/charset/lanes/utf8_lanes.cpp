#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/utf8_lanes.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

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

#if BORVIK_HAS_COMPRESS
/// After so many blocks of ASCII more of them are expected.
constexpr unsigned kSurelyPlain = 4;
#endif

template <bool kPairs>
HWY_INLINE void encodeBlocks(TextCursor& cursor) {
    TextCursor c = cursor;
#if BORVIK_HAS_COMPRESS
    bool going = true;
    while (going && c.has(kBlock)) {
        if (narrowPlainBlock(c)) {
            continue;
        }
        // In mixed text nobody can foresee which blocks are plain.
        for (unsigned plain = 0; going && plain < kSurelyPlain && c.has(kBlock);) {
            const std::uint8_t* const before = c.out;
            going = encodeBlock<kPairs>(c);
            plain = c.out == before + kBlock / 2 ? plain + 1 : 0;
        }
    }
#else
    while (c.has(kBlock) && (narrowPlainBlock(c) || encodeBlock<kPairs>(c))) {
    }
#endif
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
using CountedUnits = hn::Vec<hn::CappedTag<std::uint16_t, kBlock / 2>>;
using CountedMask = hn::Mask<hn::CappedTag<std::uint16_t, kBlock / 2>>;

/// Halves of pairs, by the one that is the first of its kind.
HWY_INLINE CountedMask isKind(CountedUnits value, unsigned kind) {
    const auto mark = hn::Set(kCountedUnits, static_cast<std::uint16_t>(kind));
    return hn::Eq(hn::And(value, hn::Set(kCountedUnits, std::uint16_t{0xFC00})), mark);
}

HWY_INLINE CountedMask isBelow(CountedUnits value, unsigned limit) {
    const auto most = hn::Set(kCountedUnits, static_cast<std::uint16_t>(limit - 1));
    return hn::Eq(hn::Min(value, most), value);
}

/// Counts the set lanes of many masks: where those are vectors, by adding them up.
class LaneCounter {
public:
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
    HWY_INLINE void add(CountedMask mask) {
        count_ += hn::CountTrue(kCountedUnits, mask);
    }
    HWY_INLINE std::size_t take() {
        return std::exchange(count_, 0);
    }

private:
    std::size_t count_ = 0;
#else
    HWY_INLINE LaneCounter() : sums_(hn::Zero(kCountedUnits)) {}
    HWY_INLINE void add(CountedMask mask) {
        sums_ = hn::Sub(sums_, hn::VecFromMask(kCountedUnits, mask));
    }
    HWY_INLINE std::size_t take() {
        std::uint16_t sums[hn::MaxLanes(kCountedUnits)];
        hn::StoreU(sums_, kCountedUnits, sums);
        sums_ = hn::Zero(kCountedUnits);
        return std::accumulate(std::begin(sums), std::end(sums), std::size_t{0});
    }

private:
    CountedUnits sums_;
#endif
};

/// Masks of a kind that may be added to a counter before it is taken, two of each step.
constexpr std::size_t kMostSteps = 0xFFFF / 2;

}  // namespace

std::size_t utf8BytesOfPairs(const std::uint8_t* in, std::size_t units) {
    constexpr std::size_t kStep = hn::MaxLanes(kCountedUnits);
    std::size_t bytes = 0;
    std::size_t at = 0;
    while (at + kStep < units) {
        const std::size_t steps = std::min((units - at - 1) / kStep, kMostSteps);
        LaneCounter below;
        LaneCounter pairs;
        for (std::size_t i = 0; i < steps; ++i, at += kStep) {
            const auto* from = reinterpret_cast<const std::uint16_t*>(in + 2 * at);
            const auto all = hn::LoadU(kCountedUnits, from);
            below.add(isBelow(all, 0x80));
            below.add(isBelow(all, 0x800));
            const auto high = isKind(all, 0xD800);
            if (!hn::AllFalse(kCountedUnits, high)) {
                pairs.add(hn::And(high, isKind(hn::LoadU(kCountedUnits, from + 1), 0xDC00)));
            }
        }
        // Each unit is one byte, and up to two more; a pair is four bytes and not six.
        bytes += 3 * kStep * steps - below.take() - 2 * pairs.take();
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
