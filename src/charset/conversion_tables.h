#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "charset/table_rows.h"

namespace borvik {

/// The characters of single bytes, indexed by byte. 0 means that the byte has none; entry 0 is
/// always 0, and the byte 0 stands for U+0000. In a table whose bytes under 0x80 are ASCII they
/// stand for themselves.
using UnicodeLookup = std::array<char16_t, 256>;

/// Bytes to UTF-16, compiled for one index a character.
///
/// Memory: 1.5 KB for a single-byte page, 64.5 KB for a double-byte one.
struct DecodeTable {
    bool asciiCompatible = false;
    UnicodeLookup single{};
    /// Single-byte pages only: the UTF-8 bytes of each byte in stream order, from the low byte up.
    /// The top byte holds their number, and `kNoCharacter` for a byte that has no character. Byte 0
    /// gives no bytes at all, since U+0000 is left out of UTF-8.
    std::vector<std::uint32_t> utf8;
    /// Double-byte pages only: the unit of the pair (lead, trail) at (lead - 0x80) * 256 + trail, 0
    /// when there is none.
    std::vector<char16_t> pairs;

    static constexpr unsigned kLowestLead = 0x80;
    static constexpr std::uint32_t kNoCharacter = 0x80000000;
    static constexpr unsigned kUtf8CountShift = 24;

    bool isMultiByte() const { return !pairs.empty(); }
    /// The unit of a pair; 0 when there is none.
    char16_t pair(std::uint8_t lead, std::uint8_t trail) const {
        return lead < kLowestLead ? char16_t{0} : pairs[(lead - kLowestLead) << 8 | trail];
    }
};

/// UTF-16 to bytes, compiled to an index of 256 blocks of 256 cells.
///
/// Memory: 512 bytes for the index and for each block in use; 2 to 6 KB for a single-byte page, and
/// 45 to 115 KB for a double-byte one. No page uses all blocks.
struct EncodeTable {
    EncodeTable() : cells(kBlockSize) {}

    bool asciiCompatible = false;
    /// Where the block of a unit's high byte begins in `cells`; block 0 is empty.
    std::array<std::uint16_t, 256> blockStart{};
    /// The bytes of a character in stream order, from the low byte up; 0 when there are none. A
    /// code of two bytes never ends in a 0 byte.
    std::vector<std::uint16_t> cells;

    static constexpr std::size_t kBlockSize = 256;

    std::uint16_t cell(char16_t unit) const {
        return cells[blockStart[unit >> 8] + (unit & 0xFFU)];
    }
    void set(char16_t unit, std::uint16_t code);
};

/// The tables of the process. Each is made at its first use, stays to the end, and may be read by
/// any number of threads. Null for a page that has no table.
const DecodeTable* decodeTable(std::uint32_t codePage);
const EncodeTable* encodeTable(std::uint32_t codePage);

/// True for the pages that have tables.
bool hasTable(std::uint32_t codePage);

/// True for those of them in which one byte is one character.
bool isSingleByteTable(std::uint32_t codePage);

}  // namespace borvik
