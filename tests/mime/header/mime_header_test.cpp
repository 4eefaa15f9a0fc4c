#include "mime/header/mime_header.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "charset/tables/code_pages.h"
#include "mime/header/text_index.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

using namespace std::string_literals;

MimeHeader parsed(std::string_view text) {
    MimeHeader header;
    header.ParseMimeHeader(text);
    return header;
}

std::string valueOf(const MimeHeader& header, std::string_view name) {
    std::string value;
    return header.getFieldValue(name, value) ? value : "(none)";
}

/// The fields as "name=value|".
std::string listed(const MimeHeader& header) {
    std::string all;
    for (const MimeField& field : header.fields()) {
        all += std::string(field.name()) + '=' + std::string(field.value()) + '|';
    }
    return all;
}

TEST(MimeHeader, ReadsAndUnfolds) {
    const std::pair<std::string, std::string> cases[] = {
        {"Subject: a\r\n b\r\n\r\nbody: x", "Subject=a b|"},
        {"Subject: =?utf-8?Q?a?=\r\n =?utf-8?Q?b?=\r\n\r\n", "Subject=ab|"},
        {"From x@y Mon\r\nTo: a@x\r\n\r\n", "To=a@x|"},
        {"Received: x\r\nReceived: y\r\n\r\n", "Received=x|Received=y|"},
        {"A: 1\nB: 2", "A=1|B=2|"},
        {"A: 1\nB: 2\n\r\nbody: x", "A=1|B=2|"},
        {"A: 1\r\nB: 2\r\n\rbody: x", "A=1|B=2|"},
        {"A: 1\r\n\0B: 2"s, "A=1|"},
        {"no colon\r\nA: 1\r\n\r\n", "A=1|"},
        {" folded: 1\r\n\r\n", "folded=1|"},
        {"\r\n\r\nA: 1", ""},
        {"", ""},
        // The last Content-Type counts, unless it is the last line: then all stay.
        {"Content-Type: a\r\nX: 1\r\ncontent-type: b\r\nY: 2\r\n\r\n", "X=1|content-type=b|Y=2|"},
        {"Content-Type: a\r\nX: 1\r\nContent-Type: b\r\n\r\n",
         "Content-Type=a|X=1|Content-Type=b|"},
        {"Content-Type: a\r\nContent-Type:\r\nX: 1\r\n\r\n", "X=1|"},
    };
    for (const auto& [text, fields] : cases) {
        EXPECT_EQ(listed(parsed(text)), fields) << text;
    }
}

TEST(MimeHeader, DecidesOnTheCodePageOf8BitBytes) {
    const std::tuple<std::string, std::uint32_t, std::string> cases[] = {
        {"Subject: =?iso-8859-1?Q?=E9?=\r\n\r\n", 28591, "\xC3\xA9"},
        {"Subject: =?windows-1251?b?5g==?=\r\n\r\n", 1251, "\xD0\xB6"},
        {"X: ?Q?\r\nSubject: a\r\n\r\n", 0, "a"},
        {"X: ?Q? =?x\r\nSubject: a\r\n\r\n", 0, "a"},
        {"Subject: a\r\n\r\n\xE9", 0, "a"},
        {"Subject: \x1B$B$\"\x1B(B\r\n\r\n", kUtf8, "\xE3\x81\x82"},
        {"Subject: \xE6\r\nX: Windows-1251\r\n\r\n", 1251, "\xD0\xB6"},
        {"Subject: \xD6\r\nX: ISO-8859-5\r\n\r\n", 28595, "\xD0\xB6"},
        {"Subject: \xD6\r\nX: koi8-r\r\n\r\n", 20866, "\xD0\xB6"},
        {"Subject: \xD6\r\nX: koi8-u\r\n\r\n", 21866, "\xD0\xB6"},
        {"Subject: \xE9\r\nX: windows-1259\r\n\r\n", 1252, "\xC3\xA9"},
        {"Subject: \xE9\r\nX: iso-8859-0\r\n\r\n", 1252, "\xC3\xA9"},
        {"Subject: \xE9\r\nX: iso-8859-", 1252, "\xC3\xA9"},
        {"Subject: \xA4\xA4\r\n\r\ncharset=big5", 950, "\xE4\xB8\xAD"},
        {"Subject: \xA4\xA4\r\n\r\n\0charset=big5"s, 1252, "\xC2\xA4\xC2\xA4"},
        {"Subject: \xE6\r\n\r\ncharset=windows-1251", 1251, "\xD0\xB6"},
        {"Subject: \xC3\xA9\r\n\r\n", kUtf8, "\xC3\xA9"},
        {"Subject: \xC3x\r\n\r\n", 1252, "\xC3\x83x"},
        {"Subject: \xE9\r\n\r\n", 1252, "\xC3\xA9"},
        {"Subject: \x81\r\n\r\n", 28592, "\xC2\x81"},
    };
    const auto check = [](const auto& rows) {
        for (const auto& [text, codePage, subject] : rows) {
            const MimeHeader header = parsed(text);
            EXPECT_EQ(header.detectedCodePage(), codePage) << text;
            EXPECT_EQ(valueOf(header, "subject"), subject) << text;
        }
    };
    const platform::ScopedAnsiCodePage page(1252);
    check(cases);
    const std::tuple<std::string, std::uint32_t, std::string> utf8Cases[] = {
        {"Subject: \xE6\x97\xA5\xF0\x9F\x98\x80\r\n\r\n", kUtf8, "\u65e5\U0001F600"},
        {"Subject: caf\xE9\r\n\r\n", 28591, "caf\u00e9"},
        {"Subject: \xED\xA0\x80\r\n\r\n", 28591, "\u00ed\u00a0\u20ac"},
        {"Subject: \x81\r\n\r\n", 28592, "\xC2\x81"},
    };
    const platform::ScopedAnsiCodePage utf8Page(kUtf8);
    check(utf8Cases);
}

