#include "charset/utf_pairs.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "charset/lanes/text_cursor.h"
#include "charset/lanes/text_runs.h"
#include "charset/lanes/utf8_bytes.h"

namespace borvik {
namespace {

constexpr char16_t kReplacement = 0xFFFD;
constexpr char16_t kFirstHighSurrogate = 0xD800;
constexpr char16_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr std::size_t kUnitSize = sizeof(char16_t);
constexpr std::size_t kPairBytes = 4;

/// Characters that a loop takes before it tries the fast lanes again.
constexpr std::size_t kStep = 16;
constexpr std::size_t kLongStep = 48;
/// The output is filled by way of a buffer where it has no more room than this: lanes write beyond
/// what they convert.
constexpr std::size_t kBuffered = 1024;

bool isSurrogate(char16_t unit) {
    return (unit & 0xF800) == kFirstHighSurrogate;
}

/// Reads one character of well-formed UTF-8, or the longest part of one that could have become it.
/// Returns the bytes read; `character` is U+FFFD for an ill-formed part.
std::size_t readUtf8(const std::uint8_t* in, std::size_t left, char32_t& character) {
    character = kReplacement;
    const std::uint8_t first = in[0];
    if (first < 0x80) {
        character = first;
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 1;
    }
    std::size_t length = 2;
    std::uint8_t lowest = 0x80;
    std::uint8_t highest = 0xBF;
    if (first >= 0xF0) {
        length = 4;
        lowest = first == 0xF0 ? 0x90 : lowest;
        highest = first == 0xF4 ? 0x8F : highest;
    } else if (first >= 0xE0) {
        length = 3;
        lowest = first == 0xE0 ? 0xA0 : lowest;
        highest = first == 0xED ? 0x9F : highest;
    }
    char32_t value = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= left || in[i] < lowest || in[i] > highest) {
            return i;
        }
        value = value << 6 | (in[i] & 0x3FU);
        lowest = 0x80;
        highest = 0xBF;
    }
    character = value;
    return length;
}

/// Reads the character that begins at `in`, a lone half of a pair as U+FFFD.
char32_t readUtf16(const std::uint8_t*& in, const std::uint8_t* end) {
    const char16_t unit = loadUnit(in);
    in += kUnitSize;
    if (!isSurrogate(unit)) {
        return unit;
    }
    const char16_t next = in < end ? loadUnit(in) : u'\0';
    if (unit >= kFirstLowSurrogate || (next & 0xFC00) != kFirstLowSurrogate) {
        return kReplacement;
    }
    in += kUnitSize;
    return kFirstSupplementary + ((unit & 0x3FFU) << 10 | (next & 0x3FFU));
}

/// One character, or U+FFFD for an ill-formed part. False when it doesn't fit in front of `end`.
bool decodeOne(TextCursor& c, const std::uint8_t* end) {
    if (*c.in < 0x80 && c.out + kUnitSize <= end) {
        c.out = putUnit(*c.in++, c.out);
        return true;
    }
    char32_t character = 0;
    const std::size_t length = readUtf8(c.in, c.left(), character);
    const std::size_t wanted = character < kFirstSupplementary ? kUnitSize : kPairBytes;
    if (static_cast<std::size_t>(end - c.out) < wanted) {
        return false;
    }
    c.in += length;
    if (character < kFirstSupplementary) {
        c.out = putUnit(static_cast<char16_t>(character), c.out);
        return true;
    }
    const char32_t offset = character - kFirstSupplementary;
    c.out = putUnit(static_cast<char16_t>(kFirstHighSurrogate + (offset >> 10)), c.out);
    c.out = putUnit(static_cast<char16_t>(kFirstLowSurrogate + (offset & 0x3FF)), c.out);
    return true;
}

std::size_t utf8Size(char32_t character) {
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < kFirstSupplementary ? 3 : 4;
}

