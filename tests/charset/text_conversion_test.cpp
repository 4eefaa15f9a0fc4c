#include "charset/text_conversion.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/code_page.h"

namespace borvik {
namespace {

using namespace std::string_view_literals;

TEST(TextConversion, ConvertsInPlace) {
    struct Case {
        std::string_view before;
        std::uint32_t from, to;
        std::string_view after;
    };
    const Case cases[] = {
        {"abc", 437, 1252, "abc"},         {"\x82", 437, 1252, "\xE9"},
        {"\x82", 437, 65001, "\xC3\xA9"},  {"\xE9", 1252, 65001, "\xC3\xA9"},
        {"\xE9", 0, 65001, "\xE9"},        {"", 1252, 65001, ""},
        {"ab", 65001, 1200, "a\0b\0"sv},   {"\xFF\xFEx\0"sv, 1200, 65001, "x"},
        {"\xE4\xB8\xAD", 65001, 1252, ""},
    };
    for (const Case& c : cases) {
        StringBuffer text(c.before);
        convertEncoding(text, c.from, c.to);
        EXPECT_EQ(text.view(), c.after) << c.from << " to " << c.to;
    }
    const platform::ScopedAnsiCodePage page(1252);
    StringBuffer text("\xE2\x82\xAC");
    utf8ToAnsi(text);
    EXPECT_EQ(text.view(), "\x80");
    ansiToCodePage(text, 28605);
    EXPECT_EQ(text.view(), "\xA4");

    DataBuffer wide, utf8;
    utf8.append("old");
    utf16ToUtf8(wide, utf8);
    EXPECT_TRUE(utf8.empty());
    wide.append("\xE9\0\x2D\x4E"sv);
    utf16ToUtf8(wide, utf8);
    EXPECT_EQ(utf8.view(), "\xC3\xA9\xE4\xB8\xAD");
}

TEST(TextConversion, ReplacesCharactersOfUtf8Safely) {
    const std::string_view cases[][2] = {
        {"a;b;", "a,b,"},
        {"\xC3\xA9;\xF0\x9F\x98\x80;", "\xC3\xA9,\xF0\x9F\x98\x80,"},
        {"\xC3\xA9", "\xC3\xA9"},
    };
    for (const auto& [before, after] : cases) {
        StringBuffer text(before);
        replaceCharSafe(text, ';', ',');
        EXPECT_EQ(text.view(), after);
    }
}

TEST(TextConversion, SeesThroughAWrongLabel) {
    struct Case {
        std::string bytes;
        std::uint32_t page;
        bool mislabelled;
    };
    const std::string run(37, 'a');
    const Case cases[] = {
        {"", 20127, false},
        {"\xC3", 20127, false},
        {"\xC3\xA9", 20127, true},
        {run + "\xC3\xA9" + run, 20127, true},
        {run + "\xC3x", 20127, false},
        {"\xC4\xC2\x80", 20127, true},
        {"\xC3\xA9", 28591, false},  // every byte has a mapping there
        {"\xC3\xA9", 1253, false},
        {"\xC3\xA9\xAA", 1253, true},  // 0xAA has none in the Greek page
    };
    for (const Case& c : cases) {
        EXPECT_EQ(isMislabelledUtf8(c.bytes, c.page), c.mislabelled) << c.bytes << " " << c.page;
    }
    for (std::size_t at = 0; at < 24; ++at) {
        std::string bytes(24, 'a');
        bytes.insert(at, "\xC2\xA0");
        EXPECT_TRUE(isMislabelledUtf8(bytes, 20127)) << at;
    }
}

}  // namespace
}  // namespace borvik
