#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace borvik {

/// The steps of the conversion loops that take 16 characters at a time, in portable form.
///
/// The ASCII steps read a block, and when it holds nothing but 0x01 to 0x7F write it in the other
/// form and return true. U+0000 is left to the plain loops: where it goes depends on the
/// conversion.
struct PortableBlocks {
    static constexpr std::size_t kBlock = 16;

    /// 16 bytes to 16 bytes.
    static bool copyAscii(const std::uint8_t* in, std::uint8_t* out) {
        std::uint64_t words[2];
        std::memcpy(words, in, sizeof words);
        if (!isPlain(words[0]) || !isPlain(words[1])) {
            return false;
        }
        std::memcpy(out, words, sizeof words);
        return true;
    }

    /// 16 bytes to 16 units.
    static bool widenAscii(const std::uint8_t* in, std::uint8_t* out) {
        std::uint64_t words[2];
        std::memcpy(words, in, sizeof words);
        if (!isPlain(words[0]) || !isPlain(words[1])) {
            return false;
        }
        for (std::size_t i = 0; i < kBlock; ++i) {
            const char16_t unit = in[i];
            std::memcpy(out + 2 * i, &unit, sizeof unit);
        }
        return true;
    }

    /// 16 units to 16 bytes.
    static bool narrowAscii(const std::uint8_t* in, std::uint8_t* out) {
        char16_t units[kBlock];
        std::memcpy(units, in, sizeof units);
        unsigned outside = 0;
        for (const char16_t unit : units) {
            outside |= (unit - 1U) >= 0x7F ? 1U : 0U;
        }
        if (outside != 0) {
            return false;
        }
        for (std::size_t i = 0; i < kBlock; ++i) {
            out[i] = static_cast<std::uint8_t>(units[i]);
        }
        return true;
    }

    /// Reads whole characters of well-formed UTF-8 within 16 bytes. Returns the bytes read and
    /// moves `out` behind the units (of which up to 16 places are touched), or 0 when the plain
    /// loop must look at the block. 18 bytes are read. There is no such step in plain code.
    static unsigned decodeUtf8(const std::uint8_t*, std::uint8_t*&) { return 0; }

private:
    static constexpr std::uint64_t kLowBits = 0x0101010101010101;
    static constexpr std::uint64_t kHighBits = 0x8080808080808080;

    /// No byte is 0 or has its high bit set.
    static bool isPlain(std::uint64_t word) {
        return ((word | (word - kLowBits)) & kHighBits) == 0;
    }
};

#if defined(__SSE2__)

/// The same steps with the vector instructions that every 64-bit x86 processor has.
struct Sse2Blocks {
    static constexpr std::size_t kBlock = 16;

    static bool copyAscii(const std::uint8_t* in, std::uint8_t* out) {
        const __m128i bytes = load(in);
        if (!isPlain(bytes)) {
            return false;
        }
        store(out, bytes);
        return true;
    }

