#include "charset/tables/conversion_tables.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "charset/tables/code_pages.h"
#include "charset/tables/stored_tables.h"

namespace borvik {
namespace {

constexpr std::size_t kTableCount = 103;
constexpr std::size_t kMultiByteCount = 9;
constexpr char16_t kFirstNonAscii = 0x80;
constexpr std::size_t kPairCount = 0x10000;

/// A table and where it is found once it is made.
template <typename Table>
struct Slot {
    std::atomic<const Table*> made{nullptr};
    Table table;
};

// One place a stored table. Static storage costs nothing until it is written, goes with the library
// when that is unloaded, and is there for threads that still convert when the process ends.
constinit std::array<Slot<DecodeTable>, kTableCount> g_decodeTables;
constinit std::array<Slot<EncodeTable>, kTableCount> g_encodeTables;
std::array<std::array<std::uint8_t, EncodeTable::kUnitCount>, kTableCount> g_bytes;
std::array<std::array<std::uint16_t, EncodeTable::kUnitCount>, kMultiByteCount> g_cells;
std::array<std::array<char16_t, kPairCount>, kMultiByteCount> g_units;
constinit std::mutex g_making;

const StoredTable* findStored(std::uint32_t codePage) {
    const auto tables = storedTables();
    const auto found = std::ranges::lower_bound(tables, codePage, {}, &StoredTable::codePage);
    return found != tables.end() && found->codePage == codePage ? &*found : nullptr;
}

std::size_t indexOf(const StoredTable& stored) {
    return static_cast<std::size_t>(&stored - storedTables().data());
}

/// Its place among the double-byte pages.
std::size_t multiByteIndexOf(const StoredTable& stored) {
    const auto before = storedTables().first(indexOf(stored));
    return static_cast<std::size_t>(std::ranges::count(before, true, &StoredTable::multiByte));
}

/// The table of a slot, made when it isn't there yet.
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

/// Adds a byte from 0x80 up to a set of the form of `leadRows`.
void addToRows(std::array<std::uint8_t, 16>& rows, unsigned byte) {
    rows[byte & 0x0F] |= static_cast<std::uint8_t>(1U << (byte >> 4 & 7U));
}

/// Where two rows have one byte code, the first one counts; ASCII comes before any row.
void addRow(DecodeTable& table, const TableRow& row) {
    char16_t* place = nullptr;
    const unsigned lead = row.code >> 8;
    if (lead == 0) {
        place = &table.single[row.code];
    } else if (lead >= DecodeTable::kLowestLead) {
        place = &table.units[row.code];
        addToRows(table.leadRows, lead);
    }
    if (place != nullptr && *place == 0) {
        *place = row.unit;
    }
}

void spreadSingleBytes(DecodeTable& table) {
    for (unsigned byte = 1; byte <= 0xFF; ++byte) {
        if (!table.isLead(static_cast<std::uint8_t>(byte))) {
            std::fill_n(table.units.begin() + (byte << 8), 0x100, table.single[byte]);
        }
    }
}

/// Tells how the bytes of a high nibble are shifted: as most of them are.
void findShift(DecodeTable& table, unsigned nibble) {
    std::array<char16_t, 16> shifts;
    for (unsigned low = 0; low < shifts.size(); ++low) {
        const unsigned byte = nibble << 4 | low;
        shifts[low] = static_cast<char16_t>(table.single[byte] - byte);
    }
    const char16_t shift = *std::ranges::max_element(shifts, {}, [&shifts](char16_t candidate) {
        return std::ranges::count(shifts, candidate);
    });
    table.shiftLow[nibble] = static_cast<std::uint8_t>(shift & 0xFF);
    table.shiftHigh[nibble] = static_cast<std::uint8_t>(shift >> 8);
    for (unsigned low = 0; low < shifts.size(); ++low) {
        const unsigned byte = nibble << 4 | low;
        if (table.single[byte] == 0 || shifts[low] != shift) {
            addToRows(table.unevenRows, byte);
        }
    }
}

/// All characters of a page, for pages that are stored as a patch on another one.
TableRows rowsOf(const EncodeTable& table) {
    TableRows out;
    out.asciiCompatible = table.asciiCompatible;
    for (unsigned unit = table.asciiCompatible ? kFirstNonAscii : 1; unit <= 0xFFFF; ++unit) {
        const std::uint16_t cell = table.cell(static_cast<char16_t>(unit));
        if (cell != 0) {
            const auto code =
                cell > 0xFF ? static_cast<std::uint16_t>(cell << 8 | cell >> 8) : cell;
            out.rows.push_back({static_cast<char16_t>(unit), code});
        }
    }
    return out;
}

/// All memory is asked for before the table is touched. `patched` is the table for encoding of a
/// page that is stored as a patch.
void makeDecodeTable(const StoredTable& stored, const EncodeTable* patched, DecodeTable& table) {
    const TableRows source = patched == nullptr ? readTableRows(stored.bytes) : rowsOf(*patched);
    if (stored.multiByte) {
        table.units = g_units[multiByteIndexOf(stored)];
    }
    table.asciiCompatible = source.asciiCompatible;
    for (char16_t c = 1; source.asciiCompatible && c < kFirstNonAscii; ++c) {
        table.single[c] = c;
    }
    for (const TableRow& row : source.rows) {
        addRow(table, row);
    }
    if (stored.multiByte) {
        spreadSingleBytes(table);
    }
    for (unsigned nibble = 8; nibble < 16 && !stored.multiByte; ++nibble) {
        findShift(table, nibble);
    }
}

void apply(EncodeTable& table, const TableRows& source) {
    table.asciiCompatible = source.asciiCompatible;
    for (char16_t c = 1; source.asciiCompatible && c < kFirstNonAscii; ++c) {
        table.set(c, c);
    }
    for (const char16_t unit : source.removed) {
        table.set(unit, 0);
    }
    for (const TableRow& row : source.rows) {
        table.set(row.unit, row.code);
    }
}

/// The Arabic pages have no digits but the ASCII ones: those of Arabic and Persian go there.
void addArabicDigits(EncodeTable& table) {
    constexpr char16_t kArabicZero = 0x0660;
    constexpr char16_t kPersianZero = 0x06F0;
    for (char16_t digit = 0; digit < 10; ++digit) {
        const auto ascii = static_cast<std::uint16_t>('0' + digit);
        table.set(static_cast<char16_t>(kArabicZero + digit), ascii);
        table.set(static_cast<char16_t>(kPersianZero + digit), ascii);
    }
}

void findStretch(EncodeTable& table) {
    unsigned count = 0;
    for (unsigned unit = kFirstNonAscii; unit <= 0xFFFF; ++unit) {
        const std::uint8_t byte = table.bytes[unit];
        if (byte == 0) {
            count = 0;
            continue;
        }
        count = count != 0 && byte == table.bytes[unit - 1] + 1 ? count + 1 : 1;
        if (count > table.stretch.count) {
            table.stretch = {static_cast<char16_t>(unit + 1 - count),
                             static_cast<std::uint16_t>(count),
                             static_cast<std::uint8_t>(byte + 1 - count)};
        }
    }
}

/// All memory is asked for before the table is touched.
void makeEncodeTable(const StoredTable& stored, EncodeTable& table) {
    const TableRows source = readTableRows(stored.bytes);
    const TableRows patched =
        source.isPatch ? readTableRows(findStored(kShiftJis)->bytes) : TableRows();
    if (stored.multiByte) {
        table.cells = g_cells[multiByteIndexOf(stored)];
    } else {
        table.bytes = g_bytes[indexOf(stored)];
    }
    table.stretch = {1, 1, 1};
    if (source.isPatch) {
        apply(table, patched);
    }
    apply(table, source);
    if (stored.codePage == kWindowsArabic || stored.codePage == kIsoArabic) {
        addArabicDigits(table);
    }
    if (!stored.multiByte) {
        findStretch(table);
    }
}

}  // namespace

void EncodeTable::set(char16_t unit, std::uint16_t code) {
    if (isMultiByte()) {
        cells[unit] = code > 0xFF ? static_cast<std::uint16_t>(code << 8 | code >> 8) : code;
    } else {
        bytes[unit] = static_cast<std::uint8_t>(code);
    }
}

const DecodeTable* decodeTable(std::uint32_t codePage) {
    const StoredTable* stored = findStored(codePage);
    if (stored == nullptr) {
        return nullptr;
    }
    Slot<DecodeTable>& slot = g_decodeTables[indexOf(*stored)];
    if (codePage != kMacJapanese || slot.made.load(std::memory_order_acquire) != nullptr) {
        return load(slot, [&](DecodeTable& table) { makeDecodeTable(*stored, nullptr, table); });
    }
    const EncodeTable* patched = encodeTable(codePage);
    return load(slot, [&](DecodeTable& table) { makeDecodeTable(*stored, patched, table); });
}

const EncodeTable* encodeTable(std::uint32_t codePage) {
    const StoredTable* stored = findStored(codePage);
    return stored == nullptr ? nullptr
                             : load(g_encodeTables[indexOf(*stored)],
                                    [&](EncodeTable& table) { makeEncodeTable(*stored, table); });
}

bool hasTable(std::uint32_t codePage) {
    return findStored(codePage) != nullptr;
}

}  // namespace borvik
