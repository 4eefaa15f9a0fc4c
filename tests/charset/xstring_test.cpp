#include "charset/xstring.h"

#include <gtest/gtest.h>

#include <string>

#include "charset/outward_strings.h"
#include "platform/code_page.h"

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
    struct Case {
        const char* text;
        const char* wanted;
        std::ptrdiff_t index;
    };
    const Case cases[] = {{"abc", "x", -1},
                          {"abc", "a", 0},
                          {"\xC3\xA9x", "x", 1},
                          {"abc", "", 0},
                          {"\xE4\xB8\xAD\xC3\xA9:b", ":", 2},
                          {"abc", nullptr, -1},
                          {"abc", "ABC", -1}};
    for (const Case& c : cases) {
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

}  // namespace
}  // namespace borvik