    static bool widenAscii(const std::uint8_t* in, std::uint8_t* out) {
        const __m128i bytes = load(in);
        if (!isPlain(bytes)) {
            return false;
        }
        store(out, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
        store(out + 16, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
        return true;
    }

    static bool narrowAscii(const std::uint8_t* in, std::uint8_t* out) {
        // Saturating makes 0 of units over 0x7FFF and 0xFF of those over 0xFF: neither is plain.
        const __m128i bytes = _mm_packus_epi16(load(in), load(in + 16));
        if (!isPlain(bytes)) {
            return false;
        }
        store(out, bytes);
        return true;
    }

    static unsigned decodeUtf8(const std::uint8_t* in, std::uint8_t*& out) {
        const __m128i b0 = load(in);
        const __m128i b1 = load(in + 1);
        const __m128i b2 = load(in + 2);
        const __m128i trail = _mm_cmplt_epi8(b0, bytes(0xC0));
        const __m128i lead3 = atLeast(b0, 0xE0);
        const unsigned trails = mask(trail);
        const unsigned leads = mask(atLeast(b0, 0xC0));
        const unsigned threes = mask(lead3);
        // A lead byte that is never valid, or a character without just the trail bytes it wants.
        const __m128i overlong = _mm_or_si128(
            _mm_cmpeq_epi8(_mm_and_si128(b0, bytes(0xFE)), bytes(0xC0)),
            _mm_and_si128(_mm_cmpeq_epi8(b0, bytes(0xE0)), _mm_cmplt_epi8(b1, bytes(0xA0))));
        const unsigned bad = mask(_mm_or_si128(overlong, atLeast(b0, 0xF0)));
        const unsigned wanted = (leads << 1 | threes << 2) & 0xFFFF;
        if (bad != 0 || trails != wanted) {
            return 0;
        }
        unsigned length = kBlock;
        if ((leads & 0x8000) != 0) {
            length = 15;
        } else if ((threes & 0x4000) != 0) {
            length = 14;
        }
        alignas(16) std::uint8_t units[2 * kBlock];
        const __m128i zero = _mm_setzero_si128();
        const __m128i lead = atLeast(b0, 0xC0);
        store(units, unitsOf(_mm_unpacklo_epi8(b0, zero), _mm_unpacklo_epi8(b1, zero),
                             _mm_unpacklo_epi8(b2, zero), _mm_unpacklo_epi8(lead, lead),
                             _mm_unpacklo_epi8(lead3, lead3)));
        store(units + 16, unitsOf(_mm_unpackhi_epi8(b0, zero), _mm_unpackhi_epi8(b1, zero),
                                  _mm_unpackhi_epi8(b2, zero), _mm_unpackhi_epi8(lead, lead),
                                  _mm_unpackhi_epi8(lead3, lead3)));
        const unsigned starts = ~trails;
        std::uint8_t* to = out;
        for (unsigned i = 0; i < kBlock; ++i) {
            std::memcpy(to, units + 2 * i, 2);
            to += (starts >> i & 1U) * 2;
        }
        // What began behind `length` is read again with the next block.
        out = to - 2 * (length < kBlock ? 1 : 0);
        return length;
    }

private:
    static __m128i load(const std::uint8_t* in) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    }
    static void store(std::uint8_t* out, __m128i value) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), value);
    }
    static __m128i bytes(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
    static unsigned mask(__m128i value) { return static_cast<unsigned>(_mm_movemask_epi8(value)); }
    /// 0x01 to 0x7F throughout: the other bytes are not above 0 as signed numbers.
    static bool isPlain(__m128i value) {
        return mask(_mm_cmpgt_epi8(value, _mm_setzero_si128())) == 0xFFFF;
    }
    /// Bytes from `low` (at least 0x80) up, compared unsigned.
    static __m128i atLeast(__m128i value, int low) {
        return _mm_cmpeq_epi8(_mm_max_epu8(value, bytes(low)), value);
    }
    /// 8 units from the bytes at, one behind and two behind each place; garbage at trail bytes.
    static __m128i unitsOf(__m128i first, __m128i second, __m128i third, __m128i lead,
                           __m128i lead3) {
        const __m128i low6 = _mm_set1_epi16(0x3F);
        second = _mm_and_si128(second, low6);
        third = _mm_and_si128(third, low6);
        const __m128i two =
            _mm_or_si128(_mm_slli_epi16(_mm_and_si128(first, _mm_set1_epi16(0x1F)), 6), second);
        // Shifting drops the high bits of the lead byte.
        const __m128i three =
            _mm_or_si128(_mm_slli_epi16(first, 12), _mm_or_si128(_mm_slli_epi16(second, 6), third));
        const __m128i one = _mm_andnot_si128(lead, first);
        const __m128i pair = _mm_and_si128(_mm_andnot_si128(lead3, lead), two);
        return _mm_or_si128(_mm_or_si128(one, pair), _mm_and_si128(lead3, three));
    }
};

using NativeBlocks = Sse2Blocks;

#else

using NativeBlocks = PortableBlocks;

#endif

}  // namespace borvik
