/// Looks at UTF-16 text in blocks of known size, which become vectors.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace borvik {

/// Units of a block, and of a word.
inline constexpr std::size_t kScanBlock = 32;
inline constexpr std::size_t kScanWord = sizeof(std::uint64_t) / sizeof(char16_t);

/// Whether one of four units is zero.
inline bool hasZeroUnit(std::uint64_t word) {
    constexpr std::uint64_t kOnes = 0x0001000100010001;
    constexpr std::uint64_t kTops = 0x8000800080008000;
    return ((word - kOnes) & ~word & kTops) != 0;
}

/// Whether one of the units of a block is zero.
inline bool blockHasZeroUnit(const char16_t* block) {
#if defined(__SSE2__)
    const auto zeros = [block](std::size_t at) {
        return _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + at)),
                               _mm_setzero_si128());
    };
    return _mm_movemask_epi8(
               _mm_or_si128(_mm_or_si128(zeros(0), zeros(2 * kScanWord)),
                            _mm_or_si128(zeros(4 * kScanWord), zeros(6 * kScanWord)))) != 0;
#else
    std::array<char16_t, kScanBlock> units;
    std::memcpy(units.data(), block, sizeof units);
    std::uint16_t zeros = 0;
    for (const char16_t unit : units) {
        zeros |= static_cast<std::uint16_t>(unit == 0 ? 1 : 0);
    }
    return zeros != 0;
#endif
}

/// The place of the first zero unit, the length when there is none.
inline std::size_t findZeroUnit(std::u16string_view text) {
    std::size_t at = 0;
    while (text.size() - at >= kScanBlock && !blockHasZeroUnit(text.data() + at)) {
        at += kScanBlock;
    }
    for (std::uint64_t word = 0; text.size() - at >= kScanWord; at += kScanWord) {
        std::memcpy(&word, text.data() + at, sizeof word);
        if (hasZeroUnit(word)) {
            break;
        }
    }
    while (at < text.size() && text[at] != 0) {
        ++at;
    }
    return at;
}

/// The bits of all units together, which reach as far as the largest of them.
inline char16_t bitsOfUnits(std::u16string_view text) {
    std::uint64_t bits = 0;
    std::size_t at = 0;
    for (; text.size() - at >= kScanBlock; at += kScanBlock) {
        std::array<std::uint64_t, kScanBlock / kScanWord> words;
        std::memcpy(words.data(), text.data() + at, sizeof words);
        bits |=
            words[0] | words[1] | words[2] | words[3] | words[4] | words[5] | words[6] | words[7];
    }
    for (; text.size() - at >= kScanWord; at += kScanWord) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, sizeof word);
        bits |= word;
    }
    constexpr unsigned kUnitBits = 16;
    bits |= bits >> (2 * kUnitBits);
    bits |= bits >> kUnitBits;
    auto all = static_cast<char16_t>(bits);
    for (; at < text.size(); ++at) {
        all |= text[at];
    }
    return all;
}

}  // namespace borvik
