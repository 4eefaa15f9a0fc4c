#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace borvik {

// UTF-16 units stand in byte buffers in host order, and the forms with a byte order of their own
// count on that being little-endian.
static_assert(std::endian::native == std::endian::little);

/// Most UTF-8 bytes that one UTF-16 unit takes.
inline constexpr std::size_t kLongestUtf8Unit = 3;

inline char16_t loadUnit(const std::uint8_t* bytes) {
    char16_t unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return unit;
}

inline std::uint8_t* putUnit(char16_t unit, std::uint8_t* out) {
    std::memcpy(out, &unit, sizeof unit);
    return out + sizeof unit;
}

/// Writes one unit as UTF-8, a surrogate like any other, and U+0000 as nothing. Returns the end of
/// what counts; up to 3 bytes are touched. Without a branch for the short forms, which mix in most
/// scripts.
inline std::uint8_t* putUtf8Unit(char16_t unit, std::uint8_t* out) {
    const unsigned u = unit;
    const unsigned trail = 0x80 | (u & 0x3F);
    if (u < 0x800) {
        const unsigned pair = 0xC0 | u >> 6 | trail << 8;
        const auto bytes = static_cast<std::uint16_t>(u < 0x80 ? u : pair);
        std::memcpy(out, &bytes, sizeof bytes);
        return out + (u != 0) + (u >= 0x80);
    }
    out[0] = static_cast<std::uint8_t>(0xE0 | u >> 12);
    out[1] = static_cast<std::uint8_t>(0x80 | (u >> 6 & 0x3F));
    out[2] = static_cast<std::uint8_t>(trail);
    return out + 3;
}

}  // namespace borvik
