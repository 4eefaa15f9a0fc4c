#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace borvik {

/// The conversion table of one code page as it stands in the constant data.
///
/// The bytes begin with a packing flag. Behind "c" stand a magic number, the unpacked length (both
/// 32-bit, little-endian) and a bzip2 stream; behind "x" the payload itself. `table_rows.h` tells
/// what a payload holds.
struct StoredTable {
    std::uint32_t codePage;
    bool multiByte;
    std::string_view bytes;
};

/// All tables, sorted by code page. 10001 is held as a patch on 932.
std::span<const StoredTable> storedTables();

}  // namespace borvik
