#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/utf7_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/base64_vectors-inl.h"
#include "charset/lanes/text_lanes-inl.h"
#include "charset/lanes/utf7_alphabet.h"
#include "charset/lanes/utf8_bytes.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

/// The bytes that are not direct characters of UTF-7.
HWY_INLINE unsigned codedMask(Bytes value) {
    static constexpr auto kRows = makeUtf7DirectRows();
    static constexpr Table16 kBits = {{1, 2, 4, 8, 16, 32, 64, 128}};
    return ~atLeastBits(setBits(loadTable(kRows), loadTable(kBits), value), 1) & 0xFFFF;
}

/// 16 digits make 6 units.
constexpr unsigned kUnitsOfVector = 6;

/// Up to 6 units as digits; the bits behind them in the last digit are those of the next unit.
HWY_INLINE Bytes digitsOfUnits(Bytes all) {
    // Of each 3 bytes in stream order the second, the first, the third and again the second.
    static constexpr Table16 kSpread = {{0, 1, 3, 0, 5, 2, 4, 5, 6, 7, 9, 6, 11, 8, 10, 11}};
    const Bytes spread = hn::TableLookupBytes(all, loadTable(kSpread));
    return digitsOf(kBytes, splitSextets(kBytes, spread));
}

/// The first bytes of a vector; the others become 0.
HWY_INLINE Bytes firstBytes(Bytes value, unsigned count) {
    const auto places = hn::Iota(kSigned, 0);
    const auto kept = hn::Lt(places, hn::Set(kSigned, static_cast<std::int8_t>(count)));
    return hn::IfThenElseZero(hn::RebindMask(kBytes, kept), value);
}

/// Characters outside coded runs, up to the first other one. False there.
HWY_INLINE bool readDirect(TextCursor& c) {
    const Bytes value = load(c.in);
    const unsigned others = equalBits(value, bytes('+')) | belowBits(value, 1);
    widen(value, c.out);
    const unsigned count = firstBit(others);
    c.in += count;
    c.out += 2 * count;
    return others == 0;
}

/// Writes the units of a block of digits. The result has a bit for each byte that is none; the
/// units behind the first of them mean nothing, but for the bits that are left over from the
/// digits.
HWY_INLINE std::uint64_t readDigits(const std::uint8_t* in, std::uint8_t* out) {
    static constexpr Table16 kToUnits = {
        {1, 2, 6, 0, 4, 5, 9, 10, 14, 8, 12, 13, 0x80, 0x80, 0x80, 0x80}};
    constexpr WideTag kWide;
    constexpr std::size_t kStep = hn::MaxLanes(kWide);
    std::uint64_t foreign = 0;
    for (std::size_t i = 0; i < kBlock; i += kStep) {
        const auto text = hn::LoadU(kWide, in + i);
        const auto marks = hn::Ne(foreignMarks(kWide, text), hn::Zero(kWide));
        foreign |= bitsOf(kWide, marks) << i;
        const auto sextets = hn::And(sextetsOf(kWide, text), hn::Set(kWide, 0x3F));
        storeGroups(kWide, joinSextets(kWide, sextets), kToUnits, out + i / 4 * 3);
    }
    return foreign;
}

/// The next digits of a run, with the "-" that may end it. False for bits that are left over, and
/// for a run without a unit.
HWY_INLINE bool readCoded(TextCursor& c, Utf7Run& run) {
    const std::uint64_t foreign = readDigits(c.in, c.out);
    if (foreign == 0) {
        c.in += kBlock;
        c.out += kBlock / 4 * 3;
        run = {true, false, true};
        return true;
    }
    const auto count = static_cast<unsigned>(__builtin_ctzll(foreign));
    const unsigned made = count * 6 / 16;
    const unsigned bitsLeft = count * 6 % 16;
    const unsigned next = loadUnit(c.out + std::size_t{2} * made);
    if (next >> (16 - bitsLeft) != 0 || (made == 0 && run.first)) {
        return false;
    }
    c.in += count + (c.in[count] == '-' ? 1 : 0);
    c.out += std::size_t{2} * made;
    run.coded = false;
    return true;
}

