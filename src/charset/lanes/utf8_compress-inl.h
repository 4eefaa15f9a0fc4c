// Read once for each kind of processor, by the sources that Highway's foreach_target.h includes
// again.
#if defined(BORVIK_UTF8_COMPRESS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef BORVIK_UTF8_COMPRESS_INL
#undef BORVIK_UTF8_COMPRESS_INL
#else
#define BORVIK_UTF8_COMPRESS_INL
#endif

#include <array>

#include "charset/lanes/utf8_blocks.h"
#include "charset/lanes/vectors-inl.h"

#if BORVIK_HAS_COMPRESS

HWY_BEFORE_NAMESPACE();

/// Blocks of UTF-8 and of UTF-16 in vectors of 64 bytes, of which those that count are moved
/// together by a mask.
namespace borvik::HWY_NAMESPACE {

/// The characters of 64 bytes of UTF-8 by bits, and whether they are well-formed.
struct Utf8Bits {
    std::uint64_t beyondAscii = 0;
    std::uint64_t trails = 0;
    /// Those that begin characters of two bytes and more, of three and more, and of four.
    std::uint64_t leads = 0;
    std::uint64_t threes = 0;
    std::uint64_t fours = 0;
    bool wellFormed = false;
};

HWY_INLINE std::uint64_t fromBits(__m512i value, int low) {
    return _mm512_cmpge_epu8_mask(value, _mm512_set1_epi8(static_cast<char>(low)));
}

HWY_INLINE std::uint64_t equalBits64(__m512i value, int other) {
    return _mm512_cmpeq_epi8_mask(value, _mm512_set1_epi8(static_cast<char>(other)));
}

template <Longest kLongest>
HWY_INLINE Utf8Bits utf8BitsOf(const std::uint8_t* in) {
    const __m512i first = _mm512_loadu_si512(in);
    const __m512i second = _mm512_loadu_si512(in + 1);
    Utf8Bits bits;
    bits.beyondAscii = static_cast<std::uint64_t>(_mm512_movepi8_mask(first));
    bits.leads = fromBits(first, 0xC0);
    bits.trails = bits.beyondAscii & ~bits.leads;
    std::uint64_t invalid = bits.leads & ~fromBits(first, 0xC2);
    std::uint64_t wanted = bits.leads << 1;
    if constexpr (kLongest != Longest::kTwo) {
        bits.threes = fromBits(first, 0xE0);
        wanted |= bits.threes << 2;
        const std::uint64_t upper = fromBits(second, 0xA0);
        invalid |= equalBits64(first, 0xE0) & ~upper;
        if constexpr (kLongest != Longest::kThree) {
            invalid |= equalBits64(first, 0xED) & upper;
        }
    }
    if constexpr (kLongest == Longest::kFour) {
        bits.fours = fromBits(first, 0xF0);
        wanted |= bits.fours << 3;
        const std::uint64_t upper = fromBits(second, 0x90);
        invalid |= fromBits(first, 0xF5) | (equalBits64(first, 0xF0) & ~upper) |
                   (equalBits64(first, 0xF4) & upper);
    }
    bits.wellFormed = (invalid | (wanted ^ bits.trails)) == 0;
    return bits;
}

/// 32 units as they would be if a character began at each of as many bytes.
template <Longest kLongest>
HWY_INLINE __m512i unitsOf(const std::uint8_t* in, const Utf8Bits& bits, unsigned from) {
    const auto widened = [in](std::size_t at) HWY_ATTR {
        return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + at)));
    };
    const auto trailBits = [](__m512i value, int shift) HWY_ATTR {
        return _mm512_slli_epi16(_mm512_and_si512(value, _mm512_set1_epi16(0x3F)),
                                 static_cast<unsigned>(shift));
    };
    const auto maskOf = [from](std::uint64_t places) {
        return static_cast<__mmask32>(places >> from);
    };
    const __m512i first = widened(from);
    const __m512i second = widened(from + 1);
    const __m512i upper = _mm512_slli_epi16(_mm512_and_si512(first, _mm512_set1_epi16(0x1F)), 6);
    const __m512i ofTwo = _mm512_or_si512(upper, trailBits(second, 0));
    __m512i made = _mm512_mask_mov_epi16(first, maskOf(bits.beyondAscii), ofTwo);
    if constexpr (kLongest != Longest::kTwo) {
        const __m512i third = widened(from + 2);
        const __m512i lower = _mm512_or_si512(trailBits(second, 6), trailBits(third, 0));
        made = _mm512_mask_mov_epi16(made, maskOf(bits.threes),
                                     _mm512_or_si512(_mm512_slli_epi16(first, 12), lower));
        if constexpr (kLongest == Longest::kFour) {
            // The half of a pair that begins at the first of four bytes, and at the second.
            const __m512i top = _mm512_or_si512(
                _mm512_slli_epi16(_mm512_and_si512(first, _mm512_set1_epi16(0x07)), 8),
                _mm512_or_si512(trailBits(second, 2), _mm512_and_si512(_mm512_srli_epi16(third, 4),
                                                                       _mm512_set1_epi16(0x03))));
            made = _mm512_mask_add_epi16(made, maskOf(bits.fours), top,
                                         _mm512_set1_epi16(static_cast<short>(0xD7C0)));
            const __m512i half = _mm512_and_si512(lower, _mm512_set1_epi16(0x3FF));
            const auto seconds = static_cast<__mmask32>(bits.fours << 1 >> from);
            made = _mm512_mask_mov_epi16(
                made, seconds,
                _mm512_or_si512(half, _mm512_set1_epi16(static_cast<short>(0xDC00))));
        }
    }
    return made;
}

