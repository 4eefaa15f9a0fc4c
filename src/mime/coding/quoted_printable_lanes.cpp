#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "mime/coding/quoted_printable_lanes.cpp"
#include <hwy/foreach_target.h>

#include <bit>

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

HWY_INLINE hn::Vec<WideTag> loadWide(const char* from) {
    return hn::LoadU(WideTag(), reinterpret_cast<const std::uint8_t*>(from));
}

/// Looks at the two bytes before as well.
HWY_INLINE Stops stopsOf(const char* block) {
    constexpr WideTag kWide;
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
