#include "charset/korean.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/data_buffer.h"
#include "charset/output_room.h"

namespace borvik {
namespace {

constexpr std::uint8_t kEscape = 0x1B;
constexpr std::uint8_t kShiftOut = 0x0E;
constexpr std::uint8_t kShiftIn = 0x0F;
constexpr std::uint8_t kHighBit = 0x80;
constexpr int kBytesPerStep = 64;
constexpr std::string_view kDesignation = "\x1B$)C";

/// Reads the 7-bit form. Writes at most as many bytes as it reads.
struct Decoder {
    bool shifted = false;

    bool operator()(TextCursor& c) {
        while (c.goesOn()) {
            step(c);
        }
        return true;
    }

private:
    void step(TextCursor& c) {
        const std::uint8_t byte = *c.in++;
        if (byte == kEscape) {
            if (c.left() >= 3 && std::memcmp(c.in, kDesignation.data() + 1, 3) == 0) {
                c.in += 3;
                shifted = false;
            }
        } else if (byte == kShiftOut || byte == kShiftIn) {
            shifted = byte == kShiftOut;
        } else if (!shifted) {
            *c.out++ = byte;
            for (int i = 0; i < kBytesPerStep && c.in<c.inEnd&& * c.in> kEscape; ++i) {
                *c.out++ = *c.in++;
            }
        } else if (c.in < c.inEnd) {
            *c.out++ = static_cast<std::uint8_t>(byte + kHighBit);
            *c.out++ = static_cast<std::uint8_t>(*c.in++ + kHighBit);
        }
    }
};

struct Encoder {
    bool shifted = false;

    bool operator()(TextCursor& c) {
        while (c.goesOn()) {
            const std::uint8_t byte = *c.in;
            const bool doubleByte = byte >= kHighBit;
            if (doubleByte && c.left() < 2) {
                ++c.in;
                break;
            }
            if (doubleByte != shifted) {
                *c.out++ = doubleByte ? kShiftOut : kShiftIn;
                shifted = doubleByte;
            }
            if (doubleByte) {
                *c.out++ = static_cast<std::uint8_t>(byte - kHighBit);
                *c.out++ = static_cast<std::uint8_t>(c.in[1] - kHighBit);
                c.in += 2;
            } else {
                copyAscii(c);
            }
        }
        return true;
    }

private:
    static void copyAscii(TextCursor& c) {
        const std::uint8_t* end = c.in + std::min<std::size_t>(c.left(), kBytesPerStep);
        while (c.in < end && *c.in < kHighBit) {
            *c.out++ = *c.in++;
        }
    }
};

}  // namespace

void Korean::iso2022KrToKsc(const void* input, std::size_t length, DataBuffer& out) const {
    appendConverted(input, length, out, length, Decoder{});
}

void Korean::kscToIso2022Kr(const void* input, std::size_t length, DataBuffer& out) const {
    if (length == 0) {
        return;
    }
    out.append(kDesignation);
    appendConverted(input, length, out, length + length / 8, Encoder{});
}

}  // namespace borvik