bool encodeOne(TextCursor& c, const std::uint8_t* end) {
    if (const char16_t unit = loadUnit(c.in); unit < 0x80 && c.out < end) {
        *c.out++ = static_cast<std::uint8_t>(unit);
        c.in += kUnitSize;
        return true;
    }
    const std::uint8_t* next = c.in;
    const char32_t character = readUtf16(next, c.inEnd);
    if (static_cast<std::size_t>(end - c.out) < utf8Size(character)) {
        return false;
    }
    c.in = next;
    if (character < kFirstSupplementary) {
        c.out = putUtf8Unit(static_cast<char16_t>(character), c.out);
    } else {
        *c.out++ = static_cast<std::uint8_t>(0xF0 | character >> 18);
        *c.out++ = static_cast<std::uint8_t>(0x80 | (character >> 12 & 0x3F));
        *c.out++ = static_cast<std::uint8_t>(0x80 | (character >> 6 & 0x3F));
        *c.out++ = static_cast<std::uint8_t>(0x80 | (character & 0x3F));
    }
    return true;
}

void decodeRun(TextCursor& c) {
    nativeRuns().utf8ToPairs(c);
}

void encodeRun(TextCursor& c) {
    nativeRuns().pairsToUtf8(c);
}

/// Converts until the output is past `c.outLimit`, which has room for a step and `kStep` characters
/// behind it, or the input is used up.
template <auto kRun, auto kOne>
void convertSteps(TextCursor& c) {
    const std::uint8_t* const end = c.outLimit + TextCursor::kStepRoom;
    while (c.goesOn()) {
        const std::uint8_t* const begin = c.in;
        kRun(c);
        // Where a lane finds nothing to do, it won't a few characters further either.
        const std::size_t steps = c.in == begin ? kLongStep : kStep;
        for (std::size_t i = 0; i < steps && c.in < c.inEnd; ++i) {
            if (!kOne(c, end)) {
                return;
            }
        }
    }
}

/// Converts all of the input that fits in front of `end`, in whole characters.
template <auto kRun, auto kOne>
void convertInto(TextCursor& c, const std::uint8_t* end) {
    if (static_cast<std::size_t>(end - c.out) > kBuffered) {
        c.outLimit = end - TextCursor::kStepRoom;
        convertSteps<kRun, kOne>(c);
    }
    if (c.in == c.inEnd) {
        return;
    }
    std::array<std::uint8_t, kBuffered + TextCursor::kStepRoom> buffer;
    TextCursor rest = {c.in, c.inEnd, buffer.data(), buffer.data() + kBuffered};
    convertSteps<kRun, kOne>(rest);
    const auto size = static_cast<std::size_t>(rest.out - buffer.data());
    if (size <= static_cast<std::size_t>(end - c.out)) {
        std::memcpy(c.out, buffer.data(), size);
        c.out += size;
        c.in = rest.in;
    }
    while (c.in < c.inEnd && kOne(c, end)) {
    }
}

TextCursor cursorOf(const void* in, std::size_t size, void* out) {
    const auto* bytes = static_cast<const std::uint8_t*>(in);
    return {bytes, bytes + size, static_cast<std::uint8_t*>(out), nullptr};
}

}  // namespace

std::size_t takeUtf8(std::string_view& utf8, char16_t* units, std::size_t room) {
    TextCursor c = cursorOf(utf8.data(), utf8.size(), units);
    const std::uint8_t* const begin = c.out;
    convertInto<decodeRun, decodeOne>(c, begin + room * kUnitSize);
    utf8.remove_prefix(utf8.size() - c.left());
    return static_cast<std::size_t>(c.out - begin) / kUnitSize;
}

std::size_t takeUtf16(std::u16string_view& units, char* utf8, std::size_t room) {
    TextCursor c = cursorOf(units.data(), units.size() * kUnitSize, utf8);
    const std::uint8_t* const begin = c.out;
    convertInto<encodeRun, encodeOne>(c, begin + room);
    units.remove_prefix(units.size() - c.left() / kUnitSize);
    return static_cast<std::size_t>(c.out - begin);
}

std::size_t wellFormedUtf16Length(std::string_view utf8) {
    return nativeRuns().unitsOfUtf8(reinterpret_cast<const std::uint8_t*>(utf8.data()),
                                    utf8.size());
}

std::size_t utf16Length(std::string_view utf8) {
    constexpr std::size_t kPiece = 4096;
    std::array<char16_t, kPiece> units;
    std::size_t length = 0;
    while (!utf8.empty()) {
        length += takeUtf8(utf8, units.data(), units.size());
    }
    return length;
}

std::size_t utf8Length(std::u16string_view units) {
    return nativeRuns().utf8BytesOfPairs(reinterpret_cast<const std::uint8_t*>(units.data()),
                                         units.size());
}

}  // namespace borvik
