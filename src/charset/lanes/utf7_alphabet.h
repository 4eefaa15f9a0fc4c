#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace borvik {

/// The characters that UTF-7 (RFC 2152) writes as they are: the letters, the digits and a few more.
/// The optional ones are not among them.
inline constexpr std::string_view kUtf7Direct =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'(),-./:? \t\r\n";

/// The base64 digits of its coded runs.
inline constexpr std::string_view kUtf7Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The direct characters as a set: that of high nibble h and low nibble l is in it when bit h of
/// row l is set.
constexpr std::array<std::uint8_t, 16> makeUtf7DirectRows() {
    std::array<std::uint8_t, 16> rows{};
    for (const char c : kUtf7Direct) {
        rows[c & 0x0F] = static_cast<std::uint8_t>(rows[c & 0x0F] | 1U << (c >> 4));
    }
    return rows;
}

/// The value of each digit, and `kNoUtf7Digit` for other bytes.
inline constexpr std::uint8_t kNoUtf7Digit = 0xFF;
constexpr std::array<std::uint8_t, 256> makeUtf7Sextets() {
    std::array<std::uint8_t, 256> sextets{};
    sextets.fill(kNoUtf7Digit);
    for (std::size_t i = 0; i < kUtf7Digits.size(); ++i) {
        sextets[static_cast<unsigned char>(kUtf7Digits[i])] = static_cast<std::uint8_t>(i);
    }
    return sextets;
}
inline constexpr std::array<std::uint8_t, 256> kUtf7Sextets = makeUtf7Sextets();

/// A digit of the lowest 6 bits.
constexpr std::uint8_t utf7Digit(std::uint32_t bits) {
    return static_cast<std::uint8_t>(kUtf7Digits[bits & 0x3F]);
}

}  // namespace borvik
