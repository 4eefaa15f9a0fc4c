#include "charset/conversion_tables.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include "charset/code_pages.h"
#include "charset/stored_tables.h"

namespace borvik {
namespace {

constexpr std::size_t kTableCount = 103;
constexpr char16_t kFirstNonAscii = 0x80;
constexpr std::size_t kPairCount = 0x10000;

struct Slot {
    std::atomic<const DecodeTable*> decode{nullptr};
    std::atomic<const EncodeTable*> encode{nullptr};
};

/// One slot a stored table. They are never freed: conversions go on until the process ends.
std::array<Slot, kTableCount> g_slots;

const StoredTable* findStored(std::uint32_t codePage) {
    const auto tables = storedTables();
    const auto found = std::ranges::lower_bound(tables, codePage, {}, &StoredTable::codePage);
    return found != tables.end() && found->codePage == codePage ? &*found : nullptr;
}

Slot& slotOf(const StoredTable& stored) {
    return g_slots[static_cast<std::size_t>(&stored - storedTables().data())];
}

/// The table of a slot, made and published when it isn't there yet. Of two threads that meet at the
/// first use, the later one throws its own away. Null when there is no memory for it.
template <typename Table, typename Make>
const Table* load(std::atomic<const Table*>& slot, Make make) {
    const Table* present = slot.load(std::memory_order_acquire);
    if (present != nullptr) {
        return present;
    }
    try {
        std::unique_ptr<const Table> made = make();
        if (slot.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel,
                                         std::memory_order_acquire)) {
            return made.release();
        }
        return present;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
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

std::unique_ptr<const DecodeTable> makeDecodeTable(const StoredTable& stored) {
    TableRows source = readTableRows(stored.text);
    if (source.isPatch) {
        const EncodeTable* patched = encodeTable(stored.codePage);
        source = patched == nullptr ? TableRows{} : rowsOf(*patched);
    }
    auto table = std::make_unique<DecodeTable>();
    if (stored.multiByte) {
        table->units.resize(kPairCount);
    }
    table->asciiCompatible = source.asciiCompatible;
    for (char16_t c = 1; source.asciiCompatible && c < kFirstNonAscii; ++c) {
        table->single[c] = c;
    }
    for (const TableRow& row : source.rows) {
        addRow(*table, row);
    }
    if (stored.multiByte) {
        spreadSingleBytes(*table);
    }
    for (unsigned nibble = 8; nibble < 16 && !stored.multiByte; ++nibble) {
        findShift(*table, nibble);
    }
    return table;
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

std::unique_ptr<const EncodeTable> makeEncodeTable(const StoredTable& stored) {
    auto table = std::make_unique<EncodeTable>();
    if (stored.multiByte) {
        table->cells.resize(EncodeTable::kUnitCount);
    } else {
        table->bytes.resize(EncodeTable::kUnitCount);
    }
    const TableRows source = readTableRows(stored.text);
    if (source.isPatch) {
        apply(*table, readTableRows(findStored(kShiftJis)->text));
    }
    apply(*table, source);
    if (stored.codePage == kWindowsArabic || stored.codePage == kIsoArabic) {
        addArabicDigits(*table);
    }
    if (!stored.multiByte) {
        findStretch(*table);
    }
    return table;
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
    return load(slotOf(*stored).decode, [stored] { return makeDecodeTable(*stored); });
}

const EncodeTable* encodeTable(std::uint32_t codePage) {
    const StoredTable* stored = findStored(codePage);
    if (stored == nullptr) {
        return nullptr;
    }
    return load(slotOf(*stored).encode, [stored] { return makeEncodeTable(*stored); });
}

bool hasTable(std::uint32_t codePage) {
    return findStored(codePage) != nullptr;
}

bool isSingleByteTable(std::uint32_t codePage) {
    const StoredTable* stored = findStored(codePage);
    return stored != nullptr && !stored->multiByte;
}

}  // namespace borvik