/// Reads the whole characters of a block that begins with one. False, with nothing done, when it is
/// ill-formed.
template <Longest kLongest>
HWY_INLINE bool decodeBlock(TextCursor& c) {
    constexpr unsigned kHalf = kBlock / 2;
    const Utf8Bits bits = utf8BitsOf<kLongest>(c.in);
    if (!bits.wellFormed) {
        return false;
    }
    // Of the bytes at the end that belong to a character that goes on behind them.
    const auto cutOff = static_cast<unsigned>(bits.leads >> 63 | (bits.threes >> 62 & 1) * 2 |
                                              (bits.fours >> 61 & 1) * 3);
    const std::uint64_t starts = (~bits.trails | bits.fours << 1) & ~std::uint64_t{0} >> cutOff;
    const auto write = [&](unsigned from) HWY_ATTR {
        const auto kept = static_cast<__mmask32>(starts >> from);
        _mm512_storeu_si512(c.out,
                            _mm512_maskz_compress_epi16(kept, unitsOf<kLongest>(c.in, bits, from)));
        c.out += 2 * countBits(kept);
    };
    write(0);
    write(kHalf);
    c.in += kBlock - cutOff;
    return true;
}

/// The place of each of 32 units.
constexpr std::array<std::uint16_t, kBlock / 2> makeUnitPlaces() {
    std::array<std::uint16_t, kBlock / 2> places{};
    for (std::size_t i = 0; i < places.size(); ++i) {
        places[i] = static_cast<std::uint16_t>(i);
    }
    return places;
}
inline constexpr auto kUnitPlaces = makeUnitPlaces();

/// What 32 units are, a bit for each.
struct Utf16Bits {
    __mmask32 many;
    __mmask32 three;
    __mmask32 high = 0;
    __mmask32 low = 0;
};

/// 16 units in lanes of 32 bits: the first, the second and the last byte of each. The second is the
/// lead byte where there are two, and the last one stands alone where there is one.
HWY_INLINE __m512i bytesOf(__m512i units, __mmask16 many, __mmask16 three) {
    const auto masked = [](__m512i value, int mask)
                            HWY_ATTR { return _mm512_and_si512(value, _mm512_set1_epi32(mask)); };
    const __m512i front =
        _mm512_or_si512(masked(_mm512_slli_epi32(units, 2), 0x3F00), _mm512_srli_epi32(units, 12));
    __m512i marks = _mm512_set1_epi32(0x0080C000);
    marks = _mm512_mask_mov_epi32(marks, three, _mm512_set1_epi32(0x008080E0));
    const __m512i last = _mm512_slli_epi32(masked(units, 0x3F), 16);
    const __m512i made = _mm512_or_si512(_mm512_or_si512(front, last), marks);
    return _mm512_mask_mov_epi32(_mm512_slli_epi32(units, 16), many, made);
}

/// The same for halves of pairs, of two bytes each.
HWY_INLINE __m512i withPairs(__m512i made, __m512i units, __m512i previous, __mmask16 high,
                             __mmask16 low) {
    const auto masked = [](__m512i value, int mask)
                            HWY_ATTR { return _mm512_and_si512(value, _mm512_set1_epi32(mask)); };
    // The character less 0x10000 is what a pair holds.
    const __m512i upper = _mm512_add_epi32(masked(units, 0x3FF), _mm512_set1_epi32(0x40));
    const __m512i front =
        _mm512_or_si512(masked(upper, 0x700), masked(_mm512_slli_epi32(upper, 14), 0x3F0000));
    made = _mm512_mask_or_epi32(made, high, front, _mm512_set1_epi32(0x80F000));
    const __m512i third = _mm512_or_si512(masked(_mm512_slli_epi32(units, 2), 0x0F00),
                                          masked(_mm512_slli_epi32(previous, 12), 0x3000));
    const __m512i fourth = _mm512_slli_epi32(masked(units, 0x3F), 16);
    const __m512i back = _mm512_or_si512(third, fourth);
    return _mm512_mask_or_epi32(made, low, back, _mm512_set1_epi32(0x808000));
}

