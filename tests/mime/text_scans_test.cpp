#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "base/data_buffer.h"
#include "charset/code_pages.h"
#include "charset/encoding_convert.h"
#include "mime/boundary_search.h"
#include "mime/html_help.h"
#include "mime/line_repair.h"

namespace borvik {
namespace {

/// The definition, word for word.
BoundarySearch::Hit slowNext(const std::string& text, const std::string& boundary,
                             const std::string& lineEnd, std::size_t from) {
    const std::size_t separator = text.find(boundary + lineEnd, from);
    if (separator != std::string::npos) {
        return {separator, false};
    }
    const std::size_t closing = text.find(boundary + "--", from);
    return {closing, closing != std::string::npos};
}

TEST(BoundarySearch, EqualsTheDefinition) {
    std::mt19937 random(1);
    const std::string_view pieces[] = {"a", "aa", "ab", "\r\n", "\n", "--", "b"};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int length = round % 300;
        for (int i = 0; i < length; ++i) {
            text += pieces[random() % (round % 2 == 0 ? 2 : 7)];
        }
        const std::string boundary(pieces[random() % 3]);
        const std::string lineEnd(pieces[3 + random() % 2]);
        const std::size_t from = random() % (text.size() + 1);
        const auto fast = BoundarySearch(text, boundary, lineEnd).next(from);
        const auto slow = slowNext(text, boundary, lineEnd, from);
        EXPECT_EQ(fast.position, slow.position) << text;
        EXPECT_EQ(fast.closing, slow.closing) << text;
    }
}

TEST(LineRepair, MendsLineEnds) {
    EXPECT_EQ(withCrlfLineEnds("a\r\nb\nc\rd\r\r\n"), "a\r\nb\r\ncd\r\n");
    EXPECT_EQ(withoutDoubledCrs("a\r\r\nb\r\r\r\nc\r\nd\r\r\r\r\ne\rf"),
              "a\r\nb\r\nc\r\nd\r\ne\rf");
    EXPECT_EQ(withCrsAsLineEnds("a\rb\r\rc"), "a\r\nb\r\n\r\nc");
}

TEST(HtmlHelp, FindsTheCharsetOfAPage) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {"<META HTTP-EQUIV=Content-Type CONTENT='text/html; Charset=koi8-r; x'>", "koi8-r"},
        {"<meta http-equiv=\"content-type\" content=\"text/html;charset=utf-8 x\">", "utf-8"},
        {"<meta content=\"text/html;charset=utf-8\" http-equiv=\"content-type\"/>", "utf-8"},
        {"<meta http-equiv=content-type content=text/html charset=big5>", "big5"},
        {"<meta http-equiv=content-type><meta name='a>b'>"
         "<meta http-equiv='content-type' content='x;charset=gb2312'>",
         "gb2312"},
        {"<meta charset=utf-8>", ""},
        {"<meta http-equiv=\"refresh\" content=\"charset=x\">", ""},
        {"<meta http-equiv=\"content-type\" content=\"charset=x\"", ""},
        {"<meta http-equiv=\"content-type\" content=\"charset=x'>", ""},
        {"<meta <meta http-equiv=content-type content=\"charset=x\">", "x"},
        {"<?XML version=\"1.0\" ENCODING=\"iso-8859-2\"?><html>", "iso-8859-2"},
        {"encoding=\"iso-8859-2\"", ""},
    };
    for (const auto& [html, charset] : cases) {
        EXPECT_EQ(HtmlHelp::metaCharset(html), charset) << html;
    }
}

TEST(HtmlHelp, CleansATag) {
    EXPECT_EQ(HtmlHelp::cleanHtmlTag("<meta  a=b c = 'd' e=\"f\\\"g\nh\r\" i j=k\"l m='n"),
              "<meta a=\"b\" c='d' e=\"f&quot;g h\" i j='k\"l' m='n'");
    EXPECT_EQ(HtmlHelp::getAttribute("<meta X=\" a\\b \"", "x"), "a/b");
    std::string many = "<meta";
    for (int i = 0; i < 102; ++i) {
        many += " a" + std::to_string(i) + "=\"x\"";
    }
    EXPECT_EQ(HtmlHelp::cleanHtmlTag(many), many.substr(0, many.rfind(' ')));
}

TEST(CodePages, AsciiIsTheSameInCompatibleOnes) {
    std::string ascii(0x7F, '\0');
    std::iota(ascii.begin(), ascii.end(), '\1');
    for (std::uint32_t page = 1; page < 66000; ++page) {
        if (isAsciiCompatible(page) && EncodingConvert::isSupported(page)) {
            DataBuffer both;
            EXPECT_TRUE(EncodingConvert().convert(kUtf8, page, ascii, both));
            EXPECT_TRUE(EncodingConvert().convert(page, kUtf8, ascii, both));
            EXPECT_EQ(both.view(), ascii + ascii) << page;
        }
    }
}

}  // namespace
}  // namespace borvik
