#include "charset/encoding_convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/charset_names.h"
#include "charset/charset_oracle.h"
#include "charset/charset_registry.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"
#include "platform/code_page.h"
#include "platform/digests.h"

namespace borvik {
namespace {

using namespace std::string_literals;

void expectSame(const Outcome& got, const Outcome& wanted, const std::string& what) {
    EXPECT_EQ(got.complete, wanted.complete) << what;
    EXPECT_TRUE(got.bytes == wanted.bytes) << what << " gave " << hex(got.bytes).substr(0, 400)
                                           << "\nfor " << hex(wanted.bytes).substr(0, 400);
}

std::string allUnits() {
    std::u16string units;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        units += static_cast<char16_t>(unit);
    }
    return bytesOf(units);
}

std::string allBytes() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
}

Outcome then(const Outcome& first, Outcome second) {
    second.complete = second.complete && first.complete;
    return second;
}

TEST(EncodingConvert, GivesWhatTheStoredRowsSayForEveryByteAndUnit) {
    const std::string units = allUnits();
    for (const std::uint32_t page : tablePages()) {
        const PageOracle oracle(page);
        const std::string name = std::to_string(page);
        expectSame(converted(kUtf16Le, page, units), oracle.encode(units), name + " encode");
        if (page == kMacArabic) {
            continue;  // Its bytes are put in another order first.
        }
        const Outcome decoded = oracle.decode(allBytes());
        expectSame(converted(page, kUtf16Le, allBytes()), decoded, name + " decode");
        expectSame(converted(page, kUtf8, allBytes()), then(decoded, oracleToUtf8(decoded.bytes)),
                   name + " to UTF-8");
    }
}

TEST(EncodingConvert, GivesWhatTheStoredRowsSayForEveryPairOfBytes) {
    for (const std::uint32_t page : tablePages(true)) {
        const PageOracle oracle(page);
        for (int lead = 0; lead < 256; ++lead) {
            std::string pairs;
            for (const char trail : allBytes()) {
                pairs += {static_cast<char>(lead), trail, '\n'};
            }
            expectSame(converted(page, kUtf16Le, pairs), oracle.decode(pairs),
                       std::to_string(page) + " lead " + std::to_string(lead));
        }
    }
}

// Every way through the engine that has a fast form, on texts whose runs begin and end at every
// place of a block, and are cut at every place.
TEST(EncodingConvert, FastFormsEqualThePlainOnesOnMixedText) {
    const PageOracle other(949);
    for (unsigned seed = 0; seed < 4; ++seed) {
        const std::string utf8 = mixedUtf8(seed, seed == 0 ? 20000 : 300);
        const Outcome units = oracleFromUtf8(utf8);
        for (std::size_t cut = 0; cut < utf8.size(); cut += seed == 0 ? 1999 : 1) {
            const auto rest = std::string_view(utf8).substr(cut);
            expectSame(converted(kUtf8, kUtf16Le, rest), oracleFromUtf8(rest), "from UTF-8");
            const auto restUnits =
                std::string_view(units.bytes).substr(std::min(cut, units.bytes.size()));
            expectSame(converted(kUtf16Le, kUtf8, restUnits), oracleToUtf8(restUnits), "to UTF-8");
        }
        for (const std::uint32_t page : {1251U, 932U, 51932U, 500U, 1256U}) {
            const PageOracle oracle(page);
            const std::string name = std::to_string(page);
            const std::size_t step = seed == 0 ? 4999 : 7;
            for (std::size_t cut = seed % step; cut < utf8.size(); cut += step) {
                const auto rest = std::string_view(utf8).substr(cut);
                expectSame(converted(kUtf8, page, rest), oracle.encode(oracleFromUtf8(rest).bytes),
                           name + " from UTF-8");
                const Outcome decoded = oracle.decode(rest);
                expectSame(converted(page, kUtf16Le, rest), decoded, name + " garbage");
                expectSame(converted(page, kUtf8, rest), then(decoded, oracleToUtf8(decoded.bytes)),
                           name + " garbage to UTF-8");
                expectSame(converted(page, 949, rest), then(decoded, other.encode(decoded.bytes)),
                           name + " garbage to 949");
            }
        }
    }
}

