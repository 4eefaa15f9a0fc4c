#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace borvik {

/// Value of a hexadecimal digit in either case, -1 for any other byte.
constexpr int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const auto letter = static_cast<char>(c | 0x20);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/// The two upper-case digits of every byte, at twice its value.
inline constexpr std::array<char, 512> kHexPairs = [] {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::array<char, 512> pairs{};
    for (std::size_t i = 0; i < pairs.size() / 2; ++i) {
        pairs[2 * i] = kDigits[i >> 4];
        pairs[2 * i + 1] = kDigits[i & 15];
    }
    return pairs;
}();

}  // namespace borvik
