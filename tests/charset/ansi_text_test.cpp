#include "charset/ansi_text.h"

#include <gtest/gtest.h>

#include "charset/charset_oracle.h"
#include "charset/conversion_tables.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

using testing::tablePages;

TEST(AnsiText, EveryByteOfASingleBytePageComesBack) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    bytes += bytes.substr(0x41) + bytes;
    for (const std::uint32_t page : tablePages(false)) {
        const std::u16string wide = ansiToWide(bytes, page);
        EXPECT_EQ(wide.size(), bytes.size());
        const DecodeTable& table = *decodeTable(page);
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const char16_t unit = table.single[byte];
            EXPECT_EQ(wide[byte], unit != 0 ? unit : byte) << page;
            // An undefined byte comes back unless its unit has a place of its own in the page.
            if (unit != 0 || encodeTable(page)->cell(static_cast<char16_t>(byte)) == 0) {
                EXPECT_EQ(wideToAnsi(wide.substr(byte, 1), page), bytes.substr(byte, 1)) << page;
            }
        }
    }
}

TEST(AnsiText, SubstitutesWhatThePageLacks) {
    struct Case {
        std::uint32_t codePage;
        std::u16string wide;
        std::string ansi;
    };
    const Case cases[] = {
        {1252, u"\u20AC\u0081\u0416x", "\x80\x81?x"},
        {1252, u"\xD83D\xDE00", "??"},
        {1251, u"\u0416\u00E9", "\xC6?"},
        {932, u"\u65E5\u672C\u00E9", "\x93\xFA\x96\x7B?"},
        {65001, u"\u65E5\xD83D\xDE00\xD83D", "\xE6\x97\xA5\xF0\x9F\x98\x80\xEF\xBF\xBD"},
        {51932, u"\u20AC\u0416", "\x80?"},
        {12345, u"\u20AC", "\x80"},
        {1252, {u"a\0b", 3}, {"a\0b", 3}},
        {936, {u"a\0\u4E00", 3}, {"a\0\xD2\xBB", 4}},
    };
    for (const auto& [codePage, wide, ansi] : cases) {
        EXPECT_EQ(wideToAnsi(wide, codePage), ansi) << codePage;
    }
    EXPECT_EQ(ansiToWide("\x93\xFA\x93", 932), u"\u65E5?");
    EXPECT_EQ(ansiToWide("\x81 a", 949), u"? a");
}

TEST(AnsiText, PairsSurrogatesAndMarksIllFormedParts) {
    struct Case {
        std::string utf8;
        std::u16string wide;
        bool comesBack;
    };
    const Case cases[] = {
        {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"a\u00E9\u20AC\xD83D\xDE00", true},
        {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF", true},
        {{"a\0b", 3}, {u"a\0b", 3}, true},
        {"\xC3", u"\xFFFD", false},
        {"\xE2\x82x", u"\xFFFDx", false},
        {"\xF0\x9F\x98", u"\xFFFD", false},
        {"\xED\xA0\xBD", u"\xFFFD\xFFFD\xFFFD", false},
        {"\xC0\x80", u"\xFFFD\xFFFD", false},
        {"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD", false},
        {"\x80\xFF", u"\xFFFD\xFFFD", false},
    };
    for (const auto& [utf8, wide, comesBack] : cases) {
        for (std::size_t shift = 0; shift < 20; ++shift) {
            std::string padded(2 * shift, 'p');
            padded.insert(shift, utf8);
            std::u16string widePadded(2 * shift, u'p');
            widePadded.insert(shift, wide);
            EXPECT_EQ(utf8ToWidePaired(padded), widePadded);
            if (comesBack) {
                EXPECT_EQ(wideToUtf8Paired(widePadded), padded);
            }
        }
    }
    EXPECT_EQ(wideToUtf8Paired(u"\xDE00\xD83Dx\xD83D"), "\xEF\xBF\xBD\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(AnsiText, FollowsThePageOfThePlatform) {
    const std::pair<std::uint32_t, std::u16string> cases[] = {
        {1252, u"\u00E9"}, {1251, u"\u0416"}, {932, u"\u65E5"}, {65001, u"\xD83D\xDE00"}};
    for (const auto& [page, text] : cases) {
        const platform::ScopedAnsiCodePage ansi(page);
        EXPECT_EQ(ansiCodePage(), page);
        EXPECT_EQ(ansiToWide(wideToAnsi(text)), text);
        EXPECT_EQ(utf8ToAnsi(wideToUtf8Paired(text)), wideToAnsi(text));
        EXPECT_EQ(ansiToUtf8(wideToAnsi(text)), wideToUtf8Paired(text));
    }
}

}  // namespace
}  // namespace borvik
