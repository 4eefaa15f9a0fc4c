// Read once for each kind of processor, by the sources that Highway's foreach_target.h includes
// again.
#if defined(BORVIK_UTF8_VECTORS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef BORVIK_UTF8_VECTORS_INL
#undef BORVIK_UTF8_VECTORS_INL
#else
#define BORVIK_UTF8_VECTORS_INL
#endif

#include "charset/lanes/shuffle_tables.h"
#include "charset/lanes/utf8_blocks.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();

/// Blocks of UTF-8 and of UTF-16 in vectors of 16 bytes, which every kind of processor has.
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS && !BORVIK_HAS_COMPRESS

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

/// What 16 places of UTF-8 make. What is made at the places of trail bytes is of no use, and is
/// left out.
struct MadeUnits {
    Bytes low;
    Bytes high;
    ByteMask invalid;
};

/// The high half of a pair at the place of the first of four bytes, and the low half at that of the
/// second. `previous` are the bytes in front of `b0`.
HWY_INLINE void addPairs(const std::uint8_t* in, Bytes previous, Bytes b0, Bytes b1,
                         MadeUnits& made) {
    const Bytes b2 = load(in + 2);
    const ByteMask four = atLeast(b0, 0xF0);
    const ByteMask second = atLeast(previous, 0xF0);
    // Ten bits of the low half as if three bytes ended there, and eleven of the high one.
    const Bytes lowHalf = hn::Or(shiftLeft<6>(b1, 0xC0), hn::And(b2, bytes(0x3F)));
    made.low = hn::IfThenElse(second, lowHalf, made.low);
    made.high = hn::IfThenElse(second, hn::Or(shiftRight<2>(b1, 0x03), bytes(0xDC)), made.high);
    const Bytes upperLow = hn::Or(shiftLeft<2>(b1, 0xFC), shiftRight<4>(b2, 0x03));
    made.low = hn::IfThenElse(four, hn::Sub(upperLow, bytes(0x40)), made.low);
    // 0xD7C0 is 0xD800 less the bits of 0x10000: a low byte from 0x40 up carries.
    const Bytes carry = hn::VecFromMask(kBytes, atLeast(upperLow, 0x40));
    const Bytes upperHigh = hn::Sub(hn::Add(hn::And(b0, bytes(0x07)), bytes(0xD7)), carry);
    made.high = hn::IfThenElse(four, upperHigh, made.high);
    const ByteMask tooLow = hn::And(hn::Eq(b0, bytes(0xF0)), signedBelow(b1, 0x90 - 0x100));
    const ByteMask tooHigh = hn::AndNot(signedBelow(b1, 0x90 - 0x100), hn::Eq(b0, bytes(0xF4)));
    made.invalid = hn::Or(made.invalid, hn::Or(atLeast(b0, 0xF5), hn::Or(tooLow, tooHigh)));
}

