#include "base/data_buffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "base/string_buffer.h"

namespace borvik {
namespace {

using namespace std::string_view_literals;

TEST(DataBuffer, StartsWithoutStorage) {
    DataBuffer data;
    EXPECT_TRUE(data.append(nullptr, 5));
    EXPECT_TRUE(data.append("x", 0));
    EXPECT_TRUE(data.isAscii());
    EXPECT_FALSE(data.containsByte('x'));
    EXPECT_EQ(data.dataAt(0), nullptr);
    EXPECT_FALSE(data.ensureCapacity(0));
    EXPECT_EQ(data.getData(), nullptr);
}

TEST(DataBuffer, GrowsBySizeClass) {
    struct Case {
        std::size_t length, count, capacity;
    };
    const Case cases[] = {
        {0, 10, 20'000},
        {19'990, 11, 39'990},
        {50'000, 1, 100'000},
        {5'000'000, 10, 9'000'000},
        {5'000'000, 5'000'000, 10'000'000},
        {12'000'000, 1, 24'000'000},
        // Far up, a half of the content is more than the step.
        {40'000'000, 1, 60'000'000},
    };
    for (const Case& c : cases) {
        DataBuffer data;
        data.ensureCapacity(c.length);
        data.setLength(c.length);
        ASSERT_NE(data.grow(c.count), nullptr);
        EXPECT_EQ(data.getCapacity(), c.capacity) << c.length << " + " << c.count;
    }
    DataBuffer data(100);
    data.setLength(100);
    data.appendByte('x');
    EXPECT_EQ(data.getCapacity(), 10'100U);
    EXPECT_EQ(data.getSize(), 101U);
    EXPECT_EQ(*data.dataAt(99), '\0') << "reserved storage starts zeroed";
}

TEST(DataBuffer, RefusesWhatPassesItsLimit) {
    DataBuffer data;
    data.append("ab");
    // Volatile, since the compiler would warn of such counts.
    for (const volatile std::size_t count : {DataBuffer::kMaxSize, ~std::size_t{0}}) {
        EXPECT_FALSE(data.append("x", count));
        EXPECT_FALSE(data.prepend("x", count));
    }
    EXPECT_FALSE(data.ensureCapacity(DataBuffer::kMaxSize + 1));
    EXPECT_EQ(data.view(), "ab");
}

TEST(DataBuffer, LeavesALendersBytesAlone) {
    struct Case {
        void (*change)(DataBuffer&);
        std::string_view after;
    };
    const Case cases[] = {
        {[](DataBuffer& data) { data.appendByte('!'); }, "lent!"},
        {[](DataBuffer& data) { data.prepend("s", 1); }, "slent"},
        {[](DataBuffer& data) { data.assign("xy"); }, "xy"},
    };
    const char lent[] = "lent";
    for (const Case& c : cases) {
        DataBuffer data;
        data.append("own");
        data.borrow(lent, 4);
        EXPECT_EQ(data.getData(), lent);
        c.change(data);
        EXPECT_FALSE(data.isBorrowed());
        EXPECT_EQ(data.view(), c.after);
        data.replaceByte('l', 'b');
        EXPECT_STREQ(lent, "lent");
    }
}

TEST(DataBuffer, MovesStorageAround) {
    DataBuffer from;
    from.append("content");
    const char* const storage = from.getData();
    DataBuffer to;
    to.append("old");
    to.takeFrom(from);
    EXPECT_EQ(from.getData(), nullptr);
    EXPECT_EQ(from.getCapacity(), 0U);
    to.takeFrom(to);
    from.adopt(to.release(), 7);
    EXPECT_TRUE(to.empty());
    DataBuffer moved(std::move(from));
    EXPECT_EQ(moved.getData(), storage);
    EXPECT_EQ(moved.view(), "content");
    moved.takeFrom(nullptr);
    EXPECT_TRUE(moved.empty());
    moved.minimizeMemory();
    EXPECT_EQ(moved.getData(), nullptr);
}

TEST(DataBuffer, AppendsTextInItsForms) {
    DataBuffer data;
    data.appendWideString(nullptr);
    EXPECT_EQ(data.view(), "\0\0"sv);
    data.clear();
    data.appendWideString(u"ab");
    EXPECT_EQ(data.view(), "a\0b\0\0\0"sv);
    data.replaceUnit(u'b', u'\u4E2D');
    data.replaceUnit(0, u'x');
    EXPECT_EQ(data.view(), "a\0\x2D\x4E\0\0"sv);

    data.clear();
    const std::pair<char16_t, std::size_t> units[] = {{0x7F, 1},  {0x80, 2},   {0x7FF, 2},
                                                      {0x800, 3}, {0xD800, 3}, {0xFFFF, 3}};
    for (const auto& [unit, size] : units) {
        EXPECT_EQ(data.appendUtf8Char(unit), size);
    }
    EXPECT_EQ(data.view(), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\xA0\x80\xEF\xBF\xBF");

    data.clear();
    data.appendString(nullptr);
    data.appendString("a");
    data.appendStringBuffer(StringBuffer("b"));
    data.prepend("xy", 2);
    EXPECT_EQ(data.view(), "xyab");
}

TEST(DataBuffer, AppendsAndPrependsItself) {
    DataBuffer data;
    data.assign("abc");
    EXPECT_TRUE(data.append(data.getData() + 1, 2));
    EXPECT_EQ(data.view(), "abcbc");
    data.assign(data.view().substr(2));
    EXPECT_EQ(data.view(), "cbc");
    EXPECT_TRUE(data.prepend(data.getData(), 3));
    EXPECT_EQ(data.view(), "cbccbc");
    EXPECT_TRUE(data.appendBuffer(data));
    EXPECT_EQ(data.view(), "cbccbccbccbc");
}

}  // namespace
}  // namespace borvik