template <bool kPairs>
HWY_INLINE bool readUtf16Bits(__m512i all, Utf16Bits& bits) {
    const auto from = [all](int low) HWY_ATTR {
        return _mm512_cmpge_epu16_mask(all, _mm512_set1_epi16(static_cast<short>(low)));
    };
    bits.many = from(0x80);
    bits.three = from(0x800);
    if constexpr (!kPairs) {
        return _mm512_testn_epi16_mask(all, all) == 0;
    }
    const __m512i kind = _mm512_and_si512(all, _mm512_set1_epi16(static_cast<short>(0xFC00)));
    bits.high = _mm512_cmpeq_epi16_mask(kind, _mm512_set1_epi16(static_cast<short>(0xD800)));
    bits.low = _mm512_cmpeq_epi16_mask(kind, _mm512_set1_epi16(static_cast<short>(0xDC00)));
    bits.three &= ~(bits.high | bits.low);
    return bits.low == bits.high << 1;
}

constexpr unsigned kByteBits = 8;

/// 32 units under 0x800, those of the mask `many` as two bytes. Returns the place behind them.
HWY_INLINE std::uint8_t* encodeShort(__m512i all, __mmask32 many, std::uint8_t* out) {
    constexpr std::uint64_t kLowBytes = 0x5555555555555555;
    const __m512i lead = _mm512_srli_epi16(all, 6);
    const __m512i trail =
        _mm512_slli_epi16(_mm512_and_si512(all, _mm512_set1_epi16(0x3F)), kByteBits);
    const __m512i marks = _mm512_set1_epi16(static_cast<short>(0x80C0));
    const __m512i both = _mm512_or_si512(_mm512_or_si512(lead, trail), marks);
    const __m512i made = _mm512_mask_mov_epi16(all, many, both);
    const std::uint64_t kept = kLowBytes | _pdep_u64(many, ~kLowBytes);
    _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(kept, made));
    return out + kBlock / 2 + countBits(many);
}

/// 32 units of any length. Returns the place behind them.
template <bool kPairs>
HWY_INLINE std::uint8_t* encodeLong(__m512i all, const Utf16Bits& bits, std::uint8_t* out) {
    constexpr unsigned kHalf = 16;
    // The bit of the last byte of each lane.
    constexpr std::uint64_t kLasts = 0x4444444444444444;
    const auto write = [&](unsigned from) HWY_ATTR {
        const auto maskOf = [from](__mmask32 places) {
            return static_cast<__mmask16>(places >> from);
        };
        const auto widened = [](__m512i units, bool upper) HWY_ATTR {
            return _mm512_cvtepu16_epi32(upper ? _mm512_extracti64x4_epi64(units, 1)
                                               : _mm512_castsi512_si256(units));
        };
        const __m512i units = widened(all, from != 0);
        __m512i made = bytesOf(units, maskOf(bits.many), maskOf(bits.three));
        if (kPairs && bits.high != 0) {
            // In front of the first unit there is none.
            const __m512i places =
                _mm512_sub_epi16(_mm512_loadu_si512(kUnitPlaces.data()), _mm512_set1_epi16(1));
            const __m512i previous = _mm512_maskz_permutexvar_epi16(0xFFFFFFFE, places, all);
            made = withPairs(made, units, widened(previous, from != 0), maskOf(bits.high),
                             maskOf(bits.low));
        }
        const std::uint64_t kept = kLasts | _pdep_u64(maskOf(bits.many), kLasts >> 1) |
                                   _pdep_u64(maskOf(bits.three), kLasts >> 2);
        _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(kept, made));
        out += kHalf + countBits(maskOf(bits.many)) + countBits(maskOf(bits.three));
    };
    write(0);
    write(kHalf);
    return out;
}

/// A block that begins with a character; `kPairs` when surrogates and zeros may be in it. False,
/// with nothing done, where they may not, and where half a pair stands alone.
template <bool kPairs>
HWY_INLINE bool encodeBlock(TextCursor& c) {
    const __m512i all = _mm512_loadu_si512(c.in);
    Utf16Bits bits;
    if (!readUtf16Bits<kPairs>(all, bits)) {
        return false;
    }
    if ((bits.three | bits.high) == 0) {
        c.out = encodeShort(all, bits.many, c.out);
        c.in += kBlock;
        return true;
    }
    c.out = encodeLong<kPairs>(all, bits, c.out);
    // Half a pair at the end is left, with its two bytes.
    const std::size_t cutOff = bits.high >> 31;
    c.in += kBlock - 2 * cutOff;
    c.out -= 2 * cutOff;
    return true;
}

}  // namespace borvik::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#endif

#endif