/// Reads the characters that begin in 16 bytes, each with the trail bytes behind it. Only the
/// `kept` places count.
template <Longest kLongest>
HWY_INLINE void decodeVector(const std::uint8_t* in, bool isFirst, unsigned kept, BlockState& state,
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
    if constexpr (kLongest != Longest::kTwo) {
        const ByteMask three = atLeast(b0, 0xE0);
        before = hn::IfThenElse(three, b1, b0);
        last = hn::IfThenElse(three, load(in + 2), b1);
        top = hn::IfThenElseZero(three, shiftLeft<4>(b0, 0xF0));
        // Longer forms than needed.
        invalid = hn::Or(invalid, hn::And(hn::Eq(b0, bytes(0xE0)), signedBelow(b1, 0xA0 - 0x100)));
        wanted |= (signBits(b0) & ~belowBits(b0, 0xE0 - 0x100)) << 2;
    }
    if constexpr (kLongest == Longest::kThreeButSurrogates || kLongest == Longest::kFour) {
        invalid =
            hn::Or(invalid, hn::AndNot(signedBelow(b1, 0xA0 - 0x100), hn::Eq(b0, bytes(0xED))));
    }
    const Bytes lowOfMany = hn::Or(shiftLeft<6>(before, 0xC0), hn::And(last, bytes(0x3F)));
    MadeUnits made{hn::IfThenElse(beyondAscii, lowOfMany, b0),
                   hn::Or(hn::IfThenElseZero(beyondAscii, shiftRight<2>(before, 0x0F)), top),
                   invalid};
    unsigned starts = ~trails;
    if constexpr (kLongest == Longest::kFour) {
        // In front of the first vector of a block there is no character to go on.
        const Bytes previous = isFirst ? hn::ShiftLeftBytes<1>(kBytes, b0) : load(in - 1);
        addPairs(in, previous, b0, b1, made);
        wanted |= (signBits(b0) & ~belowBits(b0, 0xF0 - 0x100)) << 3;
        starts |= signBits(previous) & ~belowBits(previous, 0xF0 - 0x100);
        invalid = made.invalid;
    }
    state.misplaced |= trails ^ (wanted & 0xFFFF);
    state.wanted = wanted >> kVector;
    storeUnitsAt(starts & kept, made.low, made.high, out);
}

/// How many bytes at the end of 16 belong to a character that goes on behind them. Without a
/// branch, since any answer is as likely as the next.
template <Longest kLongest>
HWY_INLINE unsigned cutOffBytes(const std::uint8_t* in) {
    const auto last = static_cast<unsigned>(in[kVector - 1] >= 0xC0);
    const auto before = static_cast<unsigned>(in[kVector - 2] >= 0xE0);
    const auto first = static_cast<unsigned>(in[kVector - 3] >= 0xF0);
    return last + 2 * before + (kLongest == Longest::kFour ? 3 * first : 0);
}

/// Reads the whole characters of a block that begins with one. False, with nothing done, when it is
/// ill-formed.
template <Longest kLongest>
HWY_INLINE bool decodeBlock(TextCursor& c) {
    constexpr unsigned kAll = 0xFFFF;
    constexpr std::size_t kLast = kBlock - kVector;
    BlockState state;
    ByteMask invalid = hn::MaskFromVec(hn::Zero(kBytes));
    std::uint8_t* out = c.out;
    for (std::size_t i = 0; i < kLast; i += kVector) {
        decodeVector<kLongest>(c.in + i, i == 0, kAll, state, invalid, out);
    }
    const unsigned cutOff = cutOffBytes<kLongest>(c.in + kLast);
    decodeVector<kLongest>(c.in + kLast, false, kAll >> cutOff, state, invalid, out);
    if (state.misplaced != 0 || !hn::AllFalse(kBytes, invalid)) {
        return false;
    }
    c.in += kBlock - cutOff;
    c.out = out;
    return true;
}

/// 8 units under 0x800.
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

/// Bytes of 8 units in lanes of 16 bits each: the first and the second one, and the last. Which of
/// the first two count is told by bits.
struct MadeBytes {
    Units upper;
    Units lower;
    unsigned many;
    unsigned three;
};

HWY_INLINE void storeTriples(const MadeBytes& made, std::uint8_t*& out) {
    const unsigned front = (made.many & 0x0F) | (made.three << 4 & 0xF0);
    const unsigned back = made.many >> 4 | (made.three & 0xF0);
    store(out, shuffle(hn::BitCast(kBytes, hn::InterleaveLower(kUnits, made.upper, made.lower)),
                       shuffles::kTriples[front]));
    out += 4 + countBits(front);
    store(out, shuffle(hn::BitCast(kBytes, hn::InterleaveUpper(kUnits, made.upper, made.lower)),
                       shuffles::kTriples[back]));
    out += 4 + countBits(back);
}

