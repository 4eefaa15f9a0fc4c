/// Looks at UTF-16 text in blocks of known size, which become vectors.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace borvik {

/// The place of the first zero unit, the length when there is none.
inline std::size_t findZeroUnit(std::u16string_view text) {
    constexpr std::size_t kBlock = 32;
    std::size_t at = 0;
    for (; text.size() - at >= kBlock; at += kBlock) {
        std::array<char16_t, kBlock> block;
        std::memcpy(block.data(), text.data() + at, sizeof block);
        std::uint16_t zeros = 0;
        for (const char16_t unit : block) {
            zeros |= static_cast<std::uint16_t>(unit == 0 ? 1 : 0);
        }
        if (zeros != 0) {
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
    constexpr std::size_t kBlock = 32;
    std::array<char16_t, kBlock> bits = {};
    std::size_t at = 0;
    for (; text.size() - at >= kBlock; at += kBlock) {
        std::array<char16_t, kBlock> block;
        std::memcpy(block.data(), text.data() + at, sizeof block);
        for (std::size_t i = 0; i < kBlock; ++i) {
            bits[i] |= block[i];
        }
    }
    char16_t all = 0;
    for (const char16_t unit : bits) {
        all |= unit;
    }
    for (; at < text.size(); ++at) {
        all |= text[at];
    }
    return all;
}

}  // namespace borvik