TEST(EncodingConvert, ConvertsWhatTheTablesDoNotTell) {
    const struct {
        std::uint32_t from, to;
        std::string input, output;
        bool complete;
    } cases[] = {
        // No charset, and equal ones: the bytes as they are.
        {0, 0, "\xEF\xBB\xBF\x81", "\xEF\xBB\xBF\x81", true},
        {0, 28591, "\x81", "\x81", true},
        {1252, 0, "\x81", "\x81", true},
        {65001, 65001, "\xEF\xBB\xBF\xF0\x9F\x98\x80", "\xEF\xBB\xBF\xF0\x9F\x98\x80", true},
        // Byte-order marks go, and overrule the label.
        {65001, 1252, "\xEF\xBB\xBF", "", true},
        {65001, 1252, "\xEF\xBB\xBFx\xEF\xBB\xBF", "x", false},
        {1200, 65001, "\xFE\xFF\0A"s, "A", true},
        {1201, 65001, "\xFF\xFEx\0"s, "x", true},
        {1201, 1200, "\xFF\xFEx\0"s, "x\0"s, true},
        {1200, 1201, "\xFE\xFF\0A"s, "A\0"s, true},
        {65006, 65001, "\xFF\xFE\0\0A\0\0\0"s, "A", true},
        {65005, 65001, "\0\0\xFE\xFF\0\0\0A"s, "A", true},
        {1200, 65000, "\xFE\xFFx\0"s, "x", true},
        {1200, 1252, "\xFF\xFE", "", true},
        // Odd bytes of UTF-16.
        {1201, 65001, "\0A\0"s, "A", true},
        {1201, 65001, "A", "", true},
        {1200, 65001, "A\0B"s, "A", false},
        {1200, 65001, "A", "", false},
        {1200, 1252, "A\0B"s, "A", true},
        {1200, 1252, "A", "", false},
        // Dropped characters.
        {65001, 20127, "a\xC3\xA9\xE2\x82\xAC\xC2\xA0", "a ", false},
        {65001, 1252, "\xF0\x9F\x98\x80", "", true},
        {65001, 1252, "a\xC3", "a", true},
        {1200, 65001, bytesOf(u"\xD83D\xDE00"), "\xED\xA0\xBD\xED\xB8\x80", true},
        {1200, 65001, bytesOf({u"a\0b", 3}), "ab", true},
        {1200, 932, bytesOf({u"a\0b", 3}), "a\0b"s, true},
        {1252, 65001, "\x81", "", false},
        {65001, 1256, "\xD9\xA3\xDB\xB7", "37", true},
        {65001, 28596, "\xD9\xA3\xDB\xB7", "37", true},
        {65001, 1252, "\xD9\xA3\xDB\xB7", "", false},
        // Pages without tables.
        {54936, 65001, "a", "", false},
        {65001, 54936, "a", "", false},
        {65001, 54936, "\xFF", "", true},
        {1252, 54936, "a", "", false},
        {54936, 1200, "a", "", false},
        {54936, 65001, "", "", true},
        {54936, 65000, "a", "", false},
        {50220, 54936, "a", "", false},
        {50225, 54936, "a", "", false},
        // By way of another page, or of none.
        {1252, 65000, "a\xE9", "a+AOk-", true},
        {50220, 1252, "\x1B$BF|\x1B(Ba", "a", false},
        {50220, 932, "\x1B$BF|\x1B(B", "\x93\xFA", true},
        {50225, 65001, "\x1B$)C", "", true},
        // Mac Arabic: right-to-left runs of ASCII twins.
        {10004, 65001, "\xB1\xB2\xB3", "321", true},
        {10004, 65001, "\xB1x\xB2", "1x2", true},
        {10004, 65001, "x\xA8\xB1\xB2\xA9y\xDB\xDD", "x)21(y][", true},
        {10004, 65001, "\xA5\xAC", "\xD9\xAA\xD8\x8C", true},
        // UTF-32.
        {65001, 65005, "a\xE2\x82\xAC\xF0\x9F\x98\x80", "a\0\0\0\xAC\x20\0\0\0\xF6\x01\0"s, true},
        {65001, 65006, "a\xC3\xA9", "\0\0\0a\0\0\0\xE9"s, true},
        {65001, 65005, "a\xC3", "a\0\0\0"s, false},
        {65001, 65005, "a\xF4\x90\x80\x80", "a\0\0\0"s, false},
        {65001, 65005, "\xE0\x9F\xBF", "", false},
        {1252, 65005, "a\x81", "", false},
        {1200, 65006, bytesOf(u"\xD83D"), "\0\0\xD8\x3D"s, true},
        {65005, 65001, "\0\xD8\0\0\xFF\x07\0\0\xFF\xFF\x1F\0\0\0\x20\0!"s,
         "\xED\xA0\x80\xDF\xBF\xF7\xBF\xBF\xBF\xEF\xBF\xBD", true},
        {65006, 65001, "\0\0\0"s, "", true},
        {65006, 1252, "\0\0\0A\0\0"s, "A", true},
    };
    for (const auto& test : cases) {
        const std::string what =
            std::to_string(test.from) + " to " + std::to_string(test.to) + " of " + hex(test.input);
        expectSame(converted(test.from, test.to, test.input), {test.output, test.complete}, what);
    }
}

