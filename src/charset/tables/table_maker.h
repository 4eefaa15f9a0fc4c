#pragma once

#include <cstdint>
#include <vector>

#include "charset/tables/conversion_tables.h"
#include "charset/tables/stored_tables.h"

namespace borvik {

/// The tables of a page in both directions, with the memory that they look into.
struct MadeTables {
    DecodeTable decode;
    EncodeTable encode;
    std::vector<char16_t> units;
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint16_t> cells;
};

/// Makes the tables of a page from their stored form. No conversion does: the build makes the
/// mapped form of what this returns, and the tests hold the two equal. Throws `std::bad_alloc`.
MadeTables makeTables(const StoredTable& stored);

}  // namespace borvik
