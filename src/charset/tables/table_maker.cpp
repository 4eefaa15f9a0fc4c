#include "charset/tables/table_maker.h"

#include <algorithm>
#include <array>

#include "charset/tables/code_pages.h"
#include "charset/tables/table_rows.h"

namespace borvik {
namespace {

constexpr char16_t kFirstNonAscii = 0x80;

/// Adds a byte from 0x80 up to a set of the form of `leadRows`.
void addToRows(std::array<std::uint8_t, 16>& rows, unsigned byte) {
    rows[byte & 0x0F] |= static_cast<std::uint8_t>(1U << (byte >> 4 & 7U));
}

/// Where two rows have one byte code, the first one counts; ASCII comes before any row.
void addRow(MadeTables& made, const TableRow& row) {
    DecodeTable& table = made.decode;
    char16_t* place = nullptr;
    const unsigned lead = row.code >> 8;
    if (lead == 0) {
        place = &table.single[row.code];
    } else if (lead >= DecodeTable::kLowestLead) {
        place = &made.units[row.code];
        addToRows(table.leadRows, lead);
    }
    if (place != nullptr && *place == 0) {
        *place = row.unit;
    }
}

void spreadSingleBytes(MadeTables& made) {
    for (unsigned byte = 1; byte <= 0xFF; ++byte) {
        if (!made.decode.isLead(static_cast<std::uint8_t>(byte))) {
            std::fill_n(made.units.begin() + (byte << 8), 0x100, made.decode.single[byte]);
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

void setCode(MadeTables& made, char16_t unit, std::uint16_t code) {
    if (made.cells.empty()) {
        made.bytes[unit] = static_cast<std::uint8_t>(code);
    } else {
        made.cells[unit] = code > 0xFF ? static_cast<std::uint16_t>(code << 8 | code >> 8) : code;
    }
}

void setRows(MadeTables& made, const TableRows& source) {
    made.encode.asciiCompatible = source.asciiCompatible;
    for (char16_t c = 1; source.asciiCompatible && c < kFirstNonAscii; ++c) {
        setCode(made, c, c);
    }
    for (const char16_t unit : source.removed) {
        setCode(made, unit, 0);
    }
    for (const TableRow& row : source.rows) {
        setCode(made, row.unit, row.code);
    }
}

/// The Arabic pages have no digits but the ASCII ones: those of Arabic and Persian go there.
void addArabicDigits(MadeTables& made) {
    constexpr char16_t kArabicZero = 0x0660;
    constexpr char16_t kPersianZero = 0x06F0;
    for (char16_t digit = 0; digit < 10; ++digit) {
        const auto ascii = static_cast<std::uint16_t>('0' + digit);
        setCode(made, static_cast<char16_t>(kArabicZero + digit), ascii);
        setCode(made, static_cast<char16_t>(kPersianZero + digit), ascii);
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

/// The rows of a page that is stored as a patch, which its table for encoding has.
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

void makeEncodeTable(const StoredTable& stored, const TableRows& source, MadeTables& made) {
    if (stored.multiByte) {
        made.cells.resize(EncodeTable::kUnitCount);
        made.encode.cells = made.cells;
    } else {
        made.bytes.resize(EncodeTable::kUnitCount);
        made.encode.bytes = made.bytes;
    }
    made.encode.stretch = {1, 1, 1};
    if (source.isPatch) {
        const auto patched = std::ranges::find(storedTables(), kShiftJis, &StoredTable::codePage);
        setRows(made, readTableRows(patched->bytes));
    }
    setRows(made, source);
    if (stored.codePage == kWindowsArabic || stored.codePage == kIsoArabic) {
        addArabicDigits(made);
    }
    if (!stored.multiByte) {
        findStretch(made.encode);
    }
}

void makeDecodeTable(const StoredTable& stored, const TableRows& source, MadeTables& made) {
    DecodeTable& table = made.decode;
    if (stored.multiByte) {
        made.units.resize(DecodeTable::kPairCount);
        table.units = made.units;
    }
    table.asciiCompatible = source.asciiCompatible;
    for (char16_t c = 1; source.asciiCompatible && c < kFirstNonAscii; ++c) {
        table.single[c] = c;
    }
    for (const TableRow& row : source.rows) {
        addRow(made, row);
    }
    if (stored.multiByte) {
        spreadSingleBytes(made);
    }
    for (unsigned nibble = 8; nibble < 16 && !stored.multiByte; ++nibble) {
        findShift(table, nibble);
    }
}

}  // namespace

MadeTables makeTables(const StoredTable& stored) {
    const TableRows source = readTableRows(stored.bytes);
    MadeTables made;
    makeEncodeTable(stored, source, made);
    makeDecodeTable(stored, source.isPatch ? rowsOf(made.encode) : source, made);
    return made;
}

}  // namespace borvik