TEST(EncodingConvert, IllFormedUtf8EndsUtf32) {
    for (const char* sequence : {"\x80",
                                 "\xBF",
                                 "\xC0\x80",
                                 "\xC1\xBF",
                                 "\xC2",
                                 "\xC2\x7F",
                                 "\xC2\xC0",
                                 "\xE0\x9F\xBF",
                                 "\xE1\x80",
                                 "\xE1\x7F\x80",
                                 "\xE1\x80\x7F",
                                 "\xE1\x80\xC0",
                                 "\xF0\x8F\xBF\xBF",
                                 "\xF1\x80\x80",
                                 "\xF1\x80\x80\x7F",
                                 "\xF1\x80\xC0\x80",
                                 "\xF4\x90\x80\x80",
                                 "\xF5\x80\x80\x80",
                                 "\xFE",
                                 "\xFF"}) {
        expectSame(converted(kUtf8, kUtf32Be, "a"s + sequence), {"\0\0\0a"s, false}, hex(sequence));
    }
    // The ends of each length, the surrogates that are let through among them.
    expectSame(converted(kUtf8, kUtf32Be,
                         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xED\xA0\x80\xEF\xBF\xBF"
                         "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
               {"\0\0\0\x7F\0\0\0\x80\0\0\x07\xFF\0\0\x08\0\0\0\xD7\xFF\0\0\xD8\0\0\0\xFF\xFF"
                "\0\x01\0\0\0\x10\xFF\xFF"s,
                true},
               "ends");
}

TEST(EncodingConvert, AppendsAndTakesNamesAndTheAnsiPage) {
    const platform::ScopedAnsiCodePage ansi(1251);
    EncodingConvert convert;
    DataBuffer out;
    EXPECT_TRUE(convert.convert(1252, 65001, "\xE9", 1, out));
    EXPECT_TRUE(convert.convertByNames("ISO-8859-1", "utf-8", "\xE8", 1, out));
    EXPECT_TRUE(convert.convertFromName("koi8-r", 65001, "\xC1", 1, out));
    EXPECT_TRUE(convert.convertAnsiTo(65001, "\xE1", 1, out));
    EXPECT_TRUE(convert.convertToAnsi(65001, "\xD0\xB2", 2, out));
    EXPECT_EQ(out.view(), "\xC3\xA9\xC3\xA8\xD0\xB0\xD0\xB1\xE2");
    EXPECT_FALSE(convert.convertByNames("ISO-8859-1", "no-such", "a", 1, out));
    EXPECT_FALSE(convert.convertByNames("no-such", "utf-8", "a", 1, out));
    EXPECT_FALSE(convert.convertFromName(nullptr, 65001, "a", 1, out));
    EXPECT_EQ(out.getSize(), 9U);
    EXPECT_TRUE(convert.convert(932, 65001, nullptr, 5, out));
    for (const std::uint32_t page : {932U, 1252U, 20127U, 50221U, 50225U, 65001U}) {
        EXPECT_TRUE(EncodingConvert::keepsAscii(page)) << page;
    }
    for (const std::uint32_t page : {37U, 1200U, 20106U, 65000U, 65005U, 54936U, 0U}) {
        EXPECT_FALSE(EncodingConvert::keepsAscii(page)) << page;
    }
    for (const std::uint32_t page :
         {37U, 932U, 1200U, 1201U, 1252U, 50220U, 50221U, 50225U, 65000U, 65001U, 65005U, 65006U}) {
        EXPECT_TRUE(EncodingConvert::isSupported(page)) << page;
    }
    for (const std::uint32_t page : {0U, 54936U, 65002U}) {
        EXPECT_FALSE(EncodingConvert::isSupported(page)) << page;
    }
}

TEST(AnsiText, EveryByteOfASingleBytePageComesBack) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    bytes += bytes.substr(0x41) + bytes;
    for (const std::uint32_t page : tablePages(false)) {
        if (!platform::isLegalAnsiPage(page)) {
            continue;
        }
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
    const struct {
        std::uint32_t codePage;
        std::u16string wide;
        std::string ansi;
    } cases[] = {
        {1252, u"\u20AC\u0081\u0416x", "\x80\x81?x"},
        {1252, u"\xD83D\xDE00", "??"},
        {1251, u"\u0416\u00E9", "\xC6?"},
        {932, u"\u65E5\u672C\u00E9", "\x93\xFA\x96\x7B?"},
        {65001, u"\u65E5\xD83D\xDE00\xD83D", "\xE6\x97\xA5\xF0\x9F\x98\x80\xEF\xBF\xBD"},
        {12345, u"\u20AC", "\xE2\x82\xAC"},
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
    const struct {
        std::string utf8;
        std::u16string wide;
        bool comesBack;
    } cases[] = {
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
            EXPECT_EQ(isWellFormedUtf8(padded), comesBack);
            if (comesBack) {
                EXPECT_EQ(wideToUtf8Paired(widePadded), padded);
            }
        }
    }
    EXPECT_EQ(wideToUtf8Paired(u"\xDE00\xD83Dx\xD83D"), "\xEF\xBF\xBD\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(AnsiText, FollowsThePageOfThePlatform) {
    const struct {
        std::uint32_t page;
        std::u16string text, unfit;
    } cases[] = {{1252, u"\u00E9\u0081", u"\u65E5"},
                 {1251, u"\u0416", u"\u00E9"},
                 {932, u"\u65E5", u"\u00E9"},
                 {65001, u"\xD83D\xDE00\xFFFD", u"\xD83D"}};
    for (const auto& [page, text, unfit] : cases) {
        const platform::ScopedAnsiCodePage ansi(page);
        EXPECT_EQ(ansiCodePage(), page);
        EXPECT_EQ(ansiToWide(wideToAnsi(text)), text);
        EXPECT_EQ(utf8ToAnsi(wideToUtf8Paired(text)), wideToAnsi(text));
        EXPECT_EQ(ansiToUtf8(wideToAnsi(text)), wideToUtf8Paired(text));
        EXPECT_EQ(wideToAnsiExactly(text), wideToAnsi(text));
        EXPECT_EQ(wideToAnsiExactly(u"a" + unfit), std::nullopt);
    }
}

TEST(AnsiText, EveryAnsiPageAndEveryOneThatKeepsAsciiHoldsIt) {
    std::string ascii(0x7F, '\0');
    std::iota(ascii.begin(), ascii.end(), '\1');
    for (std::uint32_t page = 0; page < 66000; ++page) {
        EXPECT_TRUE(!platform::isLegalAnsiPage(page) || ansiToUtf8(ascii, page) == ascii) << page;
        if (isAsciiCompatible(page) && EncodingConvert::keepsAscii(page)) {
            EXPECT_EQ(converted(kUtf8, page, ascii).bytes, ascii) << page;
            EXPECT_EQ(converted(page, kUtf8, ascii).bytes, ascii) << page;
        }
    }
}

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

TEST(CharsetNaming, LeadsWhereItAlwaysLed) {
    std::string rows;
    for (const auto& [name, codePage] : acceptedCharsetNames()) {
        rows.append(name).append("=" + std::to_string(codePage) + "\n");
    }
    for (const auto& [codePage, name] : preferredCharsetNames()) {
        rows.append(std::to_string(codePage) + "=").append(name).append("\n");
    }
    const std::string digest = platform::digestOf(platform::Digest::kSha256, rows);
    EXPECT_EQ(hex(digest.substr(0, 8)), "60B8B28C55FF0EB8");
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
    const std::pair<const char*, std::uint32_t> cases[] = {{nullptr, 0},
                                                           {"", 0},
                                                           {"  ", 0},
                                                           {"us", 0},
                                                           {"L1", 0},
                                                           {"oem", 0},
                                                           {"cp1252", 0},
                                                           {"utf\xC0-8", 0},
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
    EXPECT_FALSE(CharsetNaming().isKnownName("windows-1252-and-a-name-that-is-longer-than-all"));
    StringBuffer out;
    EXPECT_TRUE(CharsetNaming().ansiCharsetName(out));
    EXPECT_EQ(out.view(), "windows-1251");
}

TEST(BvCharset, KeepsPageAndNameTogether) {
    const platform::ScopedAnsiCodePage ansi(1250);
    const struct {
        const char* label;
        std::uint32_t codePage;
        std::string name;
    } cases[] = {
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
