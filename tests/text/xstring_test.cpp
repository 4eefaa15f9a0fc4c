#include "text/xstring.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <string>
#include <vector>

#include "platform/code_page.h"
#include "support/process_memory.h"
#include "text/outward_strings.h"
#include "text/text_conversion.h"

namespace borvik {
namespace {

using platform::ScopedAnsiCodePage;

constexpr const char* kEuroAndMiddle = "\xE2\x82\xAC\xE4\xB8\xAD";  // U+20AC U+4E2D

/// All that a caller can see of a text.
void expectFaces(XString& text, const char* utf8, const char* ansi, std::u16string_view wide) {
    EXPECT_STREQ(text.getUtf8(), utf8);
    EXPECT_STREQ(text.getAnsi(), ansi);
    EXPECT_EQ(text.getWide(), wide) << utf8;
    EXPECT_EQ(text.wideView(), wide) << utf8;
}

TEST(XString, IsEmptyInAllFacesAtFirst) {
    using Set = void (*)(XString&);
    const Set sets[] = {
        [](XString&) {},
        [](XString& x) { x.setFromUtf8(nullptr); },
        [](XString& x) { x.setFromAnsi(nullptr); },
        [](XString& x) { x.setFromWide(u""); },
        [](XString& x) { x.setFromUtf8Bytes("\xEF\xBB\xBF", 3); },
        [](XString& x) { x.setFromEither("", true); },
        [](XString& x) { x.clear(); },
    };
    for (const Set set : sets) {
        XString text;
        text.appendUtf8(set == sets[0] ? nullptr : "old");
        set(text);
        expectFaces(text, "", "", u"");
        EXPECT_EQ(text.charCount(), 0U);
        EXPECT_TRUE(text.fitsAnsi());
    }
}

TEST(XString, GivesEveryFaceOfEverySource) {
    const ScopedAnsiCodePage page(1252);
    const std::pair<const char*, void (*)(XString&)> sources[] = {
        {"utf-8", [](XString& x) { x.setFromUtf8("\xEF\xBB\xBFn\xC3\xA9\xE2\x82\xAC"); }},
        {"ansi", [](XString& x) { x.setFromAnsi("n\xE9\x80"); }},
        {"wide", [](XString& x) { x.setFromWide(u"n\u00E9\u20AC"); }},
    };
    for (const auto& [name, set] : sources) {
        SCOPED_TRACE(name);
        XString text;
        set(text);
        expectFaces(text, "n\xC3\xA9\xE2\x82\xAC", "n\xE9\x80", u"n\u00E9\u20AC");
        EXPECT_TRUE(text.fitsAnsi());
        EXPECT_EQ(text.charCount(), 3U);
        EXPECT_EQ(text.utf8Length(), 6U);
    }
}

TEST(XString, GivesBackWhatItsFacesDoNotUse) {
    constexpr std::size_t kTexts = 1000;
    constexpr std::size_t kMostOfFaces = 100;
    const ScopedAnsiCodePage ansi(1251);
    std::vector<XString> texts(kTexts);
    const std::size_t before = mallinfo2().uordblks;
    for (XString& text : texts) {
        text.setFromUtf8("\xD0\x96\xD0\x96");
        EXPECT_EQ(text.wideView().size() + text.ansiView().size(), 4U);
    }
    if (!support::kKeepsFreedMemory) {
        EXPECT_LE((mallinfo2().uordblks - before) / kTexts, kMostOfFaces);
    }
}

TEST(XString, DropsTheByteOrderMarkOnlyWhenWhole) {
    XString text;
    text.setFromUtf8Bytes("\xEF\xBB", 2);
    EXPECT_STREQ(text.getUtf8(), "\xEF\xBB");
    text.setFromUtf8("x");
    text.appendUtf8("\xEF\xBB\xBFy");
    text.appendUtf8Bytes("\xEF\xBB\xBF", 3);
    EXPECT_STREQ(text.getUtf8(), "xy");
    EXPECT_TRUE(text.beginsWithUtf8("\xEF\xBB\xBFx"));
}

TEST(XString, TellsWhatTheAnsiPageLacks) {
    const ScopedAnsiCodePage page(1252);
    XString text;
    text.setFromUtf8(kEuroAndMiddle);
    EXPECT_STREQ(text.getAnsi(), "\x80");
    EXPECT_FALSE(text.fitsAnsi());
    text.setFromWide(u"\u4E2D");
    EXPECT_FALSE(text.fitsAnsi());
    // The failed test leaves no half-made face behind.
    EXPECT_STREQ(text.getUtf8(), "\xE4\xB8\xAD");
    text.setFromWide(u"\u20AC");
    EXPECT_TRUE(text.fitsAnsi());
    EXPECT_STREQ(text.getAnsi(), "\x80");
    text.appendUtf8("\xE4\xB8\xAD");
    EXPECT_FALSE(text.fitsAnsi()) << "an append makes the question open again";
}

TEST(XString, CountsCharactersByItsFaces) {
    XString text;
    text.setFromUtf8("\xC3\xA9");
    EXPECT_EQ(text.charCount(), 1U);
    const ScopedAnsiCodePage page(932);
    text.setFromAnsi("\x82\xA0");
    EXPECT_EQ(text.wideView(), u"\u3042");
    EXPECT_EQ(text.charCount(), 2U);
}

TEST(XString, AppendsInAnyForm) {
    const ScopedAnsiCodePage page(1252);
    XString text;
    text.setFromAnsi("\xE9");
    EXPECT_STREQ(text.getUtf8(), "\xC3\xA9");
    text.appendAnsi("\x80");
    EXPECT_STREQ(text.getUtf8(), "\xC3\xA9\xE2\x82\xAC");
    text.appendWide(u"\u4E2D");
    text.appendUtf8("!");
    text.appendInCharset("\xD0", "  ISO-8859-5 ");
    text.appendInCharset("x", nullptr);
    EXPECT_EQ(text.wideView(), u"\u00E9\u20AC\u4E2D!\u0430x");
    text.appendInCharset("\xE9", "ANSI");
    EXPECT_STREQ(text.getUtf8(), "\xC3\xA9\xE2\x82\xAC!x\xC3\xA9")
        << "an ANSI append passes the text through the ANSI page";
    text.setFromUtf8("a");
    text.appendInCharset("gone", "no-such-charset");
    text.appendInCharset(nullptr, "utf-8");
    text.appendWide(nullptr);
    EXPECT_STREQ(text.getUtf8(), "a");
}

TEST(XString, AppendsOtherTextsAndItself) {
    using Set = void (*)(XString&);
    const Set sets[] = {
        [](XString& x) { x.setFromUtf8("ab"); },
        [](XString& x) { x.setFromAnsi("ab"); },
        [](XString& x) { x.setFromWide(u"ab"); },
    };
    for (const Set set : sets) {
        XString first, second;
        first.setFromUtf8("-");
        set(second);
        first.appendXString(second);
        expectFaces(first, "-ab", "-ab", u"-ab");
        second.appendXString(second);
        expectFaces(second, "abab", "abab", u"abab");
    }
}

TEST(XString, FindsByCharacter) {
    const struct {
        const char *text, *wanted;
        std::ptrdiff_t index;
    } cases[] = {{"abc", "x", -1},
                 {"abc", "a", 0},
                 {"\xC3\xA9x", "x", 1},
                 {"abc", "", 0},
                 {"\xE4\xB8\xAD\xC3\xA9:b", ":", 2},
                 {"abc", nullptr, -1},
                 {"abc", "ABC", -1}};
    for (const auto& c : cases) {
        XString text;
        text.setFromUtf8(c.text);
        EXPECT_EQ(text.indexOfUtf8(c.wanted), c.index) << c.text;
        EXPECT_EQ(text.containsUtf8(c.wanted), c.index >= 0) << c.text;
        EXPECT_EQ(text.beginsWithUtf8(c.wanted), c.index == 0) << c.text;
    }
}

TEST(XString, ReplacesCharacters) {
    XString text;
    text.setFromUtf8("a|\xF0\x9F\x98\x80|\xC3\xA9");
    text.replaceChar('|', '_');
    EXPECT_STREQ(text.getUtf8(), "a_\xF0\x9F\x98\x80_\xC3\xA9") << "nothing else is lost";
    text.replaceChar('_', '\0');
    EXPECT_STREQ(text.getUtf8(), "a_\xF0\x9F\x98\x80_\xC3\xA9") << "a text holds no NUL";
    text.setFromWide(u"a|\u4E2D|");
    text.replaceChar('|', '_');
    EXPECT_EQ(text.wideView(), u"a_\u4E2D_");
    // The second byte of a double-byte character is no character of its own.
    const ScopedAnsiCodePage page(932);
    text.setFromAnsi("\x83\x5C\x5C");
    text.replaceChar('\\', '/');
    EXPECT_STREQ(text.getAnsi(), "\x83\x5C/");
}

TEST(BvString, ReadsAndGivesTextByItsMode) {
    const ScopedAnsiCodePage page(1252);
    BvString text;
    text.setString("\xE9");
    EXPECT_STREQ(text.getString(), "\xE9");
    text.utf8Mode = true;
    EXPECT_STREQ(text.getString(), "\xC3\xA9");
    text.setString("\xE4\xB8\xAD");
    EXPECT_STREQ(text.getAnsi(), "");
    EXPECT_EQ(text.getWide(), std::u16string_view(u"\u4E2D"));
}

using namespace std::string_view_literals;

TEST(TextConversion, ConvertsInPlace) {
    const struct {
        std::string_view before;
        std::uint32_t from, to;
        std::string_view after;
    } cases[] = {
        {"abc", 437, 1252, "abc"},         {"\x82", 437, 1252, "\xE9"},
        {"\x82", 437, 65001, "\xC3\xA9"},  {"\xE9", 1252, 65001, "\xC3\xA9"},
        {"\xE9", 0, 65001, "\xE9"},        {"", 1252, 65001, ""},
        {"ab", 65001, 1200, "a\0b\0"sv},   {"\xFF\xFEx\0"sv, 1200, 65001, "x"},
        {"\xE4\xB8\xAD", 65001, 1252, ""},
    };
    for (const auto& c : cases) {
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
    const std::string run(37, 'a');
    const struct {
        std::string bytes;
        std::uint32_t page;
        bool mislabelled;
    } cases[] = {
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
    for (const auto& c : cases) {
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
