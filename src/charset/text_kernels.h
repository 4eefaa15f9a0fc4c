#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "charset/conversion_tables.h"
#include "charset/encoding_utf8.h"
#include "charset/text_blocks.h"
#include "charset/utf8_bytes.h"

/// The conversion loops. Each reads from a cursor's input and writes to its output until the input
/// is used up or the output is past its limit, and returns false when it dropped a character that
/// counts as a failure. `Blocks` is `NativeBlocks`, or `PortableBlocks` where the two are held
/// equal.
namespace borvik::kernels {

/// What a loop reads and where it writes.
struct Cursor {
    const std::uint8_t* in;
    const std::uint8_t* inEnd;
    std::uint8_t* out;
    /// No step begins with `out` above this. At least `kStepRoom` bytes are writable behind it.
    const std::uint8_t* outLimit;

    std::size_t left() const { return static_cast<std::size_t>(inEnd - in); }
    bool hasRoom() const { return out <= outLimit; }
    bool goesOn() const { return in < inEnd && hasRoom(); }
};

/// Most bytes that one step of a loop writes: 16 characters of 3 bytes, and what it touches behind.
inline constexpr std::size_t kStepRoom = 64;

/// Characters between two looks for a run of ASCII.
inline constexpr int kCharactersPerStep = 16;

/// A single-byte page to UTF-16.
template <typename Blocks>
bool singleByteToUnicode(const DecodeTable& table, Cursor& c) {
    bool complete = true;
    while (c.goesOn()) {
        if (table.asciiCompatible && c.left() >= Blocks::kBlock &&
            Blocks::widenAscii(c.in, c.out)) {
            c.in += Blocks::kBlock;
            c.out += 2 * Blocks::kBlock;
            continue;
        }
        const std::uint8_t* stepEnd = c.in + std::min<std::size_t>(c.left(), Blocks::kBlock);
        std::uint8_t* out = c.out;
        for (const std::uint8_t* in = c.in; in < stepEnd; ++in) {
            const char16_t unit = table.single[*in];
            const bool counts = unit != 0 || *in == 0;
            putUnit(unit, out);
            out += counts ? 2 : 0;
            complete = complete && counts;
        }
        c.in = stepEnd;
        c.out = out;
    }
    return complete;
}

/// A single-byte page to UTF-8.
template <typename Blocks>
bool singleByteToUtf8(const DecodeTable& table, Cursor& c) {
    std::uint32_t seen = 0;
    const std::uint32_t* utf8 = table.utf8.data();
    while (c.goesOn()) {
        if (table.asciiCompatible && c.left() >= Blocks::kBlock && Blocks::copyAscii(c.in, c.out)) {
            c.in += Blocks::kBlock;
            c.out += Blocks::kBlock;
            continue;
        }
        const std::uint8_t* stepEnd = c.in + std::min<std::size_t>(c.left(), Blocks::kBlock);
        std::uint8_t* out = c.out;
        for (const std::uint8_t* in = c.in; in < stepEnd; ++in) {
            const std::uint32_t packed = utf8[*in];
            std::memcpy(out, &packed, sizeof packed);
            out += packed >> DecodeTable::kUtf8CountShift & 3U;
            seen |= packed;
        }
        c.in = stepEnd;
        c.out = out;
    }
    return (seen & DecodeTable::kNoCharacter) == 0;
}

/// A double-byte page to UTF-16. A pair comes before a single byte; a byte that begins nothing is
/// dropped by itself, and the next one is looked at anew.
template <typename Blocks>
bool multiByteToUnicode(const DecodeTable& table, Cursor& c) {
    bool complete = true;
    while (c.goesOn()) {
        if (c.left() >= Blocks::kBlock && Blocks::widenAscii(c.in, c.out)) {
            c.in += Blocks::kBlock;
            c.out += 2 * Blocks::kBlock;
            continue;
        }
        const std::uint8_t* in = c.in;
        std::uint8_t* out = c.out;
        for (int i = 0; i < kCharactersPerStep && in < c.inEnd; ++i) {
            const std::uint8_t lead = *in;
            if (lead >= DecodeTable::kLowestLead && c.inEnd - in >= 2) {
                if (const char16_t unit = table.pair(lead, in[1])) {
                    out = putUnit(unit, out);
                    in += 2;
                    continue;
                }
            }
            const char16_t unit = table.single[lead];
            ++in;
            if (unit == 0 && lead != 0) {
                complete = false;
            } else {
                out = putUnit(unit, out);
            }
        }
        c.in = in;
        c.out = out;
    }
    return complete;
}

/// UTF-16 of a whole number of units to a page.
template <typename Blocks>
bool unicodeToMultiByte(const EncodeTable& table, Cursor& c) {
    bool complete = true;
    const std::uint16_t* cells = table.cells.data();
    while (c.goesOn()) {
        if (table.asciiCompatible && c.left() >= 2 * Blocks::kBlock &&
            Blocks::narrowAscii(c.in, c.out)) {
            c.in += 2 * Blocks::kBlock;
            c.out += Blocks::kBlock;
            continue;
        }
        const std::uint8_t* stepEnd = c.in + std::min<std::size_t>(c.left(), 2 * Blocks::kBlock);
        std::uint8_t* out = c.out;
        for (const std::uint8_t* in = c.in; in < stepEnd; in += 2) {
            const char16_t unit = loadUnit(in);
            const std::uint16_t cell = cells[table.blockStart[unit >> 8] + (unit & 0xFFU)];
            std::memcpy(out, &cell, sizeof cell);
            if (cell == 0) [[unlikely]] {
                // U+0000 is a 0 byte in every page.
                out += unit == 0 ? 1 : 0;
                complete = complete && unit == 0;
            } else {
                out += cell > 0xFF ? 2 : 1;
            }
        }
        c.in = stepEnd;
        c.out = out;
    }
    return complete;
}

/// UTF-16 of a whole number of units to UTF-8, each unit by itself. U+0000 is left out.
template <typename Blocks>
bool unicodeToUtf8(Cursor& c) {
    while (c.goesOn()) {
        if (c.left() >= 2 * Blocks::kBlock && Blocks::narrowAscii(c.in, c.out)) {
            c.in += 2 * Blocks::kBlock;
            c.out += Blocks::kBlock;
            continue;
        }
        const std::uint8_t* stepEnd = c.in + std::min<std::size_t>(c.left(), 2 * Blocks::kBlock);
        std::uint8_t* out = c.out;
        for (const std::uint8_t* in = c.in; in < stepEnd; in += 2) {
            out = putUtf8Unit(loadUnit(in), out);
        }
        c.in = stepEnd;
        c.out = out;
    }
    return true;
}

/// UTF-8 to UTF-16. Each byte that begins no sequence of 1 to 3 bytes is dropped without a report.
template <typename Blocks>
bool utf8ToUnicode(Cursor& c) {
    while (c.goesOn()) {
        if (c.left() >= Blocks::kBlock + 2) {
            if (Blocks::widenAscii(c.in, c.out)) {
                c.in += Blocks::kBlock;
                c.out += 2 * Blocks::kBlock;
                continue;
            }
            if (const unsigned length = Blocks::decodeUtf8(c.in, c.out)) {
                c.in += length;
                continue;
            }
        }
        for (int i = 0; i < kCharactersPerStep && c.in < c.inEnd; ++i) {
            char16_t unit = 0;
            const auto remaining = static_cast<std::uint32_t>(std::min<std::size_t>(c.left(), 3));
            const std::int32_t length = EncodingUtf8::readSequence(c.in, remaining, unit);
            if (length < 0) {
                ++c.in;
                continue;
            }
            c.out = putUnit(unit, c.out);
            c.in += length;
        }
    }
    return true;
}

/// Runs `first` into `second` through a small buffer, so that the units between the two never leave
/// the cache. `first` writes UTF-16 and `second` at most 3 bytes a unit.
template <typename First, typename Second>
bool pipe(Cursor& c, First first, Second second) {
    constexpr std::size_t kUnits = 2048;
    constexpr std::size_t kTouchedUnits = kStepRoom / sizeof(char16_t);
    constexpr std::size_t kFewestUnits = kTouchedUnits + 16;
    alignas(16) std::array<std::uint8_t, 2 * (kUnits + kTouchedUnits)> units;
    bool complete = true;
    while (c.goesOn()) {
        const auto room = static_cast<std::size_t>(c.outLimit - c.out) / kLongestUtf8Unit;
        if (room < kFewestUnits) {
            break;
        }
        const std::size_t limit = std::min(kUnits, room - kTouchedUnits);
        Cursor decode{c.in, c.inEnd, units.data(), units.data() + 2 * limit};
        complete = first(decode) && complete;
        c.in = decode.in;
        Cursor encode{units.data(), decode.out, c.out, c.outLimit};
        complete = second(encode) && complete;
        c.out = encode.out;
    }
    return complete;
}

}  // namespace borvik::kernels
