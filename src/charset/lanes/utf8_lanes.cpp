#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/utf8_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/shuffle_tables.h"
#include "charset/lanes/text_lanes-inl.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

/// Writes the units that begin at the set places, their low and high bytes given for all 16.
HWY_INLINE void storeUnitsAt(unsigned starts, Bytes low, Bytes high, std::uint8_t*& out) {
    store(out, shuffle(hn::InterleaveLower(kBytes, low, high), shuffles::kLanes[starts & 0xFF]));
    out += 2 * countBits(starts & 0xFF);
    store(out, shuffle(hn::InterleaveUpper(kBytes, low, high), shuffles::kLanes[starts >> 8]));
    out += 2 * countBits(starts >> 8);
}

/// What a block of UTF-8 has shown so far, beside the lead bytes that are not valid, or not with
/// the byte behind them.
struct BlockState {
    /// Bit 0 and 1: the next bytes must be trail bytes, since a character has begun in front of
    /// them.
    unsigned wanted = 0;
    /// Not 0 when trail bytes are not where they must be.
    unsigned misplaced = 0;
};

/// Reads the characters that begin in 16 bytes, each with the trail bytes behind it; `kThrees` when
/// there may be characters of 3 bytes, and none are longer. Only the `kept` places count. What is
/// made at the places of trail bytes is of no use, and is left out.
template <bool kThrees>
HWY_INLINE void decodeVector(const std::uint8_t* in, unsigned kept, BlockState& state,
                             ByteMask& invalid, std::uint8_t*& out) {
    const Bytes b0 = load(in);
    const Bytes b1 = load(in + 1);
    const unsigned trails = belowBits(b0, 0xC0 - 0x100);
    const ByteMask beyondAscii = signedBelow(b0, 0);
    invalid = hn::Or(invalid, hn::Eq(hn::And(b0, bytes(0xFE)), bytes(0xC0)));
    // The byte in front of the last one of each character, and the last one.
    Bytes before = b0;
    Bytes last = b1;
    Bytes top = hn::Zero(kBytes);
    unsigned wanted = state.wanted | (signBits(b0) & ~trails) << 1;
    if constexpr (kThrees) {
        const ByteMask three = atLeast(b0, 0xE0);
        before = hn::IfThenElse(three, b1, b0);
        last = hn::IfThenElse(three, load(in + 2), b1);
        top = hn::IfThenElseZero(three, shiftLeft<4>(b0, 0xF0));
        // Longer forms than needed.
        invalid = hn::Or(invalid, hn::And(hn::Eq(b0, bytes(0xE0)), signedBelow(b1, 0xA0 - 0x100)));
        wanted |= (signBits(b0) & ~belowBits(b0, 0xE0 - 0x100)) << 2;
    }
    const Bytes lowOfMany = hn::Or(shiftLeft<6>(before, 0xC0), hn::And(last, bytes(0x3F)));
    const Bytes low = hn::IfThenElse(beyondAscii, lowOfMany, b0);
    const Bytes high = hn::Or(hn::IfThenElseZero(beyondAscii, shiftRight<2>(before, 0x0F)), top);
    state.misplaced |= trails ^ (wanted & 0xFFFF);
    state.wanted = wanted >> kVector;
    storeUnitsAt(~trails & kept, low, high, out);
}

/// How many bytes at the end of 16 belong to a character that goes on behind them. Without a
/// branch, since any answer is as likely as the next.
HWY_INLINE unsigned cutOffBytes(const std::uint8_t* in) {
    const auto last = static_cast<unsigned>(in[kVector - 1] >= 0xC0);
    const auto before = static_cast<unsigned>(in[kVector - 2] >= 0xE0);
    return last + 2 * before;
}

