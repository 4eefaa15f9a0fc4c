#include "charset/tables/conversion_tables.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "charset/tables/mapped_tables.h"

namespace borvik {
namespace {

constexpr std::size_t kTableCount = 103;
constexpr std::size_t kMultiByteCount = 9;

/// A table and where it is found once it is filled.
template <typename Table>
struct Slot {
    std::atomic<const Table*> made{nullptr};
    Table table;
};

// One place a table. Static storage costs nothing until it is written, goes with the library when
// that is unloaded, and is there for threads that still convert when the process ends.
constinit std::array<Slot<DecodeTable>, kMultiByteCount> g_decodeTables;
constinit std::array<Slot<EncodeTable>, kTableCount> g_encodeTables;
std::array<std::array<std::uint8_t, EncodeTable::kUnitCount>, kTableCount> g_bytes;
std::array<std::array<std::uint16_t, EncodeTable::kUnitCount>, kMultiByteCount> g_cells;
std::array<std::array<char16_t, DecodeTable::kPairCount>, kMultiByteCount> g_units;
constinit std::mutex g_making;

/// The place of a page among the tables; their number when there is none.
std::size_t indexOf(std::uint32_t codePage) {
    const auto tables = mappedTables().tables;
    const auto found = std::ranges::lower_bound(tables, codePage, {}, &MappedTable::codePage);
    return found != tables.end() && found->codePage == codePage
               ? static_cast<std::size_t>(found - tables.begin())
               : kTableCount;
}

/// The same among the double-byte pages.
std::size_t multiByteIndexOf(std::size_t index) {
    const auto before = mappedTables().tables.first(index);
    return static_cast<std::size_t>(std::ranges::count(before, true, &MappedTable::multiByte));
}

/// The table of a slot, filled when it isn't yet.
template <typename Table, typename Make>
const Table* load(Slot<Table>& slot, Make make) {
    const Table* present = slot.made.load(std::memory_order_acquire);
    if (present != nullptr) {
        return present;
    }
    const std::lock_guard<std::mutex> lock(g_making);
    if (slot.made.load(std::memory_order_relaxed) == nullptr) {
        make(slot.table);
        slot.made.store(&slot.table, std::memory_order_release);
    }
    return &slot.table;
}

/// Puts rows where they belong. A page of memory that has none is never touched.
template <typename Listed, typename Entry>
void spread(MappedTable::Rows rows, std::span<const Listed> list, std::span<Entry> entries) {
    const std::span<const MappedRow> listed = mappedTables().rows.subspan(rows.first, rows.count);
    for (const MappedRow& row : listed) {
        std::ranges::copy(list.subspan(row.offset, row.count), entries.begin() + row.place);
    }
}

void fillDecodeTable(std::size_t index, DecodeTable& table) {
    const MappedTables mapped = mappedTables();
    const std::span<char16_t> units = g_units[multiByteIndexOf(index)];
    table = mapped.decode[index];
    table.units = units;
    spread(mapped.tables[index].pairs, mapped.units, units);
    for (unsigned byte = 1; byte <= 0xFF; ++byte) {
        if (table.single[byte] != 0 && !table.isLead(static_cast<std::uint8_t>(byte))) {
            std::fill_n(units.begin() + (byte << 8), 0x100, table.single[byte]);
        }
    }
}

void fillEncodeTable(std::size_t index, EncodeTable& table) {
    const MappedTables mapped = mappedTables();
    const MappedTable& page = mapped.tables[index];
    table.asciiCompatible = mapped.decode[index].asciiCompatible;
    table.stretch = page.stretch;
    if (page.multiByte) {
        const std::span<std::uint16_t> cells = g_cells[multiByteIndexOf(index)];
        spread(page.codes, mapped.units, cells);
        table.cells = cells;
    } else {
        const std::span<std::uint8_t> bytes = g_bytes[index];
        spread(page.codes, mapped.bytes, bytes);
        table.bytes = bytes;
    }
}

}  // namespace

const DecodeTable* decodeTable(std::uint32_t codePage) {
    const std::size_t index = indexOf(codePage);
    if (index == kTableCount) {
        return nullptr;
    }
    const MappedTables mapped = mappedTables();
    if (!mapped.tables[index].multiByte) {
        return &mapped.decode[index];
    }
    return load(g_decodeTables[multiByteIndexOf(index)],
                [index](DecodeTable& table) { fillDecodeTable(index, table); });
}

const EncodeTable* encodeTable(std::uint32_t codePage) {
    const std::size_t index = indexOf(codePage);
    return index == kTableCount ? nullptr
                                : load(g_encodeTables[index], [index](EncodeTable& table) {
                                      fillEncodeTable(index, table);
                                  });
}

bool hasTable(std::uint32_t codePage) {
    return indexOf(codePage) != kTableCount;
}

}  // namespace borvik