/// A run of one unit, as Latin text is full of. To foresee its end by a branch is quicker than to
/// wait for a count of digits.
HWY_INLINE bool readSingle(TextCursor& c) {
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

}  // namespace

void utf7ToUtf16(TextCursor& cursor, Utf7Run& state) {
    TextCursor c = cursor;
    Utf7Run run = state;

    while (c.has(kBlock + 1)) {
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
        // There may be one byte less than before, and still a block of them.
        if (c.left() < kBlock || !readCoded(c, run)) {
            break;
        }
    }
    cursor = c;
    state = run;
}

namespace {

/// 16 units as bytes. Saturating gives 0 or 0xFF for units over 0xFF, which are not direct
/// characters either.
HWY_INLINE Bytes narrowUnits(const std::uint8_t* in) {
    return narrow(loadUnits(in), loadUnits(in + kVector));
}

/// Units of a block, each told by a bit whether it is coded.
constexpr unsigned kUnitsOfBlock = 64;

/// Writes a block as runs of direct and of coded units, which the bits of its units mark off
/// without looking at the text again.
class BlockWriter {
public:
    BlockWriter(const std::uint8_t* in, std::uint8_t* out) : in_(in), out_(out) {
        const Bytes plus = bytes('+');
        for (unsigned i = 0; i < kUnitsOfBlock; i += kVector) {
            const Bytes value = narrowUnits(in + 2 * i);
            coded_ |= static_cast<std::uint64_t>(codedMask(value)) << i;
            pluses_ |= static_cast<std::uint64_t>(equalBits(value, plus)) << i;
        }
    }

    /// Stops behind the block, or within the last 6 units when these are coded.
    void write(Utf7Run& run) {
        while (place_ < kUnitsOfBlock) {
            if (!run.coded) {
                writeDirect();
                if (place_ == kUnitsOfBlock) {
                    break;
                }
                *out_++ = '+';
                if ((pluses_ >> place_ & 1) != 0) {
                    *out_++ = '-';
                    ++place_;
                    continue;
                }
            }
            run.coded = !writeCoded();
            if (run.coded) {
                break;
            }
            *out_++ = '-';
        }
    }

    const std::uint8_t* readUpTo() const { return in_ + std::size_t{2} * place_; }
    std::uint8_t* writtenUpTo() const { return out_; }

private:
    /// The place of the next bit that is set, at or behind the present place.
    unsigned nextOf(std::uint64_t bits) const {
        const std::uint64_t rest = bits >> place_;
        return rest == 0 ? kUnitsOfBlock : place_ + static_cast<unsigned>(__builtin_ctzll(rest));
    }

    void writeDirect() {
        const unsigned end = nextOf(coded_);
        const std::uint8_t* in = readUpTo();
        const std::size_t count = end - place_;
        for (std::size_t i = 0; i < count; i += 2 * kVector) {
            store(out_ + i, narrowUnits(in + 2 * i));
            store(out_ + i + kVector, narrowUnits(in + 2 * i + 2 * kVector));
        }
        out_ += count;
        place_ = end;
    }

    /// False when the run may go on behind the block. Whole groups are written then.
    bool writeCoded() {
        const unsigned end = nextOf(~coded_);
        for (; place_ + kUnitsOfVector <= end; place_ += kUnitsOfVector) {
            store(out_, digitsOfUnits(load(readUpTo())));
            out_ += kVector;
        }
        if (end == kUnitsOfBlock) {
            return false;
        }
        const unsigned count = end - place_;
        store(out_, digitsOfUnits(firstBytes(load(readUpTo()), 2 * count)));
        out_ += (count * 16 + 5) / 6;
        place_ = end;
        return true;
    }

    const std::uint8_t* in_;
    std::uint8_t* out_;
    std::uint64_t coded_ = 0;
    std::uint64_t pluses_ = 0;
    unsigned place_ = 0;
};

}  // namespace

void utf16ToUtf7(TextCursor& c, Utf7Run& run) {
    // Vectors that begin in the block reach behind it.
    constexpr std::size_t kSeen = std::size_t{2} * kUnitsOfBlock + 4 * kVector;
    while (c.has(kSeen)) {
        BlockWriter writer(c.in, c.out);
        writer.write(run);
        c.in = writer.readUpTo();
        c.out = writer.writtenUpTo();
    }
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
