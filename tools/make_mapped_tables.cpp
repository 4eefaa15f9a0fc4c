// Writes the conversion tables as source of constant data, made of their stored form by its own
// loader. The build runs it: make_mapped_tables OUTPUT. Equal tables give an equal file.

#include <cstdio>
#include <exception>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "charset/tables/mapped_tables.h"
#include "charset/tables/stored_tables.h"
#include "charset/tables/table_maker.h"

namespace {

using borvik::DecodeTable;
using borvik::MadeTables;
using borvik::MappedRow;
using borvik::MappedTable;
using borvik::StoredTable;

constexpr std::size_t kRowLength = 256;
constexpr std::size_t kNumbersInLine = 20;

/// A list of entries in which equal rows stand once, be it within others.
template <typename Entry>
class SharedList {
public:
    std::size_t add(std::basic_string_view<Entry> row) {
        const std::size_t found = entries_.find(row);
        if (found != entries_.npos) {
            return found;
        }
        entries_ += row;
        return entries_.size() - row.size();
    }
    const std::basic_string<Entry>& entries() const { return entries_; }

private:
    std::basic_string<Entry> entries_;
};

class Mapper {
public:
    void add(const StoredTable& stored) {
        const MadeTables made = borvik::makeTables(stored);
        MappedTable table{.codePage = stored.codePage,
                          .multiByte = stored.multiByte,
                          .stretch = made.encode.stretch,
                          .pairs = {},
                          .codes = {}};
        if (stored.multiByte) {
            // Those of single bytes follow from their characters.
            std::vector<char16_t> pairs = made.units;
            for (std::size_t i = 0; i < pairs.size(); ++i) {
                if (!made.decode.isLead(static_cast<std::uint8_t>(i >> 8))) {
                    pairs[i] = 0;
                }
            }
            table.pairs = addRows(std::u16string(pairs.begin(), pairs.end()), units_);
            table.codes = addRows(std::u16string(made.cells.begin(), made.cells.end()), units_);
        } else {
            table.codes = addRows(std::u8string(made.bytes.begin(), made.bytes.end()), bytes_);
        }
        tables_.push_back(table);
        decode_.push_back(made.decode);
        decode_.back().units = {};
    }

    void write(std::ostream& out) const {
        out << "// Made by make_mapped_tables when this is built.\n\n"
               "#include \"charset/tables/mapped_tables.h\"\n\n"
               "namespace borvik {\nnamespace {\n\n";
        // A literal is read far quicker by the compiler than a list of numbers.
        out << "constexpr char16_t kUnits[] =";
        writeLiteral(out);
        out << ";\n\nconstexpr std::uint8_t kBytes[] = {";
        writeNumbers(out, std::span(bytes_.entries()));
        out << "};\n\nconstexpr MappedRow kRows[] = {\n";
        for (const MappedRow& row : rows_) {
            out << '{' << row.offset << ',' << row.place << ',' << row.count << "},\n";
        }
        out << "};\n\nconstexpr DecodeTable kDecode[] = {\n";
        for (const DecodeTable& table : decode_) {
            writeDecodeTable(out, table);
        }
        out << "};\n\nconstexpr MappedTable kTables[] = {\n";
        for (const MappedTable& table : tables_) {
            out << '{' << table.codePage << ',' << table.multiByte << ",{" << +table.stretch.first
                << ',' << table.stretch.count << ',' << +table.stretch.firstByte << "},{"
                << table.pairs.first << ',' << table.pairs.count << "},{" << table.codes.first
                << ',' << table.codes.count << "}},\n";
        }
        out << "};\n\n}  // namespace\n\nMappedTables mappedTables() {\n    return {kTables, "
               "kDecode, kRows, std::span(kUnits).first("
            << units_.entries().size() << "), kBytes};\n}\n\n}  // namespace borvik\n";
    }

private:
    /// The rows of a table: trimmed, and none for 256 zeros.
    template <typename Entry>
    MappedTable::Rows addRows(const std::basic_string<Entry>& table, SharedList<Entry>& list) {
        const std::size_t before = rows_.size();
        for (std::size_t begin = 0; begin < table.size(); begin += kRowLength) {
            const std::basic_string_view<Entry> row(table.data() + begin, kRowLength);
            const std::size_t first = row.find_first_not_of(Entry{});
            if (first == row.npos) {
                continue;
            }
            const std::size_t count = row.find_last_not_of(Entry{}) + 1 - first;
            const std::size_t offset = list.add(row.substr(first, count));
            rows_.push_back({static_cast<std::uint32_t>(offset),
                             static_cast<std::uint16_t>(begin + first),
                             static_cast<std::uint16_t>(count)});
        }
        return {static_cast<std::uint16_t>(before),
                static_cast<std::uint16_t>(rows_.size() - before)};
    }

    void writeLiteral(std::ostream& out) const {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        const std::u16string& units = units_.entries();
        for (std::size_t i = 0; i < units.size(); ++i) {
            if (i % kNumbersInLine == 0) {
                out << (i == 0 ? "\nu\"" : "\"\nu\"");
            }
            out << "\\x";
            for (unsigned shift = 16; shift != 0; shift -= 4) {
                out << kDigits[units[i] >> (shift - 4) & 0x0F];
            }
        }
        out << '"';
    }

    template <typename Numbers>
    static void writeNumbers(std::ostream& out, const Numbers& numbers) {
        std::size_t written = 0;
        for (const auto number : numbers) {
            out << static_cast<unsigned>(number) << (++written % kNumbersInLine == 0 ? ",\n" : ",");
        }
    }

    static void writeDecodeTable(std::ostream& out, const DecodeTable& table) {
        out << '{' << table.asciiCompatible << ",{{";
        writeNumbers(out, table.single);
        out << "}},{},{{";
        writeNumbers(out, table.leadRows);
        out << "}},{{";
        writeNumbers(out, table.shiftLow);
        out << "}},{{";
        writeNumbers(out, table.shiftHigh);
        out << "}},{{";
        writeNumbers(out, table.unevenRows);
        out << "}}},\n";
    }

    SharedList<char16_t> units_;
    SharedList<char8_t> bytes_;
    std::vector<MappedRow> rows_;
    std::vector<DecodeTable> decode_;
    std::vector<MappedTable> tables_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: make_mapped_tables OUTPUT\n", stderr);
        return 2;
    }
    try {
        Mapper mapper;
        for (const StoredTable& stored : borvik::storedTables()) {
            mapper.add(stored);
        }
        std::ofstream out(argv[1]);
        mapper.write(out);
        out.close();
        return out ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_mapped_tables: %s\n", error.what());
        return 1;
    }
}
