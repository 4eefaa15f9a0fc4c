#include "charset/conversion_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>
#include <set>
#include <thread>

#include "base/data_buffer.h"
#include "charset/borvik_bzip2.h"
#include "charset/charset_oracle.h"
#include "charset/code_pages.h"
#include "charset/stored_tables.h"

namespace borvik {
namespace {

using testing::tablePages;

TableRows rowsOf(std::uint32_t codePage) {
    return readTableRows(std::ranges::find(storedTables(), codePage, &StoredTable::codePage)->text);
}

std::map<char16_t, std::uint16_t> codesOf(std::uint32_t codePage) {
    std::map<char16_t, std::uint16_t> codes;
    for (const TableRow& row : rowsOf(codePage).rows) {
        EXPECT_TRUE(codes.emplace(row.unit, row.code).second);
    }
    return codes;
}

std::uint32_t checksum(const TableRows& table) {
    std::uint32_t sum = table.asciiCompatible ? 1 : 0;
    for (const TableRow& row : table.rows) {
        sum = std::rotl(sum, 5) * 31 + row.unit * 7U + row.code;
    }
    return sum;
}

TEST(StoredTables, HoldTheRowsTheyWereMadeWith) {
    struct Figures {
        std::uint32_t codePage;
        std::size_t rows;
        std::uint32_t checksum;
    };
    // clang-format off
    const Figures kFigures[] = {
        {37, 255, 0x070A9500}, {437, 128, 0x0610E739}, {500, 255, 0xEB3A8977}, {708, 128, 0x3B35308E},
        {720, 128, 0xB1BA8765}, {737, 128, 0xA79BD8E1}, {775, 128, 0x4385F67C}, {850, 128, 0xAF70DF6A},
        {852, 128, 0xC6001BC0}, {855, 128, 0x2C203A86}, {857, 128, 0x9699C953}, {858, 128, 0xBB295EBD},
        {860, 128, 0x0B48F025}, {861, 128, 0xF66CE8D2}, {862, 128, 0x070A3DDC}, {863, 128, 0x3C3BC0F0},
        {864, 128, 0x2103EF62}, {865, 128, 0x3FD278EE}, {866, 128, 0x1CE436EC}, {869, 128, 0x9255D9A7},
        {870, 255, 0x3AD6168B}, {874, 97, 0x5F1B1FB3}, {875, 249, 0x63226964}, {932, 9276, 0x1A7DADFF},
        {936, 23943, 0x96F25B2F}, {949, 17239, 0x93F8C22A}, {950, 19713, 0x847DC74B}, {1026, 255, 0x9850A0DC},
        {1047, 255, 0xBE96A362}, {1140, 255, 0xBF855846}, {1141, 255, 0xFDE4D3D6}, {1142, 255, 0x1225FFED},
        {1143, 255, 0x17F3366A}, {1144, 255, 0xF6898888}, {1145, 255, 0x02A72EBE}, {1146, 255, 0x0EBC69FC},
        {1147, 255, 0x3AC0A267}, {1148, 255, 0x8F456514}, {1149, 255, 0x1244683E}, {1250, 123, 0x27FB5889},
        {1251, 127, 0xCE80DDA9}, {1252, 123, 0x07CC3182}, {1253, 111, 0x9B8EBF57}, {1254, 121, 0x9BCBB110},
        {1255, 106, 0x6BF7486E}, {1256, 128, 0x713E9D82}, {1257, 116, 0x0565E61E}, {1258, 119, 0x9D5238A4},
        {1361, 17268, 0xBFF21A7F}, {10000, 128, 0x2934E6BE}, {10001, 84, 0xB571846D}, {10004, 128, 0xE925EDB7},
        {10005, 127, 0x651FD1A0}, {10006, 128, 0xFF18EA42}, {10007, 128, 0x947BBA5E}, {10010, 128, 0x9CB34365},
        {10017, 128, 0xDF36980C}, {10021, 226, 0xD794E146}, {10029, 128, 0x5857A48B}, {10079, 128, 0x0368B2A8},
        {10081, 128, 0x03D0B042}, {10082, 128, 0xE98F07F0}, {20105, 127, 0x3726C2EE}, {20106, 127, 0xCC67EBC3},
        {20107, 127, 0xF95CE5A6}, {20108, 127, 0xFFF257E8}, {20127, 1, 0x00000860}, {20261, 118, 0xFA6D067A},
        {20269, 118, 0xFA6D067A}, {20273, 255, 0x7F25665B}, {20277, 255, 0xE0533888}, {20278, 255, 0x39196918},
        {20280, 255, 0x2951A32B}, {20284, 255, 0x56BACC0C}, {20285, 255, 0x8E87204B}, {20290, 227, 0x52E1FCAE},
        {20297, 255, 0x58A02CB4}, {20420, 247, 0xC86B8722}, {20423, 248, 0x673B5980}, {20424, 217, 0xF3A5D602},
        {20838, 250, 0xD1AA2C24}, {20866, 128, 0xFAD50FE7}, {20871, 255, 0x7E496C54}, {20880, 255, 0x8813A678},
        {20905, 248, 0x0DE11E59}, {20924, 254, 0x8CC9413C}, {21025, 255, 0x87F1C2DE}, {21866, 128, 0x05CD56D6},
        {28591, 123, 0x07CC3182}, {28592, 128, 0xDD03A924}, {28593, 121, 0xFC119578}, {28594, 128, 0x98B524B7},
        {28595, 128, 0x3D64BA1B}, {28596, 83, 0x84929FD9}, {28597, 125, 0x6A26A8EC}, {28598, 90, 0x8A71A7FF},
        {28599, 128, 0x3579F998}, {28603, 128, 0x0B7C496C}, {28605, 128, 0xFD10E7C6}, {38598, 90, 0xE250A1BB},
        {51932, 9276, 0x12BD5A4D}, {51936, 23943, 0x96F25B2F}, {51949, 8417, 0xFBDEAEE4},
    };
    // clang-format on
    ASSERT_EQ(std::size(kFigures), storedTables().size());
    for (const Figures& figures : kFigures) {
        const TableRows table = rowsOf(figures.codePage);
        EXPECT_EQ(table.rows.size(), figures.rows) << figures.codePage;
        EXPECT_EQ(checksum(table), figures.checksum) << figures.codePage;
        EXPECT_EQ(table.isPatch, figures.codePage == kMacJapanese);
        EXPECT_TRUE(table.isPatch ||
                    std::ranges::is_sorted(table.rows, {}, [](const TableRow& row) {
                        return std::pair(row.code > 0xFF, row.unit);
                    }));
    }
}

TEST(StoredTables, HaveTheRowsThatSetThemApart) {
    struct Case {
        std::uint32_t codePage;
        char16_t unit;
        std::uint16_t code;
    };
    const Case cases[] = {
        {1252, 0x20AC, 0x80},    {1252, 0x0081, 0},     {28591, 0x2122, 0x99},
        {28592, 0x20AC, 0x80},   {28592, 0x0080, 0},    {28592, 0x0081, 0x81},
        {28596, 0x20AC, 0x80},   {28597, 0x20AC, 0xA4}, {28597, 0x037A, 0xAA},
        {28597, 0x2018, 0xA1},   {28597, 0x02BD, 0},    {28605, 0x20AC, 0xA4},
        {28603, 0x20AC, 0},      {932, 0x00A5, 0x5C},   {932, 0x00A0, 0x20},
        {51932, 0x00A5, 0x5C},   {936, 0x00A0, 0x20},   {949, 0x00A0, 0x20},
        {950, 0x00A0, 0x20},     {1361, 0x00A0, 0x20},  {51949, 0x00A0, 0x20},
        {936, 0x00A5, 0},        {20127, 0x00A0, 0x20}, {37, 0x0041, 0xC1},
        {10001, 0x00A0, 0xA0},   {10001, 0x00A9, 0xFD}, {10001, 0x2122, 0xFE},
        {10001, 0x2116, 0x869B},
    };
    for (const auto& [codePage, unit, code] : cases) {
        const auto codes = codesOf(codePage);
        const auto found = codes.find(unit);
        EXPECT_EQ(found == codes.end() ? 0 : found->second, code) << codePage << " " << +unit;
    }
    EXPECT_EQ(std::ranges::find(storedTables(), 20127U, &StoredTable::codePage)->text.front(), 'x');
    EXPECT_EQ(codesOf(28591), codesOf(1252));
    EXPECT_EQ(codesOf(51936), codesOf(936));
    EXPECT_EQ(codesOf(20269), codesOf(20261));
    const auto removed = rowsOf(kMacJapanese).removed;
    EXPECT_EQ(removed, (std::vector<char16_t>{0xA5, 0x2211, 0xF8F0, 0xF8F1, 0xF8F2, 0xF8F3}));
    EXPECT_EQ(std::ranges::count_if(codesOf(936), [](auto& row) { return row.second > 0xFF; }),
              23940);
    const auto eucJp = codesOf(kEucJp);
    const auto shiftJis = codesOf(kShiftJis);
    std::map<std::uint16_t, int> uses;
    for (const auto& [unit, code] : eucJp) {
        EXPECT_TRUE(shiftJis.contains(unit)) << +unit;
        ++uses[code];
    }
    EXPECT_EQ(std::ranges::count_if(uses, [](auto& use) { return use.second == 2; }), 466);
}

TEST(StoredTables, DamagedDataGivesNoTableAndNoHarm) {
    DataBuffer out;
    for (const std::string_view packed : {"", "1234567", "12345678BZh3", "\xE1\xA7\x94\xB3"}) {
        EXPECT_FALSE(BorvikBzip2::unpack(packed, out));
        EXPECT_TRUE(out.empty());
    }
    const std::string text(storedTables()[0].text);
    for (std::size_t cut = 0; cut < text.size(); cut += 7) {
        EXPECT_TRUE(readTableRows(text.substr(0, cut)).rows.size() < 256);
    }
    // Plain payloads: an empty table, one cut off within a row, and an empty patch.
    EXPECT_TRUE(readTableRows("xYXUAAAA=").rows.empty());
    EXPECT_LE(readTableRows("xYXUg").rows.size(), 1U);
    EXPECT_TRUE(readTableRows("xYWQAAAAAAA==").rows.empty());
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

}  // namespace
}  // namespace borvik
