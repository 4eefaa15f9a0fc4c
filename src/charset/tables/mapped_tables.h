#pragma once

#include <cstdint>
#include <span>

#include "charset/tables/conversion_tables.h"

namespace borvik {

/// What differs from 0 in 256 neighbouring entries of a table, trimmed at both ends: it goes to
/// `place` of the table, and stands at `offset` of a list that equal ones share.
struct MappedRow {
    std::uint32_t offset;
    std::uint16_t place;
    std::uint16_t count;
};

/// The tables of a code page as the build has made them of the stored form: constant data without
/// addresses, which the loader of the library maps and of which what is touched becomes resident.
struct MappedTable {
    /// A part of the list of rows.
    struct Rows {
        std::uint16_t first;
        std::uint16_t count;
    };

    std::uint32_t codePage;
    bool multiByte;
    EncodeTable::Stretch stretch;
    /// Of a double-byte page, in `units`.
    Rows pairs;
    /// In `units` for a double-byte page, in `bytes` else.
    Rows codes;
};

/// All tables, sorted by code page, and what they point into.
struct MappedTables {
    std::span<const MappedTable> tables;
    /// One a table. Those of double-byte pages are without their `units`.
    std::span<const DecodeTable> decode;
    std::span<const MappedRow> rows;
    std::span<const char16_t> units;
    std::span<const std::uint8_t> bytes;
};

MappedTables mappedTables();

}  // namespace borvik
