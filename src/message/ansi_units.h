#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "charset/ansi_text.h"
#include "charset/unit_scan.h"

namespace tessolt {

/// The 8-bit form of a text below U+0080, which is the same in every ANSI page.
inline std::string NarrowAscii(std::u16string_view ascii) {
    constexpr std::size_t kBlock = 32;
    std::string narrow(ascii.size(), '\0');
    std::size_t at = 0;
    for (; ascii.size() - at >= kBlock; at += kBlock) {
        std::array<char16_t, kBlock> units;
        std::array<char, kBlock> bytes;
        std::memcpy(units.data(), ascii.data() + at, sizeof units);
        for (std::size_t i = 0; i < kBlock; ++i) {
            bytes[i] = static_cast<char>(units[i]);
        }
        std::memcpy(narrow.data() + at, bytes.data(), kBlock);
    }
    for (; at < ascii.size(); ++at) {
        narrow[at] = static_cast<char>(ascii[at]);
    }
    return narrow;
}

/// The text in the ANSI code page. Fields are short and mostly ASCII, which needs no tables.
inline std::string AnsiOf(std::u16string_view text) {
    constexpr char16_t kFirstBeyondAscii = 0x80;
    return borvik::bitsOfUnits(text) < kFirstBeyondAscii ? NarrowAscii(text)
                                                         : borvik::wideToAnsi(text);
}

}  // namespace tessolt
