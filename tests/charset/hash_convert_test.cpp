#include "charset/hash_convert.h"

#include <gtest/gtest.h>

#include <string>

namespace borvik {
namespace {

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
    }
}

TEST(HashConvert, HashesTheFirstFourBytes) {
    EXPECT_EQ(HashConvert::hash("\x81\x40", 2), 0x4081U);
    EXPECT_EQ(HashConvert::hash("\x01\x02\x03\x04\x05", 5), 0x04030201U);
}

TEST(HashConvert, TakesNoLongerFieldsThanARecordCanHold) {
    HashConvert table;
    table.init(3);
    for (const std::size_t length : {0, 255, 256}) {
        const std::string key(length, 'k');
        add(table, key, "v");
        EXPECT_EQ(find(table, key), length == 255 ? "v" : "") << length;
    }
}

}  // namespace
}  // namespace borvik
