#include "charset/tables/conversion_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <set>
#include <string>
#include <thread>

#include "base/data_buffer.h"
#include "charset/charset_oracle.h"
#include "charset/tables/borvik_bzip2.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/hash_convert.h"
#include "charset/tables/stored_tables.h"
#include "charset/tables/table_maker.h"

namespace borvik {
namespace {

using namespace std::string_view_literals;

// Whatever changes in a table shows here, and has to be compared with the C library's anew.
TEST(StoredTables, HoldTheRowsTheyWereMadeWith) {
    constexpr std::uint32_t kChecksum = 4'284'748'418;
    constexpr std::size_t kUnpackedBytes = 599'814;
    std::uint32_t sum = 0;
    std::size_t unpackedBytes = 0;
    const auto add = [&sum](unsigned value) { sum = std::rotl(sum, 5) * 31 + value; };
    for (const StoredTable& stored : storedTables()) {
        DataBuffer payload;
        const bool packed = BorvikBzip2::unpack(stored.bytes.substr(1), payload);
        unpackedBytes += packed ? payload.getSize() : stored.bytes.size() - 1;
        const TableRows table = readTableRows(stored.bytes);
        add(stored.codePage);
        add(table.asciiCompatible);
        std::ranges::for_each(table.removed, add);
        std::set<char16_t> units;
        for (const TableRow& row : table.rows) {
            add(row.unit);
            add(row.code);
            EXPECT_TRUE(units.insert(row.unit).second);
        }
        EXPECT_EQ(table.isPatch, stored.codePage == kMacJapanese);
        EXPECT_TRUE(table.isPatch ||
                    std::ranges::is_sorted(table.rows, {}, [](const TableRow& row) {
                        return std::pair(row.code > 0xFF, row.unit);
                    }));
    }
    EXPECT_EQ(unpackedBytes, kUnpackedBytes);
    EXPECT_EQ(sum, kChecksum);
}

TEST(StoredTables, DamagedDataGivesNoTableAndNoHarm) {
    DataBuffer out;
    for (const std::string_view packed : {"", "1234567", "12345678BZh3", "\xE1\xA7\x94\xB3"}) {
        EXPECT_FALSE(BorvikBzip2::unpack(packed, out));
        EXPECT_TRUE(out.empty());
    }
    const std::string text(storedTables()[0].bytes);
    for (std::size_t cut = 0; cut < text.size(); cut += 7) {
        EXPECT_TRUE(readTableRows(text.substr(0, cut)).rows.size() < 256);
    }
    // Plain payloads: an empty table, one cut off within a row, and an empty patch.
    EXPECT_TRUE(readTableRows("xau\0\0\0"sv).rows.empty());
    EXPECT_LE(readTableRows("xau ").rows.size(), 1U);
    EXPECT_TRUE(readTableRows("xad\0\0\0\0\0"sv).rows.empty());
}

TEST(ConversionTables, AreSharedByThreadsThatMeetAtTheFirstUse) {
    const auto pages = tablePages();
    std::vector<std::thread> threads;
    std::array<std::vector<const void*>, 8> seen;
    std::atomic<unsigned> waiting{seen.size()};
    threads.reserve(seen.size());
    for (auto& mine : seen) {
        threads.emplace_back([&pages, &mine, &waiting] {
            for (--waiting; waiting != 0;) {
            }
            for (const std::uint32_t page : pages) {
                const DecodeTable* decode = decodeTable(page);
                const EncodeTable* encode = encodeTable(page);
                const char16_t unit = decode->single['A'];
                EXPECT_EQ(encode->cell(unit), unit == 0 ? 0 : 'A') << page;
                mine.insert(mine.end(), {decode, encode});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& tables : seen) {
        EXPECT_EQ(tables, seen[0]);
    }
    EXPECT_EQ(decodeTable(54936), nullptr);
    EXPECT_EQ(encodeTable(65001), nullptr);
}

TEST(ConversionTables, AreWhatTheirStoredFormSays) {
    for (const StoredTable& stored : storedTables()) {
        const MadeTables made = makeTables(stored);
        const DecodeTable& decode = *decodeTable(stored.codePage);
        EXPECT_EQ(decode.asciiCompatible, made.decode.asciiCompatible) << stored.codePage;
        EXPECT_EQ(decode.single, made.decode.single) << stored.codePage;
        EXPECT_TRUE(std::ranges::equal(decode.units, made.units)) << stored.codePage;
        EXPECT_EQ(decode.leadRows, made.decode.leadRows) << stored.codePage;
        EXPECT_EQ(decode.shiftLow, made.decode.shiftLow) << stored.codePage;
        EXPECT_EQ(decode.shiftHigh, made.decode.shiftHigh) << stored.codePage;
        EXPECT_EQ(decode.unevenRows, made.decode.unevenRows) << stored.codePage;
        const EncodeTable& encode = *encodeTable(stored.codePage);
        EXPECT_EQ(encode.asciiCompatible, made.encode.asciiCompatible) << stored.codePage;
        EXPECT_TRUE(std::ranges::equal(encode.bytes, made.bytes)) << stored.codePage;
        EXPECT_TRUE(std::ranges::equal(encode.cells, made.cells)) << stored.codePage;
        EXPECT_EQ(encode.stretch, made.encode.stretch) << stored.codePage;
    }
}

std::string find(const HashConvert& table, std::string_view key) {
    char value[256];
    std::size_t length = 99;
    table.lookup(key.data(), key.size(), value, length);
    return {value, length};
}

void add(HashConvert& table, std::string_view key, std::string_view value) {
    table.insert(key.data(), key.size(), value.data(), value.size());
}

TEST(HashConvert, KeepsRecordsOfOneSlotApart) {
    HashConvert table;
    add(table, "a", "lost");
    EXPECT_EQ(find(table, "a"), "") << "no slots yet";
    for (const std::uint32_t slots : {1U, 7U}) {
        table.init(slots);
        add(table, "a", "1");
        add(table, "ab", "22");
        add(table, "a", "later");
        add(table, "abcdX", "x");
        add(table, "abcdY", "y");
        EXPECT_EQ(find(table, "a"), "1") << "the first record counts";
        EXPECT_EQ(find(table, "ab"), "22");
        EXPECT_EQ(find(table, "abcdY"), "y");
        EXPECT_EQ(find(table, "abc"), "");
        HashConvert inverted;
        inverted.init(5);
        table.copyInverted(inverted);
        EXPECT_EQ(find(inverted, "22"), "ab");
        EXPECT_EQ(find(inverted, "later"), "a");
        table.remove("a", 1);
        EXPECT_EQ(find(table, "a"), "");
        EXPECT_EQ(find(table, "ab"), "22");
        // No longer fields than a record can hold.
        for (const std::size_t length : {0, 255, 256}) {
            const std::string key(length, 'k');
            add(table, key, "v");
            EXPECT_EQ(find(table, key), length == 255 ? "v" : "") << length;
        }
    }
}

}  // namespace
}  // namespace borvik
