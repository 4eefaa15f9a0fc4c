#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace borvik {

/// One character of a page: its UTF-16 unit and its byte code. A code over 0xFF stands for two
/// bytes, the high one first in the text.
struct TableRow {
    char16_t unit;
    std::uint16_t code;

    friend bool operator==(const TableRow&, const TableRow&) = default;
};

/// A stored table, unpacked.
///
/// The payload begins with two flag bytes: "a" when the bytes under 0x80 are ASCII, and "d" for a
/// patch. The rows of a plain table follow, sorted by unit and delta-coded with little-endian
/// fields: the single-byte ones (1 and 2 bytes, ended by a 0 byte), then the double-byte ones (2
/// and 2 bytes, ended by a 16-bit 0). A patch holds units to remove (ended by a 16-bit 0), then
/// single-byte changes (byte and unit, ended by a 0 byte) and double-byte changes (2 bytes and
/// unit, ended by a 16-bit 0).
struct TableRows {
    bool asciiCompatible = false;
    bool isPatch = false;
    /// Rows of a plain table, or what a patch sets.
    std::vector<TableRow> rows;
    /// Units that a patch takes away.
    std::vector<char16_t> removed;
};

/// Unpacks a stored table. Damaged data gives the rows in front of the damage. Throws
/// `std::bad_alloc`.
TableRows readTableRows(std::string_view stored);

}  // namespace borvik
