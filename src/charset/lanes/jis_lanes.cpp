#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/jis_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/text_lanes-inl.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

constexpr std::uint8_t kEscape = 0x1B;
constexpr std::size_t kEscapeLength = 3;

/// The bits of the first bytes of pairs.
constexpr unsigned kFirstBytes = 0x5555;

/// Passes an escape to ASCII or to double-byte characters. False, with nothing done, elsewhere.
inline bool readEscape(TextCursor& c, std::uint8_t kind, std::uint8_t setA, std::uint8_t setB,
                       JisSet made, JisSet& set) {
    if (c.left() < kEscapeLength || c.in[0] != kEscape || c.in[1] != kind ||
        (c.in[2] != setA && c.in[2] != setB)) {
        return false;
    }
    c.in += kEscapeLength;
    set = made;
    return true;
}

/// 8 pairs of JIS bytes as Shift_JIS, the first byte of each in the high half. Sets the bits of
/// those bytes in `others` that make no pair by the common rule: they are not in 0x21 to 0x7E, or
/// in one of the rows that have a list of their own.
HWY_INLINE Units shiftJisOf(Bytes jis, unsigned& others) {
    const Units pair = hn::BitCast(kUnits, jis);
    const Units one = units(1);
    const Units row = hn::And(pair, units(0xFF));
    const Units cell = hn::ShiftRight<8>(pair);
    const unsigned listed = ~atLeastBits(hn::Sub(jis, bytes(0x79)), 4) & kFirstBytes;
    others = listed | atLeastBits(hn::Sub(jis, bytes(0x21)), 0x7F - 0x21);
    const Units second = hn::IfThenElseZero(signedAbove(row, 0x5E), units(0x40));
    const Units lead = hn::Add(hn::Add(hn::ShiftRight<1>(hn::Add(row, one)), second), units(0x70));
    const Units upper = hn::IfThenElseZero(signedAbove(cell, 0x5F), one);
    const Units ofOdd = hn::Add(hn::Add(cell, upper), units(0x1F));
    const Units ofEven = hn::Add(cell, units(0x7E));
    const UnitMask isOdd = hn::Eq(hn::And(row, one), one);
    const Units trail = hn::IfThenElse(isOdd, ofOdd, ofEven);
    return hn::Or(hn::ShiftLeft<8>(lead), hn::And(trail, units(0xFF)));
}

/// 8 codes through the table.
HWY_INLINE Units lookUpCodes(const char16_t* table, Units codes) {
    std::uint16_t code[kVector / 2];
    hn::StoreU(codes, kUnits, code);
    return gather8([table, &code](std::size_t k) { return table[code[k]]; });
}

/// Double-byte characters up to the first that needs a closer look, and the escape to ASCII if it
/// stands there. False when something else does.
HWY_INLINE bool readPairs(const DecodeTable& shiftJis, TextCursor& c, JisSet& set) {
    unsigned others = 0;
    const Units codes = shiftJisOf(load(c.in), others);
    const Units found = lookUpCodes(shiftJis.units.data(), codes);
    storeUnits(c.out, found);
    // What is looked up takes long, and need not be known to go on where it is as expected.
    unsigned count = firstBit(others) & ~1U;
    const unsigned zeros = equalBits(hn::BitCast(kBytes, found), hn::Zero(kBytes));
    const unsigned missing = zeros & zeros >> 1 & kFirstBytes & ((1U << count) - 1);
    if (missing != 0) {
        count = firstBit(missing);
    }
    c.in += count;
    c.out += count;
    if (missing != 0 || others == 0) {
        return missing == 0;
    }
    return readEscape(c, '(', 'B', 'J', JisSet::kAscii, set);
}

/// The same for ASCII and the escape to double-byte characters.
HWY_INLINE bool readAscii(TextCursor& c, JisSet& set) {
    const Bytes text = load(c.in);
    widen(text, c.out);
    const unsigned others = belowBits(text, 1) | equalBits(text, bytes(kEscape));
    const unsigned count = firstBit(others);
    c.in += count;
    c.out += 2 * count;
    return others == 0 || readEscape(c, '$', 'B', '@', JisSet::kDoubleByte, set);
}

}  // namespace

void jisToUtf16(const DecodeTable& shiftJis, TextCursor& cursor, JisSet& state) {
    TextCursor c = cursor;
    JisSet set = state;
    while (set != JisSet::kKana && c.has(kVector + kEscapeLength) &&
           (set == JisSet::kAscii ? readAscii(c, set) : readPairs(shiftJis, c, set))) {
    }
    cursor = c;
    state = set;
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
