#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "mime/coding/quoted_printable_lanes.cpp"
#include <hwy/foreach_target.h>

#include <bit>

#include "charset/lanes/shuffle_tables.h"
#include "charset/lanes/vectors-inl.h"
#include "mime/coding/quoted_printable_decoder.h"
#include "mime/coding/quoted_printable_decoding.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

using quoted_printable::copyRun;
using quoted_printable::Decoder;
using quoted_printable::escapeAt;
using quoted_printable::kHighestByte;
using quoted_printable::kSoftBreak;
using quoted_printable::withoutTrailingBlanks;

#if BORVIK_HAS_VECTORS

namespace {

/// The stops of 64 bytes, bit i for byte i.
struct Stops {
    std::uint64_t equals = 0;  // by the low 7 bits
    /// Zero bytes, and line feeds but for those behind a CR with no blank in front of it. Controls
    /// and 8-bit bytes count as blanks here.
    std::uint64_t others = 0;
};

constexpr WideTag kWide;

HWY_INLINE hn::Vec<WideTag> loadWide(const char* from) {
    return hn::LoadU(WideTag(), reinterpret_cast<const std::uint8_t*>(from));
}

/// Looks at the two bytes before as well.
HWY_INLINE Stops stopsOf(const char* block) {
    constexpr hn::RebindToSigned<WideTag> kWideSigned;
    constexpr std::size_t kStep = hn::MaxLanes(kWide);
    Stops stops;
    static_assert(Decoder::kBlock == kBlock);
    for (std::size_t i = 0; i < kBlock; i += kStep) {
        const auto here = loadWide(block + i);
        const auto low = hn::And(here, hn::Set(kWide, 0x7F));
        const auto zero = hn::Eq(here, hn::Zero(kWide));
        const auto feed = hn::Eq(here, hn::Set(kWide, '\n'));
        const auto behindCr = hn::Eq(loadWide(block + i - 1), hn::Set(kWide, '\r'));
        const auto before = hn::BitCast(kWideSigned, loadWide(block + i - 2));
        const auto blank = hn::RebindMask(kWide, hn::Lt(before, hn::Set(kWideSigned, ' ' + 1)));
        const auto clean = hn::AndNot(blank, behindCr);
        stops.equals |= bitsOf(kWide, hn::Eq(low, hn::Set(kWide, '='))) << i;
        stops.others |= bitsOf(kWide, hn::Or(zero, hn::AndNot(clean, feed))) << i;
    }
    return stops;
}

/// From so many on, the coded bytes of a block are taken all at once.
constexpr int kMany = BORVIK_HAS_COMPRESS ? 4 : 8;

constexpr hn::Repartition<std::uint16_t, WideTag> kWideUnits;

/// 16 bytes that each 16 of a vector look into.
template <typename Table>
HWY_INLINE hn::Vec<WideTag> wideTable(const Table& table) {
    static_assert(sizeof table == kVector);
    return hn::LoadDup128(kWide, reinterpret_cast<const std::uint8_t*>(&table));
}

/// For each low nibble the high ones with which it makes a hexadecimal digit, as bits.
constexpr std::array<std::uint8_t, kVector> makeDigitRows() {
    std::array<std::uint8_t, kVector> rows{};
    for (unsigned c = 0; c < 0x80; ++c) {
        if (hexValue(static_cast<char>(c)) >= 0) {
            rows[c & 0x0F] = static_cast<std::uint8_t>(rows[c & 0x0F] | 1U << (c >> 4));
        }
    }
    return rows;
}

/// What is added to the low nibble of a digit, by the high one.
constexpr std::array<std::uint8_t, kVector> makeDigitOffsets() {
    std::array<std::uint8_t, kVector> offsets{};
    offsets['A' >> 4] = offsets['a' >> 4] = 10 - ('A' & 0x0F);
    return offsets;
}

/// The values of hexadecimal digits, by their low 7 bits. `marks` is not 0 for those.
HWY_INLINE hn::Vec<WideTag> digitValues(hn::Vec<WideTag> text, hn::Vec<WideTag>& marks) {
    static constexpr auto kRows = makeDigitRows();
    static constexpr auto kOffsets = makeDigitOffsets();
    static constexpr std::uint8_t kBits[kVector] = {1, 2, 4, 8, 16, 32, 64, 128};
    const auto low = hn::And(text, hn::Set(kWide, 0x0F));
    const auto high = hn::And(hn::BitCast(kWide, hn::ShiftRight<4>(hn::BitCast(kWideUnits, text))),
                              hn::Set(kWide, 0x07));
    marks = hn::And(hn::TableLookupBytes(wideTable(kRows), low),
                    hn::TableLookupBytes(wideTable(kBits), high));
    return hn::Add(low, hn::TableLookupBytes(wideTable(kOffsets), high));
}

#if BORVIK_HAS_COMPRESS

HWY_INLINE void storeKept(const std::uint8_t* made, std::uint64_t kept, std::uint8_t* out) {
    _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(kept, _mm512_load_si512(made)));
}

#else

/// Moves those of 8 bytes together whose bit is set.
constexpr shuffles::Table makeKeptShuffles() {
    shuffles::Table table{};
    for (unsigned mask = 0; mask < table.size(); ++mask) {
        shuffles::Builder builder;
        for (unsigned byte = 0; byte < 8; ++byte) {
            if ((mask >> byte & 1U) != 0) {
                builder.take(byte);
            }
        }
        table[mask] = builder.result();
    }
    return table;
}