/// Each unit by itself. The second byte is the lead byte where there are two, and the last one
/// stands alone where there is one.
HWY_INLINE MadeBytes makeTriples(Units all) {
    const UnitMask ofMany = atLeast(all, 0x80);
    const UnitMask ofThree = atLeast(all, 0x800);
    const Units middle = hn::And(hn::ShiftLeft<2>(all), units(0x3F00));
    const Units marks = hn::Xor(hn::IfThenElseZero(ofMany, units(0xC000)),
                                hn::IfThenElseZero(ofThree, units(0x40E0)));
    const Units trail = hn::Or(hn::And(all, units(0x3F)), units(0x80));
    return {hn::Or(hn::Or(hn::ShiftRight<12>(all), middle), marks),
            hn::IfThenElse(ofMany, trail, all), unitBits(ofMany), unitBits(ofThree)};
}

/// Two of the four bytes of a pair for either half of it. `previous` are the units in front.
HWY_INLINE MadeBytes makePairs(Units all, Units previous, UnitMask high, UnitMask low) {
    MadeBytes made = makeTriples(all);
    // The character less 0x10000 is what a pair holds.
    const Units upper = hn::Add(hn::And(all, units(0x3FF)), units(0x40));
    const Units lead = hn::Or(hn::And(upper, units(0x700)), units(0xF000));
    const Units second = hn::Or(hn::And(hn::ShiftRight<2>(upper), units(0x3F)), units(0x80));
    const Units third = hn::Or(hn::Or(hn::And(hn::ShiftLeft<2>(all), units(0x0F00)), units(0x8000)),
                               hn::ShiftLeft<12>(hn::And(previous, units(0x03))));
    made.upper = hn::IfThenElse(high, lead, hn::IfThenElse(low, third, made.upper));
    made.lower = hn::IfThenElse(high, second, made.lower);
    made.three &= ~(unitBits(high) | unitBits(low));
    return made;
}

/// The surrogates that a block has shown so far, a bit a unit.
struct Surrogates {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
};

/// 8 units with surrogates among them, at `in` plus `at` bytes.
HWY_INLINE void encodeSurrogates(const std::uint8_t* in, std::size_t at, Surrogates& seen,
                                 std::uint8_t*& out) {
    const Units all = loadUnits(in + at);
    const Units kind = hn::And(all, units(0xFC00));
    const UnitMask high = hn::Eq(kind, units(0xD800));
    const UnitMask low = hn::Eq(kind, units(0xDC00));
    seen.high |= unitBits(high) << (at / 2);
    seen.low |= unitBits(low) << (at / 2);
    const Units previous =
        at == 0 ? hn::BitCast(kUnits, hn::ShiftLeftBytes<2>(kBytes, hn::BitCast(kBytes, all)))
                : loadUnits(in + at - 2);
    storeTriples(makePairs(all, previous, high, low), out);
}

/// A block that begins with a character; `kPairs` when surrogates and zeros may be in it. False,
/// with nothing done, where they may not, and where half a pair stands alone.
template <bool kPairs>
HWY_INLINE bool encodeBlock(TextCursor& c) {
    std::uint8_t* out = c.out;
    Surrogates seen;
    for (std::size_t i = 0; i < kBlock; i += kVector) {
        const Units all = loadUnits(c.in + i);
        if (!kPairs && anyZero(all)) {
            return false;
        }
        if (noneOf(atLeast(all, 0x800))) {
            encodePairs(all, out);
        } else if (kPairs && !noneOf(hn::Eq(hn::And(all, units(0xF800)), units(0xD800)))) {
            encodeSurrogates(c.in, i, seen, out);
        } else {
            storeTriples(makeTriples(all), out);
        }
    }
    if (seen.low != seen.high << 1) {
        return false;
    }
    // Half a pair at the end is left, with its two bytes.
    const std::size_t cutOff = seen.high >> (kBlock / 2 - 1);
    c.in += kBlock - 2 * cutOff;
    c.out = out - 2 * cutOff;
    return true;
}

#endif

}  // namespace borvik::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#endif
