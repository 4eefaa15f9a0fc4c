#include <gtest/gtest.h>

#include "base/data_buffer.h"
#include "charset/charset_oracle.h"
#include "charset/code_pages.h"
#include "charset/japanese.h"
#include "charset/korean.h"
#include "charset/utf7.h"

namespace borvik {
namespace {

using namespace std::string_literals;
using testing::bytesOf;
using testing::converted;
using testing::hex;

using ByteTransform = void (*)(std::string_view, DataBuffer&);

struct Case {
    std::string input;
    std::string output;
};

template <typename Cases>
void expectTransforms(const Cases& cases, ByteTransform transform) {
    for (const Case& test : cases) {
        DataBuffer out;
        out.append("kept");
        transform(test.input, out);
        EXPECT_EQ(hex(out.view().substr(4)), hex(test.output)) << hex(test.input);
    }
}

TEST(Japanese, DecodesIso2022Jp) {
    const Case cases[] = {
        {"plain\r\n", "plain\r\n"},
        {"\x1B$B\x46\x7C\x4B\x5C\x1B(Bx", "\x93\xFA\x96\x7Bx"},
        {"\x1B$@\x46\x7C\x1B(J\x5C", "\x93\xFA\x5C"},
        {"\x1B(I\x31\x32\n\x33", "\xB1\xB2\n\xB3"},
        {"\x1B$B\x46\x7C\nab", "\x93\xFA\nab"},
        {"\x1B$Z\x1B(Z\x1BQz", "z"},
        {"\x1B(I\x1B$B\x46\x7C", "\x93\xFA"},
        {"a\x1B$B\x46", "a"},
        {"a\x1B$", "a"},
        {"\x1B$B\x79\x21\x7C\x71\x7C\x6F\x7C\x70\x7C\x7B",
         "\xFA\x5C\xFA\x40\x81\x45\x81\x45\x81\xCA"},
        // Behind the list and before it, the common rule takes over.
        {"\x1B$B\x7C\x7F\x79\x20", "\xEE\xFD\xED\x3F"},
    };
    expectTransforms(cases, [](std::string_view in, DataBuffer& out) {
        Japanese().iso2022JpToShiftJis(in.data(), in.size(), out);
    });
}

TEST(Japanese, EncodesIso2022Jp) {
    const Case cases[] = {
        {"only ASCII, and more of it than a block holds\r\n",
         "only ASCII, and more of it than a block holds\r\n"},
        {"\x93\xFA\r\n\x96\x7B", "\x1B$B\x46\x7C\x1B(B\r\n\x1B$B\x4B\x5C\x1B(B"},
        {"\xB6\xDE\xCA\xDF\xB3\xDE\xB1\xDE\xB1", "\x1B$B%,%Q%t%\"!+%\"\x1B(B"},
        {"\xFA\x40\xFA\x5C\xFC\x4B", "\x1B$B\x7C\x71\x79\x21\x7C\x6E\x1B(B"},
        {"\x81\x20z", "\x81\x20z"},
        {"a\x93", "a"},
        {"\x93\xFA\x93", "\x1B$B\x46\x7C\x1B(B"},
        {"\x80\xA0\xFF", "\x80\xA0\xFF"},
        {"\x93\xFA\xF0\x40", "\x1B$B\x46\x7C\x7F\x21\x1B(B"},
        {"\x93\xFA\x80", "\x1B$B\x46\x7C\x1B(B\x80"},
        {"\xFC\x4Cz", "\xFCz"},
        {"\x93\xFA\xFC\x4Cz", "\x1B$B\x46\x7C\x97\x2D\x1B(Bz"},
    };
    expectTransforms(cases, [](std::string_view in, DataBuffer& out) {
        Japanese().shiftJisToIso2022Jp(in.data(), in.size(), out);
    });
}

TEST(Korean, DecodesIso2022Kr) {
    const Case cases[] = {
        {"\x1B$)C\x0E\x30\x21\x0F-\x0E\x30", "\xB0\xA1-"},
        {"\x0E\x30\x21\x1B$)C!0", "\xB0\xA1!0"},
        {"a\x1B$)\x1B$)Cb\x1B", "a$)b"},
        {"a plain text that goes on for a while\x0F.", "a plain text that goes on for a while."},
    };
    expectTransforms(cases, [](std::string_view in, DataBuffer& out) {
        Korean().iso2022KrToKsc(in.data(), in.size(), out);
    });
}

TEST(Korean, EncodesIso2022Kr) {
    const Case cases[] = {
        {"", ""},
        {"A", "\x1B$)CA"},
        {"a\xB0\xA1\xB0\xA2z\xB0\xA1", "\x1B$)Ca\x0E\x30\x21\x30\x22\x0Fz\x0E\x30\x21"},
        {"\xB0\xA1\xB0", "\x1B$)C\x0E\x30\x21"},
    };
    expectTransforms(cases, [](std::string_view in, DataBuffer& out) {
        Korean().kscToIso2022Kr(in.data(), in.size(), out);
    });
}

TEST(Utf7, Encodes) {
    const std::pair<std::u16string, std::string> cases[] = {
        {u"", ""},
        {u"\xFEFF", ""},
        {u"\xFEFFx\xFEFF", "x+/v8-"},
        {u"+", "+-"},
        {u"\u00E9", "+AOk-"},
        {u"a\u00E9b", "a+AOk-b"},
        {u"\u00E9+\u00E9.", "+AOkAKwDp-."},
        {u"1 + 1 = 2!", "1 +- 1 +AD0- 2+ACE-"},
        {u"\u65E5\u672C\u8A9E\u00E9", "+ZeVnLIqeAOk-"},
        {std::u16string(u"a\0b", 3), "a+AAA-b"},
    };
    for (const auto& [units, text] : cases) {
        DataBuffer out;
        EXPECT_TRUE(utf16ToUtf7(bytesOf(units) + 'x', out));
        EXPECT_EQ(out.view(), text);
    }
}

TEST(Utf7, DecodesWithAVerdict) {
    struct Utf7Case {
        std::string text;
        std::u16string units;
        bool wellFormed;
    };
    const Utf7Case cases[] = {
        {"", u"", true},
        {"+-", u"+", true},
        {"+AOk", u"\u00E9", true},
        {"+AOk-x-", u"\u00E9x-", true},
        {"+AOk.", u"\u00E9.", true},
        {"+AOkAKwDp-", u"\u00E9+\u00E9", true},
        {"+", u"", false},
        {"+A-x", u"x", false},
        {"+.", u".", false},
        {"+AOl-+AOp-", u"\u00E9\u00EA", false},
        {"+AOkA-x", u"\u00E9x", true},
        {"+ZeVnLIqe-+-", u"\u65E5\u672C\u8A9E+", true},
        {"a\x80\xFF", u"a\xFF80\xFFFF", false},
        {"+AOk\xC3", u"\u00E9\xFFC3", false},
        {"a\0b"s, u"ab", true},
        {"+AAA-", {u"\0", 1}, true},
    };
    for (const auto& [text, units, wellFormed] : cases) {
        DataBuffer out;
        EXPECT_EQ(utf7ToUtf16(text, out), wellFormed) << text;
        EXPECT_EQ(hex(out.view()), hex(bytesOf(units))) << text;
    }
}

// Long mixed text comes back, from wherever it is cut, so that no state is lost between the steps.
TEST(StatefulForms, BringMixedTextBack) {
    for (const std::uint32_t page : {kIso2022Jp, kIso2022Kr, kUtf7, kUtf32Be, kUtf16Be}) {
        std::u16string text;
        for (unsigned i = 0; i < 3000; ++i) {
            text += i % 7 < 3 || i % 97 < 40 ? static_cast<char16_t>(u' ' + i % 95)
                                             : static_cast<char16_t>(u'\u3042' + i % 60);
        }
        for (std::size_t cut = 0; cut < 40; ++cut) {
            const std::string units = bytesOf(text.substr(cut));
            const auto coded = converted(kUtf16Le, page, units);
            const auto back = converted(page, kUtf16Le, coded.bytes);
            EXPECT_TRUE(coded.complete && back.complete) << page;
            EXPECT_TRUE(back.bytes == units) << page << " cut at " << cut;
        }
    }
}

}  // namespace
}  // namespace borvik