HWY_INLINE void storeKept(const std::uint8_t* made, std::uint64_t kept, std::uint8_t* out) {
    static constexpr auto kShuffles = makeKeptShuffles();
    for (unsigned i = 0; i < kBlock; i += 8) {
        const auto here = static_cast<unsigned>(kept >> i & 0xFF);
        const Bytes eight = hn::ZeroExtendVector(kBytes, hn::LoadU(hn::Half<ByteTag>(), made + i));
        store(out, shuffle(eight, kShuffles[here]));
        out += countBits(here);
    }
}

#endif

// Where it is long, it would take the registers of the loop for text with few coded bytes.
#undef BORVIK_TAKE_CODED
#define BORVIK_TAKE_CODED HWY_NOINLINE
#if BORVIK_HAS_COMPRESS
#undef BORVIK_TAKE_CODED
#define BORVIK_TAKE_CODED HWY_INLINE
#endif

/// Takes all coded bytes and soft breaks of a block, up to the last of them, and what stands
/// between. False, with nothing done, when something needs a closer look.
BORVIK_TAKE_CODED bool takeCoded(const char* block, std::uint64_t equals, Decoder::Place& place) {
    alignas(kBlock) std::uint8_t made[kBlock + kVector];
    std::uint64_t bytes = 0;
    std::uint64_t breaks = 0;
    for (std::size_t i = 0; i < kBlock; i += hn::MaxLanes(kWide)) {
        const auto here = loadWide(block + i);
        const auto first = loadWide(block + i + 1);
        const auto second = loadWide(block + i + 2);
        hn::Vec<WideTag> firstMarks;
        hn::Vec<WideTag> secondMarks;
        const auto upper = digitValues(first, firstMarks);
        const auto lower = digitValues(second, secondMarks);
        // The high bits of the value are 0, so that nothing comes from the neighbour.
        const auto value =
            hn::Or(hn::BitCast(kWide, hn::ShiftLeft<4>(hn::BitCast(kWideUnits, upper))), lower);
        const auto isEqual = hn::Eq(hn::And(here, hn::Set(kWide, 0x7F)), hn::Set(kWide, '='));
        const auto zero = hn::Zero(kWide);
        const auto none = hn::Or(hn::Or(hn::Eq(firstMarks, zero), hn::Eq(secondMarks, zero)),
                                 hn::Eq(value, hn::Set(kWide, 0xFF)));
        bytes |= bitsOf(kWide, none) << i;
        breaks |= bitsOf(kWide, hn::And(hn::Eq(first, hn::Set(kWide, '\r')),
                                        hn::Eq(second, hn::Set(kWide, '\n'))))
                  << i;
        hn::StoreU(hn::IfThenElse(isEqual, value, here), kWide, made + i);
    }
    bytes = equals & ~bytes;
    breaks &= equals;
    if ((bytes | breaks) != equals) {
        return false;
    }
    auto [in, out] = place;
    if (in < block) {
        out = copyRun(in, block, out);
        in = block;
    }
    const int last = std::bit_width(equals) - 1;
    std::uint64_t kept = ~(breaks | equals << 1 | equals << 2);
    kept &= ~std::uint64_t{0} << (in - block) & ((std::uint64_t{2} << last) - 1);
    storeKept(made, kept, reinterpret_cast<std::uint8_t*>(out));
    place = {block + last + 3, out + std::popcount(kept)};
    return true;
}

/// Takes blocks as long as `kRead` bytes are left in front of `readable`. What needs no change,
/// most line ends among it, is copied in one go from one stop to the next.
void takeBlocks(Decoder& decoder, const char* readable) {
    const char* block = decoder.place().in + Decoder::kLookBack;
    if (!decoder.takeFirstStops(block)) {
        return;
    }
    // What the decoder holds is in memory, where every byte written might change it.
    auto [in, out] = decoder.place();
    Stops next;
    if (readable - block >= Decoder::kRead) {
        next = stopsOf(block);
    }
    for (; readable - block >= Decoder::kRead; block += kBlock) {
        const Stops stops = next;
        // Those of the block behind are known before the ones here are taken: how many there are is
        // hard to predict, and the wait for them would come on top.
        next = stopsOf(block + kBlock);
        std::uint64_t left = stops.equals;
        if (stops.others == 0) {
            if (std::popcount(left) >= kMany) [[unlikely]] {
                Decoder::Place place = {in, out};
                if (takeCoded(block, left, place)) {
                    in = place.in;
                    out = place.out;
                    continue;
                }
            }
            for (; left != 0; left &= left - 1) {
                const char* const stop = block + std::countr_zero(left);
                const std::uint16_t escape = escapeAt(stop + 1);
                if (escape >= kHighestByte) {
                    break;
                }
                out = copyRun(in, stop, out);
                *out = static_cast<char>(escape - 1);
                out += escape == kSoftBreak ? 0 : 1;
                in = stop + 3;
            }
            if (left == 0) {
                continue;
            }
        }
        decoder.goTo({in, out});
        if (!decoder.takeStops(block, left | stops.others)) {
            return;
        }
        in = decoder.place().in;
        out = decoder.place().out;
    }
    if (in < block) {
        // Blanks may turn out to be trailing ones.
        const char* const sure = withoutTrailingBlanks(in, block);
        out = copyRun(in, sure, out);
        in = sure;
    }
    decoder.goTo({in, out});
}

}  // namespace

bool appendDecoded(std::string_view text, DataBuffer& out) {
    return quoted_printable::decode(text, out, takeBlocks);
}

#else

bool appendDecoded(std::string_view text, DataBuffer& out) {
    return scalar::appendDecodedQuotedPrintable(text, out);
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace borvik {

HWY_EXPORT(appendDecoded);

bool appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out) {
    return HWY_DYNAMIC_DISPATCH(appendDecoded)(text, out);
}

}  // namespace borvik

#endif