/// Reads the whole characters of a block that begins with one. False, with nothing done, when it is
/// ill-formed.
template <bool kThrees>
HWY_INLINE bool decodeBlock(TextCursor& c) {
    constexpr unsigned kAll = 0xFFFF;
    constexpr std::size_t kLast = kBlock - kVector;
    BlockState state;
    ByteMask invalid = hn::MaskFromVec(hn::Zero(kBytes));
    std::uint8_t* out = c.out;
    for (std::size_t i = 0; i < kLast; i += kVector) {
        decodeVector<kThrees>(c.in + i, kAll, state, invalid, out);
    }
    const unsigned cutOff = cutOffBytes(c.in + kLast);
    decodeVector<kThrees>(c.in + kLast, kAll >> cutOff, state, invalid, out);
    if (state.misplaced != 0 || !hn::AllFalse(kBytes, invalid)) {
        return false;
    }
    c.in += kBlock - cutOff;
    c.out = out;
    return true;
}

}  // namespace

void utf8ToUtf16(TextCursor& c) {
    while (c.has(kBlock + 2)) {
        if (widenPlainBlock(c)) {
            continue;
        }
        const Bytes highest = hn::Max(hn::Max(load(c.in), load(c.in + 16)),
                                      hn::Max(load(c.in + 32), load(c.in + 48)));
        if ((signBits(highest) & ~belowBits(highest, 0xF0 - 0x100)) != 0) {
            return;
        }
        const bool threes = (signBits(highest) & ~belowBits(highest, 0xE0 - 0x100)) != 0;
        if (!(threes ? decodeBlock<true>(c) : decodeBlock<false>(c))) {
            return;
        }
    }
}

namespace {

/// 8 units under 0x800, none of them 0.
HWY_INLINE void encodePairs(Units all, std::uint8_t*& out) {
    const Units first = hn::Or(hn::ShiftRight<6>(all), units(0xC0));
    const Units second = hn::Or(hn::And(all, units(0x3F)), units(0x80));
    const Units both = hn::Or(first, hn::ShiftLeft<8>(second));
    const UnitMask ofMany = signedAbove(all, 0x7F);
    const unsigned singles = ~unitBits(ofMany) & 0xFF;
    store(out, shuffle(hn::BitCast(kBytes, hn::IfThenElse(ofMany, both, all)),
                       shuffles::kPairs[singles]));
    out += 16 - countBits(singles);
}

/// 8 units, none of them 0.
HWY_INLINE void encodeTriples(Units all, std::uint8_t*& out) {
    const UnitMask ofMany = atLeast(all, 0x80);
    const UnitMask ofThree = atLeast(all, 0x800);
    // The first and the second of three bytes in a lane, the third one in another. The second one
    // is the lead byte where there are two, and the third one stands alone where there is one.
    const Units middle = hn::And(hn::ShiftLeft<2>(all), units(0x3F00));
    const Units marks = hn::Xor(hn::IfThenElseZero(ofMany, units(0xC000)),
                                hn::IfThenElseZero(ofThree, units(0x40E0)));
    const Units upper = hn::Or(hn::Or(hn::ShiftRight<12>(all), middle), marks);
    const Units trail = hn::Or(hn::And(all, units(0x3F)), units(0x80));
    const Units lower = hn::IfThenElse(ofMany, trail, all);
    const unsigned many = unitBits(ofMany);
    const unsigned three = unitBits(ofThree);
    const unsigned front = (many & 0x0F) | (three << 4 & 0xF0);
    const unsigned back = many >> 4 | (three & 0xF0);
    store(out, shuffle(hn::BitCast(kBytes, hn::InterleaveLower(kUnits, upper, lower)),
                       shuffles::kTriples[front]));
    out += 4 + countBits(front);
    store(out, shuffle(hn::BitCast(kBytes, hn::InterleaveUpper(kUnits, upper, lower)),
                       shuffles::kTriples[back]));
    out += 4 + countBits(back);
}

}  // namespace

void utf16ToUtf8(TextCursor& c) {
    while (c.has(kBlock)) {
        if (narrowPlainBlock(c)) {
            continue;
        }
        std::uint8_t* out = c.out;
        for (std::size_t i = 0; i < kBlock; i += kVector) {
            const Units all = loadUnits(c.in + i);
            if (anyZero(all)) {
                return;
            }
            if (noneOf(atLeast(all, 0x800))) {
                encodePairs(all, out);
            } else {
                encodeTriples(all, out);
            }
        }
        c.in += kBlock;
        c.out = out;
    }
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
