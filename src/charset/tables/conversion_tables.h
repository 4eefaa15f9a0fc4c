#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "charset/tables/table_rows.h"

namespace borvik {

/// The characters of single bytes, indexed by byte. 0 means that the byte has none; entry 0 is
/// always 0, and the byte 0 stands for U+0000. In a table whose bytes under 0x80 are ASCII they
/// stand for themselves.
using UnicodeLookup = std::array<char16_t, 256>;

/// Bytes to UTF-16, compiled for one index a character.
///
/// Memory: 0.6 KB of constant data for a single-byte page; a double-byte one spreads 128 KB in
/// static storage at its first use.
struct DecodeTable {
    bool asciiCompatible = false;
    UnicodeLookup single{};
    /// Double-byte pages only: the unit of the character that begins with the high byte of the
    /// index, when the low byte follows; 0 when there is none. Where the high byte begins no pair,
    /// this is its single character whatever follows.
    std::span<const char16_t> units;
    /// Double-byte pages only: the bytes that begin a pair. That of high nibble h (from 8 up) and
    /// low nibble l does so when bit h - 8 is set in `leadRows[l]`.
    std::array<std::uint8_t, 16> leadRows{};
    /// Single-byte pages only: what turns most bytes of each high nibble into their units when it
    /// is added, as low and high bytes. For the fast lanes.
    std::array<std::uint8_t, 16> shiftLow{};
    std::array<std::uint8_t, 16> shiftHigh{};
    /// The bytes from 0x80 up for which it doesn't, and those without a character, as in
    /// `leadRows`.
    std::array<std::uint8_t, 16> unevenRows{};

    static constexpr std::uint8_t kLowestLead = 0x80;
    static constexpr std::size_t kPairCount = 0x10000;

    bool isMultiByte() const { return !units.empty(); }
    bool isLead(std::uint8_t byte) const {
        return byte >= kLowestLead && (leadRows[byte & 0x0FU] >> (byte >> 4 & 7U) & 1U) != 0;
    }
    /// The unit of a pair; 0 when there is none.
    char16_t pair(std::uint8_t lead, std::uint8_t trail) const {
        return isLead(lead) ? units[static_cast<unsigned>(lead) << 8 | trail] : u'\0';
    }
};

/// UTF-16 to bytes, compiled for one index a unit.
///
/// Memory: of 64 KB for a single-byte page and 128 KB for a double-byte one, in static storage, the
/// parts that hold characters; the rest is never touched.
struct EncodeTable {
    bool asciiCompatible = false;
    /// Single-byte pages only: the byte of each unit, 0 when there is none.
    std::span<const std::uint8_t> bytes;
    /// Double-byte pages only: the bytes of each unit in stream order, from the low byte up; 0 when
    /// there are none. A code of two bytes never ends in a 0 byte.
    std::span<const std::uint16_t> cells;

    /// Units with bytes in the same order.
    struct Stretch {
        char16_t first;
        std::uint16_t count;
        std::uint8_t firstByte;

        friend bool operator==(const Stretch&, const Stretch&) = default;
    };
    /// Single-byte pages only: the longest stretch beyond ASCII. For the fast lanes.
    Stretch stretch{};

    static constexpr std::size_t kUnitCount = 0x10000;

    bool isMultiByte() const { return !cells.empty(); }
    /// The bytes of a unit as in `cells`.
    std::uint16_t cell(char16_t unit) const { return isMultiByte() ? cells[unit] : bytes[unit]; }
};

/// The tables of the library. Each is spread out at its first use, for which nothing is unpacked or
/// allocated, stays until the library is unloaded, and may be read by any number of threads. Null
/// for a page that has no table.
const DecodeTable* decodeTable(std::uint32_t codePage);
const EncodeTable* encodeTable(std::uint32_t codePage);
/// Whether the page has a table; touches none.
bool hasTable(std::uint32_t codePage);

}  // namespace borvik
