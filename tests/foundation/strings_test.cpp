#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "foundation/narrow_string.h"
#include "foundation/wide_string.h"
#include "platform/automation_string.h"
#include "platform/code_page.h"

namespace tessolt {
namespace {

template <typename Change>
std::string changed(const char* text, Change change) {
    CZncString value(text);
    change(value);
    return value.GetString();
}

TEST(NarrowString, EndsAtAZeroByteAndTakesNullAsEmpty) {
    CZncString text(std::string_view("ab\0cd", 5));
    EXPECT_EQ(text, "ab");
    text.Append(std::string_view("x\0y", 3)).Append(nullptr);
    text.AppendChar('\0');
    text.AppendChar('!');
    EXPECT_EQ(text, "abx!");
    EXPECT_EQ(CZncString(static_cast<const char*>(nullptr)), "");
    EXPECT_EQ(CZncString(-5), "-5");
    text.Assign(text);
    EXPECT_EQ(text.Assign(std::string("m\0n", 3)), "m");
}

TEST(NarrowString, EditsItsEnds) {
    using S = CZncString;
    const struct {
        const char* before;
        void (*change)(S&);
        const char* after;
    } cases[] = {{"  \r\n\t ", [](S& s) { s.Trim(); }, ""},
                 {"\t a b\r\n", [](S& s) { s.Trim(); }, "a b"},
                 {"+OK 12 4096", [](S& s) { s.KeepDigits(); }, "12 4096"},
                 {"", [](S& s) { s.AddBackslash(); }, "\\"},
                 {"a\\", [](S& s) { s.AddBackslash(); }, "a\\"},
                 {"az\xE4", [](S& s) { s.MakeUpper(); }, "AZ\xE4"},
                 {"b", [](S& s) { s.Prepend("a"); }, "ab"},
                 {"Ab", [](S& s) { s.Prepend("a", false); }, "aAb"},
                 {"aab", [](S& s) { s.RemovePrefix("a"); }, "ab"},
                 {"Aab", [](S& s) { s.RemovePrefix("a"); }, "Aab"},
                 {"a\r\n\r\n", [](S& s) { s.RemoveSuffix("\r\n"); }, "a"},
                 {"aaa", [](S& s) { s.RemoveSuffix("aa"); }, "a"},
                 {"a", [](S& s) { s.RemoveSuffix(""); }, "a"},
                 {"abcdef", [](S& s) { s.Truncate(4, ".."); }, "ab.."},
                 {"abcdef", [](S& s) { s.Truncate(1, ".."); }, "."},
                 {"one\ntwo\r", [](S& s) { s.CutLine(0, "..."); }, "one..."},
                 {"longer\r\n", [](S& s) { s.CutLine(5, "..."); }, "lo..."},
                 {"a...b\r\n", [](S& s) { s.CutLine(0, "..."); }, "a...b"}};
    for (const auto& c : cases) {
        EXPECT_EQ(changed(c.before, c.change), c.after) << c.before;
    }
}

TEST(NarrowString, SearchesWithAndWithoutCase) {
    const CZncString text("xABCx \xC4");
    EXPECT_TRUE(text.Contains("ABC") && text.Contains("abc", false));
    EXPECT_FALSE(text.Contains("abc") || text.Contains("") || text.Contains(nullptr));
    EXPECT_FALSE(text.Contains("\xE4", false));
    EXPECT_FALSE(CZncString().Contains("a"));
    EXPECT_TRUE(text.StartsWith("xA") && text.StartsWith("XaB", false) && text.StartsWith(""));
    EXPECT_FALSE(text.StartsWith("xa") || CZncString("x").StartsWith("xy"));
}

TEST(NarrowString, ReplacesOnceFromLeftToRight) {
    const struct {
        const char *text, *find, *with;
        bool matchCase;
        const char* result;
    } cases[] = {
        {"aaa", "aa", "b", true, "ba"},       {"xABCx", "abc", "-", false, "x-x"},
        {"xABCx", "abc", "-", true, "xABCx"}, {"aXa", "x", "Xx", false, "aXxa"},
        {"abc", "", "-", true, "abc"},        {"\r\n.\r\n.\r\n", "\r\n.\r\n", "#", true, "#.\r\n"},
        {"aa", "a", nullptr, true, ""}};
    for (const auto& c : cases) {
        CZncString narrow(c.text);
        narrow.Replace(c.find, c.with, c.matchCase);
        EXPECT_EQ(narrow, c.result) << c.text;
        CZncStringW wide(c.text);
        wide.Replace(CZncStringW(c.find).GetBuffer(), CZncStringW(c.with).GetBuffer(), c.matchCase);
        EXPECT_EQ(wide, CZncStringW(c.result)) << c.text;
    }
}

TEST(NarrowString, ReadsTokensInAnyOrder) {
    const struct {
        const char *text, *separator;
        int index;
        const char* token;
    } cases[] = {{"250 OK", " ", 0, "250"}, {"250 OK", " ", 1, "OK"}, {"250 OK", " ", 2, "dflt"},
                 {"", " ", 0, "dflt"},      {"a  b", " ", 1, "dflt"}, {"a  b", " ", 2, "b"},
                 {"a, b", ", ", 1, "b"},    {"a b", "", 0, "a b"},    {"a b", "", 1, "dflt"},
                 {"a b", " ", -1, "dflt"},  {"a b ", " ", 2, "dflt"}, {"--", "--", 1, "dflt"}};
    for (const auto& c : cases) {
        CZncString result;
        CZncString(c.text).GetToken(c.separator, "dflt", result, c.index);
        EXPECT_EQ(result, c.token) << c.text << "|" << c.index;
        CZncStringW wide;
        CZncStringW(c.text).GetToken(CZncStringW(c.separator).GetBuffer(), u"dflt", wide, c.index);
        EXPECT_EQ(wide, CZncStringW(c.token));
    }
    // The place that is kept from call to call belongs to a separator and a text.
    CZncString list("a,b;c,d");
    CZncString token;
    for (const auto& [separator, expected] :
         {std::pair(",", "b;c"), std::pair(";", "c,d"), std::pair(",", "b;c")}) {
        list.GetToken(separator, "", token, 1);
        EXPECT_EQ(token, expected);
    }
    list.Assign("q,r");
    list.GetToken(",", "", list, 1);
    EXPECT_EQ(list, "r");
    EXPECT_EQ(CZncString("a  b").CountTokens(" "), 1);
    EXPECT_EQ(CZncString("a b ").CountTokens(" "), 2);
    EXPECT_EQ(CZncString(" a").CountTokens(" "), 0);
    EXPECT_EQ(CZncString("a b").CountTokens(""), 1);
}

TEST(NarrowString, ReadsNumbersWithin32Bits) {
    const std::pair<const char*, std::int32_t> cases[] = {{"250 OK", 250},
                                                          {"\t-7x", -7},
                                                          {"+12", 12},
                                                          {"x1", 0},
                                                          {"99999999999", INT32_MAX},
                                                          {"-2147483648", INT32_MIN},
                                                          {"- 1", 0}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(ParseLong(text), number) << text;
    }
    const CZncString text("a 5");
    EXPECT_EQ(text.GetTokenInt(" ", -9, 0), 0);
    EXPECT_EQ(text.GetTokenInt(" ", -9, 1), 5);
    EXPECT_EQ(text.GetTokenInt(" ", -9, 2), -9);
}

TEST(NarrowString, FormatsWithAndWithoutALimit) {
    const std::string address(5000, 'a');
    CZncString text;
    text.Format("<%s>", address.c_str());
    EXPECT_EQ(text.GetString(), "<" + address.substr(0, 2046));
    text.FormatLong("RCPT TO: <%s> %08X", address.c_str(), 0xABCu);
    EXPECT_EQ(text.GetString(), "RCPT TO: <" + address + "> 00000ABC");
    text.FormatLong("%s", "");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(WideString, ConvertsThroughTheAnsiCodePage) {
    const struct {
        std::uint32_t page;
        const char16_t* wide;
        const char* ansi;
    } cases[] = {{1252, u"caf\u00E9 \u20AC", "caf\xE9 \x80"},
                 {1251, u"\u0416", "\xC6"},
                 {932, u"\u65E5\u672C", "\x93\xFA\x96\x7B"},
                 {65001, u"\U0001F600\u0416", "\xF0\x9F\x98\x80\xD0\x96"}};
    for (const auto& c : cases) {
        const platform::ScopedAnsiCodePage page(c.page);
        EXPECT_STREQ(CZncStringW(c.wide).GetAnsi(), c.ansi);
        EXPECT_EQ(CZncStringW(c.ansi), c.wide);
        EXPECT_EQ(CZncString(c.wide), c.ansi);
        const platform::OwnedBstr owned(CZncString(c.ansi).AllocWide());
        EXPECT_EQ(platform::bstrView(owned.get()), c.wide);
    }
    const platform::ScopedAnsiCodePage page(1252);
    EXPECT_STREQ(CZncStringW(u"a\u0416b").GetAnsi(), "a?b");
    EXPECT_EQ(CZncString(static_cast<const OLECHAR*>(nullptr)), "");
    CZncStringW text(std::u16string_view(u" a\0b", 4));
    text.Append(u"\u00DF\r\n");
    text.Trim();
    EXPECT_EQ(text, u"a\u00DF");
    const platform::OwnedBstr owned(text.AllocWide());
    EXPECT_EQ(platform::bstrView(owned.get()), u"a\u00DF");
}

TEST(WideString, KeepsPairsInUtf8AndLeavesTheTargetOfAnEmptyText) {
    CZncString utf8("kept");
    WideToUtf8(u"", utf8);
    WideToUtf8(nullptr, utf8);
    EXPECT_EQ(utf8, "kept");
    const OLECHAR halves[] = {0xD83D, 0xDE00, 'x', 0xDE00, 0};
    WideToUtf8(halves, utf8);
    EXPECT_EQ(utf8, "\xF0\x9F\x98\x80x\xEF\xBF\xBD");
    CZncStringW wide(u"kept");
    Utf8ToWide("", wide);
    EXPECT_EQ(wide, u"kept");
    Utf8ToWide("\xF0\x9F\x98\x80\xFF", wide);
    EXPECT_EQ(wide, u"\U0001F600\uFFFD");
}

TEST(Strings, CostGrowsWithTheirLengthOnly) {
    // Each of these takes far longer when it costs the square of the length.
    constexpr std::size_t kLength = 1'000'000;
    const std::clock_t start = std::clock();
    CZncString text;
    for (std::size_t i = 0; i < kLength; ++i) {
        text.AppendChar(i % 4 == 3 ? ',' : 'a');
    }
    CZncString token;
    for (int i = 0; i < static_cast<int>(kLength / 4); ++i) {
        text.GetToken(",", "", token, i);
        ASSERT_EQ(token, "aaa");
    }
    text.Replace("AAA,", "b", false);
    EXPECT_EQ(text.GetLength(), kLength / 4);
    const std::string run(kLength / 2, 'a');
    CZncString hay((run + run).c_str());
    hay.Replace((run.substr(kLength / 4) + "b").c_str(), "-");
    EXPECT_EQ(hay.GetLength(), kLength);
    CZncStringW wide(hay.GetBuffer());
    wide.Replace(CZncStringW((run.substr(kLength / 4) + "b").c_str()).GetBuffer(), u"-");
    EXPECT_EQ(wide.GetLength(), kLength);
    wide.Replace(CZncStringW("aaaaaaaaaaaaaaaaaaaa").GetBuffer(), u"");
    EXPECT_EQ(wide.GetLength(), 0u);
    EXPECT_LT(std::clock() - start, 8 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace tessolt
