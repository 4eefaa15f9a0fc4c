#include "charset/mac_arabic.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace borvik {
namespace {

struct ByteRange {
    std::uint8_t first;
    std::uint8_t last;
};

constexpr std::uint8_t kHighBit = 0x80;

/// Bytes that lose their high bit: digits, punctuation and brackets of right-to-left text.
constexpr ByteRange kTwinsOfAscii[] = {
    {0xB0, 0xB9}, {0xA0, 0xA4}, {0xA6, 0xAB}, {0xAD, 0xAF},
    {0xBA, 0xBA}, {0xBC, 0xBE}, {0xDB, 0xDF}, {0xFB, 0xFD},
};
constexpr std::uint8_t kNoBreakSpace = 0x81;
constexpr std::uint8_t kRemappedNoBreakSpace = 0xA0;

/// Bytes of the runs that are reversed.
constexpr ByteRange kReversed[] = {
    {0x81, 0x81}, {0x8C, 0x8C}, {0x93, 0x93}, {0x98, 0x98}, {0x9B, 0x9B}, {0xA0, 0xA4},
    {0xA6, 0xAB}, {0xAD, 0xBA}, {0xBC, 0xBE}, {0xC0, 0xC0}, {0xDB, 0xDF}, {0xFB, 0xFD},
};

struct Classes {
    std::array<std::uint8_t, 256> remapped{};
    std::array<bool, 256> reversed{};
};

constexpr Classes makeClasses() {
    Classes classes;
    for (unsigned byte = 0; byte < 256; ++byte) {
        classes.remapped[byte] = static_cast<std::uint8_t>(byte);
    }
    for (const ByteRange range : kTwinsOfAscii) {
        for (unsigned byte = range.first; byte <= range.last; ++byte) {
            classes.remapped[byte] = static_cast<std::uint8_t>(byte - kHighBit);
        }
    }
    classes.remapped[kNoBreakSpace] = kRemappedNoBreakSpace;
    for (const ByteRange range : kReversed) {
        for (unsigned byte = range.first; byte <= range.last; ++byte) {
            classes.reversed[byte] = true;
        }
    }
    return classes;
}

constexpr Classes kClasses = makeClasses();

}  // namespace

std::string prepareMacArabic(std::string_view text) {
    std::string out(text);
    const auto isReversed = [](char c) { return kClasses.reversed[static_cast<std::uint8_t>(c)]; };
    for (auto run = out.begin(); run != out.end();) {
        const auto begin = std::find_if(run, out.end(), isReversed);
        run = std::find_if_not(begin, out.end(), isReversed);
        std::reverse(begin, run);
    }
    for (char& c : out) {
        c = static_cast<char>(kClasses.remapped[static_cast<std::uint8_t>(c)]);
    }
    return out;
}

}  // namespace borvik
