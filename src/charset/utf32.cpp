#include "charset/utf32.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "charset/output_room.h"

namespace borvik {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kFirstTooLarge = 0x200000;

bool isTrail(std::uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

/// Reads one character of 1 to 4 bytes. Returns its length, 0 when it is cut off or ill-formed.
std::size_t readCharacter(const std::uint8_t* in, std::size_t left, std::uint32_t& value) {
    const std::uint8_t first = in[0];
    if (first < 0x80) {
        value = first;
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    std::size_t length = 2;
    if (first >= 0xF0) {
        length = 4;
    } else if (first >= 0xE0) {
        length = 3;
    }
    if (left < length) {
        return 0;
    }
    const std::uint8_t second = in[1];
    if ((first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90) ||
        (first == 0xF4 && second > 0x8F)) {
        return 0;
    }
    value = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isTrail(in[i])) {
            return 0;
        }
        value = value << 6 | (in[i] & 0x3FU);
    }
    return length;
}

std::uint32_t swapBytes(std::uint32_t value) {
    return value << 24 | (value & 0xFF00U) << 8 | (value >> 8 & 0xFF00U) | value >> 24;
}

template <bool kSwapped>
bool toUtf32(std::string_view utf8, DataBuffer& out) {
    return appendConverted(utf8.data(), utf8.size(), out, 4 * utf8.size(), [](TextCursor& c) {
        while (c.goesOn()) {
            std::uint32_t value = 0;
            const std::size_t length = readCharacter(c.in, c.left(), value);
            if (length == 0) {
                c.in = c.inEnd;
                return false;
            }
            const std::uint32_t stored = kSwapped ? swapBytes(value) : value;
            std::memcpy(c.out, &stored, sizeof stored);
            c.out += sizeof stored;
            c.in += length;
        }
        return true;
    });
}

std::uint8_t* putCharacter(std::uint32_t value, std::uint8_t* out) {
    if (value >= kFirstTooLarge) {
        value = kReplacement;
    }
    if (value < 0x80) {
        *out++ = static_cast<std::uint8_t>(value);
        return out;
    }
    int trails = 3;
    if (value < 0x800) {
        trails = 1;
    } else if (value < 0x10000) {
        trails = 2;
    }
    // The lead byte has one high bit a byte of the sequence.
    const unsigned mark = 0xF00U >> (trails + 1) & 0xFFU;
    *out++ = static_cast<std::uint8_t>(mark | value >> (6 * trails));
    for (int i = trails - 1; i >= 0; --i) {
        *out++ = static_cast<std::uint8_t>(0x80 | (value >> (6 * i) & 0x3F));
    }
    return out;
}

}  // namespace

bool utf8ToUtf32Le(std::string_view utf8, DataBuffer& out) {
    return toUtf32<false>(utf8, out);
}

bool utf8ToUtf32Be(std::string_view utf8, DataBuffer& out) {
    return toUtf32<true>(utf8, out);
}

bool utf32ToUtf8(std::string_view utf32, DataBuffer& out) {
    if (utf32.empty()) {
        return true;
    }
    const std::size_t length = utf32.size() & ~std::size_t{3};
    if (length == 0) {
        return false;
    }
    return appendConverted(utf32.data(), length, out, length / 2, [](TextCursor& c) {
        while (c.goesOn()) {
            std::uint32_t value;
            std::memcpy(&value, c.in, sizeof value);
            c.out = putCharacter(value, c.out);
            c.in += sizeof value;
        }
        return true;
    });
}

}  // namespace borvik