TEST(MimeHeader, FindsFieldsAndParameters) {
    MimeHeader header;
    header.addField("X-A", "1");
    header.addField("x-a", " \t\r\n");
    header.addField("x-a", "2");
    header.addField("Content-Type",
                    R"(multipart/mixed; boundary="a;b\"c"; Charset = utf-8 ; p =" q " ;x)");
    EXPECT_EQ(valueOf(header, "X-a"), "1");
    EXPECT_EQ(valueOf(header, ""), "(none)");
    const std::tuple<const char*, bool, const char*> params[] = {{"BOUNDARY", true, R"(a;b\"c)"},
                                                                 {"charset", true, "utf-8"},
                                                                 {"p", true, "q"},
                                                                 {"x", false, ""}};
    for (const auto& [param, found, expected] : params) {
        std::string value = "old";
        EXPECT_EQ(header.getParamValue("content-type", param, value), found) << param;
        EXPECT_EQ(value, expected);
    }

    header.replaceField("X-A", "3");
    EXPECT_EQ(header.fields().back().value(), "3");
    EXPECT_EQ(header.fields().size(), 2U);
    header.replaceField("content-type", header.fields().back().value());
    EXPECT_EQ(listed(header), "X-A=3|content-type=3|");
    header.replaceField("X-A", " ");
    header.removeField("CONTENT-TYPE");
    EXPECT_EQ(listed(header), "");
}

TEST(MimeHeader, AssemblesInOrder) {
    const _bvCharset none;
    std::string out = "kept\r\n";
    MimeHeader header;
    header.AssembleMimeHeader(out, none);
    EXPECT_EQ(out, "kept\r\n");
    header.addField("B", "1");
    header.addField("A", "\xC3\xA9");
    header.AssembleMimeHeader(out, none);
    EXPECT_EQ(out, "kept\r\nB: 1\r\nA: =?utf-8?Q?=C3=A9?=");

    _bvCharset utf7;
    utf7.setByCodePage(kUtf7);
    out.clear();
    header.AssembleMimeHeader(out, utf7);
    EXPECT_EQ(out, "B: 1\r\nA: =?utf-8?B?w6k=?=");
    out.clear();
    parsed("A: \xE6\r\nX: windows-1251\r\n\r\n").AssembleMimeHeader(out, none);
    EXPECT_EQ(out, "A: =?windows-1251?Q?=E6?=\r\nX: windows-1251");
}

TEST(MimeHeader, TakesNoMoreThanTheGreatestNumberOfLines) {
    std::string text;
    for (std::size_t i = 0; i <= MimeHeader::kMaxLines; ++i) {
        text += i % 2 == 0 ? "Content-Type: x\r\n" : "X: y\r\n";
    }
    const MimeHeader header = parsed(text + "\r\n");
    EXPECT_EQ(header.fields().size(), MimeHeader::kMaxLines / 2 + 1);
    EXPECT_EQ(valueOf(header, "content-type"), "x");
}

TEST(MimeHeader, ReadsPartsOfOneText) {
    const std::string text = "A: 1\r\n\r\nB: \xD6\r\nC: 3\r\n\r\nkoi8-r";
    TextIndex index(text);
    MimeHeader header;
    header.ParseMimeHeader(index, 8);
    EXPECT_EQ(listed(header), "B=\xD0\xB6|C=3|");
    header.ParseMimeHeader(index, 8, nullptr, 14);
    EXPECT_EQ(listed(header), "B=\xD0\xB6|");
}

TEST(TextIndex, RemembersWhereMarksStand) {
    const std::string text = "\r\n\r\nBIG5\r\n\r\n\0\r\n\r\n"s;
    TextIndex index(text);
    EXPECT_EQ(index.find(TextMark::kCrLfCrLf, 0), 0U);
    EXPECT_EQ(index.find(TextMark::kCrLfCrLf, 1), 8U);
    EXPECT_EQ(index.find(TextMark::kCrLfCrLf, 5), 8U);
    EXPECT_EQ(index.find(TextMark::kCrLfCrLf, 9), TextIndex::kNone);  // behind the zero byte
    EXPECT_EQ(index.find(TextMark::kCrLfCrLf, 13), 13U);
    EXPECT_EQ(index.find(TextMark::kCrLfCrLf, 0), 0U);
    EXPECT_EQ(index.find(TextMark::kBig5, 0), 4U);
    EXPECT_EQ(index.find(TextMark::kBig5, 5), TextIndex::kNone);
    EXPECT_EQ(index.textEnd(0), 12U);
    EXPECT_EQ(index.textEnd(13), text.size());
}

}  // namespace
}  // namespace borvik
