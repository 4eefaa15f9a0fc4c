#include "charset/charset_registry.h"

#include <gtest/gtest.h>

#include <set>

#include "charset/charset_names.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

TEST(CharsetNaming, ReadsEverySpellingInAnyDress) {
    EXPECT_EQ(acceptedCharsetNames().size(), 413U);
    for (const auto& [name, codePage] : acceptedCharsetNames()) {
        std::string dressed = "\t ";
        for (const char c : name) {
            dressed += c == '-' ? '_' : static_cast<char>(std::toupper(c));
        }
        EXPECT_EQ(CharsetNaming().nameToCodePage((dressed + "\r\n").c_str()), codePage) << name;
    }
}

TEST(CharsetNaming, NamesOfPagesLeadBackExceptForThoseThatShareOne) {
    EXPECT_EQ(preferredCharsetNames().size(), 140U);
    const std::map<std::uint32_t, std::uint32_t> elsewhere = {
        {50221, 50220}, {50222, 50220}, {20932, 51932}, {54936, 936}};
    for (const auto& [codePage, name] : preferredCharsetNames()) {
        StringBuffer out("old");
        EXPECT_TRUE(CharsetNaming().codePageToName(codePage, out));
        EXPECT_EQ(out.view(), name);
        const auto other = elsewhere.find(codePage);
        EXPECT_EQ(CharsetNaming::lookUp(name), other == elsewhere.end() ? codePage : other->second)
            << name;
    }
    StringBuffer out("old");
    EXPECT_FALSE(CharsetNaming().codePageToName(21027, out));
    EXPECT_TRUE(out.empty());
}

TEST(CharsetNaming, LooksUpSingleNames) {
    const platform::ScopedAnsiCodePage ansi(1251);
    const std::pair<const char*, std::uint32_t> cases[] = {
        {nullptr, 0},
        {"", 0},
        {"  ", 0},
        {"us", 0},
        {"L1", 0},
        {"oem", 0},
        {"cp1252", 0},
        {"utf\xC0-8", 0},
        {"windows-1252-and-a-name-that-is-longer-than-all", 0},
        {"US-ASCII", 20127},
        {"Latin1", 28591},
        {"Windows_1252\r\n", 1252},
        {"ANSI", 1251},
        {"x-ansi", 1252},
        {"cp1256", 1256},
        {"utf-16", 1200},
        {"csiso2022jp", 50220},
        {"iso-2022-jp-1", 50221},
        {"iso-2022-jp-2", 50222},
        {"gb18030", 936},
        {"tis_620", 874}};
    for (const auto& [name, codePage] : cases) {
        EXPECT_EQ(CharsetNaming().nameToCodePage(name), codePage) << (name ? name : "null");
        EXPECT_EQ(CharsetNaming().isKnownName(name), codePage != 0);
    }
    StringBuffer out;
    EXPECT_TRUE(CharsetNaming().ansiCharsetName(out));
    EXPECT_EQ(out.view(), "windows-1251");
}

TEST(BvCharset, KeepsPageAndNameTogether) {
    const platform::ScopedAnsiCodePage ansi(1250);
    struct Case {
        const char* label;
        std::uint32_t codePage;
        std::string name;
    };
    const Case cases[] = {
        {nullptr, 1251, "windows-1251"},
        {"default", 0, ""},
        {"DEFAULT", 0, ""},
        {"x-user-defined", 0, ""},
        {"X-USER-DEFINED", 50000, ""},
        {"Ansi", 1250, "windows-1250"},
        {"OEM", 437, "ibm437"},
        {" ansi", 1250, "windows-1250"},
        {"nonsense", 0, ""},
        {"Shift-JIS", 932, "shift_jis"},
        {"x-cp21027", 21027, ""},
        {"iso-2022-jp-1", 50221, "csiso2022jp"},
    };
    for (const auto& [label, codePage, name] : cases) {
        _bvCharset charset;
        charset.setByCodePage(1251);
        charset.setByName(label);
        _bvCharset copy;
        copy.copyFrom(charset);
        EXPECT_EQ(copy.getCodePage(), codePage) << (label ? label : "null");
        EXPECT_EQ(copy.getName(), name);
        EXPECT_TRUE(copy.hasName(name.c_str()));
        EXPECT_FALSE(copy.hasName("utf-8"));
    }
    _bvCharset charset;
    charset.setByName("utf-8");
    charset.setByCodePage(21027);
    EXPECT_EQ(charset.getCodePage(), 0U);
    EXPECT_STREQ(charset.getName(), "");
}

}  // namespace
}  // namespace borvik
