#include "foundation/base64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <string>
#include <string_view>

namespace tessolt {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kForeign = 0xFE;
constexpr std::uint8_t kPadding = 0xFF;
constexpr std::uint8_t kHighBit = 0x80;
constexpr std::uint8_t kSextet = 0x3F;

/// The value of each byte, with or without its high bit.
constexpr std::array<std::uint8_t, 256> makeDecodeTable() {
    std::array<std::uint8_t, 256> table{};
    table.fill(kForeign);
    for (std::size_t value = 0; value < kAlphabet.size(); ++value) {
        const auto c = static_cast<std::uint8_t>(kAlphabet[value]);
        table[c] = table[c | kHighBit] = static_cast<std::uint8_t>(value);
    }
    table['='] = table['=' | kHighBit] = kPadding;
    return table;
}
constexpr auto kDecodeTable = makeDecodeTable();

bool isSkipped(char c) {
    return c == ' ' || (c >= 7 && c <= 13);
}

std::string encoded(const std::uint8_t* data, std::size_t length) {
    std::string result;
    result.reserve((length + 2) / 3 * 4);
    for (std::size_t i = 0; i < length; i += 3) {
        const std::size_t count = std::min<std::size_t>(length - i, 3);
        const std::uint32_t group =
            data[i] << 16 | (count > 1 ? data[i + 1] << 8 : 0) | (count > 2 ? data[i + 2] : 0);
        result.push_back(kAlphabet[group >> 18]);
        result.push_back(kAlphabet[group >> 12 & kSextet]);
        result.push_back(count > 1 ? kAlphabet[group >> 6 & kSextet] : '=');
        result.push_back(count > 2 ? kAlphabet[group & kSextet] : '=');
    }
    return result;
}

/// Appends the bytes of one group of `count` characters, the missing ones 0.
void decodeGroup(const std::uint8_t (&group)[4], std::size_t count, std::string& result) {
    std::uint8_t value[4];
    std::size_t used = count;
    for (std::size_t i = 0; i < 4; ++i) {
        value[i] = i < count ? kDecodeTable[group[i]] : 0;
    }
    if (value[2] == kPadding) {
        value[2] = 0;
        used = count == 4 ? 3 : used;
    }
    if (value[3] == kPadding) {
        value[3] = 0;
        used -= count == 4 ? 1 : 0;
    }
    if (count < 4) {
        // In a rest, padding is nothing but zero bits wherever it stands.
        for (std::uint8_t& v : value) {
            v = v == kPadding ? 0 : v;
        }
    }
    for (std::uint8_t& v : value) {
        v &= kSextet;
    }
    result.push_back(static_cast<char>(value[0] << 2 | value[1] >> 4));
    if (used > 2) {
        result.push_back(static_cast<char>(value[1] << 4 | value[2] >> 2));
    }
    if (used > 3) {
        result.push_back(static_cast<char>(value[2] << 6 | value[3]));
    }
}

std::string decoded(std::string_view text) {
    std::string result;
    result.reserve(text.size() / 4 * 3 + 3);
    std::uint8_t group[4] = {};
    std::size_t filled = 0;
    for (const char c : text) {
        if (isSkipped(c)) {
            continue;
        }
        group[filled++] = static_cast<std::uint8_t>(c);
        if (filled == 4) {
            decodeGroup(group, filled, result);
            filled = 0;
        }
    }
    if (filled > 0) {
        decodeGroup(group, filled, result);
    }
    return result;
}

}  // namespace

std::int32_t CZncBase64::Encode(const void* data, std::uint32_t length, CZncString& result) const {
    try {
        result.Assign(encoded(static_cast<const std::uint8_t*>(data), length));
        return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

std::int32_t CZncBase64::EncodeString(CZncString& text) const {
    return Encode(text.GetBuffer(), text.GetLength(), text);
}

std::int32_t CZncBase64::Decode(std::uint8_t* dest, std::uint32_t& length,
                                const CZncString& text) const {
    try {
        const std::string bytes = decoded(text.View());
        if (dest) {
            std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), length), dest);
        }
        length = static_cast<std::uint32_t>(bytes.size());
        return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

std::int32_t CZncBase64::DecodeString(CZncString& text) const {
    try {
        text.Assign(decoded(text.View()));
        return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

}  // namespace tessolt
