#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "mime/boundary_search.h"
#include "mime/html_help.h"
#include "mime/line_repair.h"
#include "mime/message_loader.h"
#include "mime/mime_message2.h"
#include "mime/mime_tree_text.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

using namespace std::string_literals;

using Case = std::pair<std::string, std::string>;

TEST(MimeParsing, FindsTheEndOfTheHeaderInAFile) {
    const Case cases[] = {
        {"Content-Type: text/plain\r\n\r\nbody", "text/plain'body'"},
        {"\r\nbody", "'body'"},
        {"\r\n\r\nbody", "'body'"},
        {"Subject: x", "''"},
        {"", "''"},
        {"Content-Type: text/plain\n\na\nb\n", "text/plain'a\r\nb\r\n'"},
        {"Content-Type: text/plain\r\n\r\na\n\nb", "text/plain'a\n\nb'"},
        {"Content-Type: text/plain\r\n\r\r\nb", "text/plain'\r\r\nb'"},
        {"Content-Type: text/plain\r\n\rb", "text/plain'\rb'"},
        {"Content-Type: text/plain\n\r\nb", "text/plain'\n\r\nb'"},
        {"Content-Type: text/plain\r\r\n\r\r\nb", "text/plain'\r\r\nb'"},
        {"Content-Type: text/plain\r\r\nX: y", "text/plain'\nX: y'"},
        {"Content-Type: text/plain\r\rb", "text/plain'b'"},
        {"Content-Type: text/plain\r\n\0\r\n\r\nb"s, "text/plain''"},
    };
    for (const auto& [input, tree] : cases) {
        EXPECT_EQ(describeFile(input), tree);
    }
}

TEST(MimeParsing, TakesBareLineFeedsOfAStringForLineEnds) {
    const Case cases[] = {
        {"Content-Type: text/plain\n\na\nb", "text/plain'a\r\nb'"},
        {"Content-Type: text/plain\r\n\r\na\n\nb", "text/plain'a\r\n\r\nb'"},
        {"Content-Type: text/plain\r\n\r\na\nb", "text/plain'a\nb'"},
        {"X: y\r\nContent-Type: text/plain\n\na\rb\r\n", "text/plain'ab\r\n'"},
    };
    for (const auto& [input, tree] : cases) {
        EXPECT_EQ(describeString(input), tree);
    }
}

TEST(MimeParsing, RefusesOnlyNullAndAHugeHeader) {
    MimeMessage2 node;
    node.setContentType("text/plain");
    EXPECT_FALSE(node.LoadMimeComplete2({}, false, nullptr, false));
    EXPECT_EQ(describe(node), "''");

    std::string header = "Content-Type: text/plain\r\nX: ";
    EXPECT_EQ(describeFile(header), "text/plain''");
    header.resize(MessageLoader::kMostHeaderBytes + 1, 'x');
    EXPECT_EQ(describeFile(header), "refused");
}

/// A multipart with the boundary "b" around the given lines.
std::string multipart(std::string_view lines) {
    return "Content-Type: multipart/mixed; boundary=b\r\n\r\n" + std::string(lines);
}

TEST(MimeParsing, CutsAMultipartIntoItsParts) {
    const Case cases[] = {
        {multipart(
             "pre\r\n--b\r\n\r\none\r\n--b\r\nContent-Type: text/html\r\n\r\ntwo\r\n--b--\r\npost"),
         "multipart/mixed['one', text/html'two']"},
        // Without the closing line the last two bytes are taken for its line end.
        {multipart("--b\r\n\r\nhello\r\n"), "multipart/mixed['hello']"},
        {multipart("--b\r\n\r\nhello"), "multipart/mixed['hel']"},
        {multipart("--b\nX: y\n\nhello\n--b--\n"), "multipart/mixed['hello\r\n']"},
        {multipart("--b\nX: y\n\nhello"), "multipart/mixed['hell']"},
        // Nothing between two boundary lines is no part.
        {multipart("--b\r\n\r\n--b\r\n\r\none\r\n--b--"), "multipart/mixed['one']"},
        {multipart("--b\r\nx\r\n--b--"), "multipart/mixed['']"},
        {multipart("no such line"), "multipart/mixed'no such line'"},
        // Any line that ends in the boundary separates, and zero bytes are data.
        {multipart("xb\r\n\r\none\r\n..b\r\n\r\nt\0wo\r\n--b--"s),
         "multipart/mixed['one', 't\0wo']"s},
        {multipart("--b--\r\n--b\r\n\r\none\r\n--b--"), "multipart/mixed['one']"},
        {"Content-Type: multipart/mixed\r\n\r\n--b\r\n\r\none\r\n--b--",
         "multipart/mixed'--b\r\n\r\none\r\n--b--'"},
        {"Content-Type: multipart/mixed; boundary=\"=_alternative x\"\r\n\r\n"
         "--=_alternative  x\r\n\r\none\r\n--=_alternative  x--",
         "multipart/mixed['one']"},
        // A header is read on behind the part that lacks its end.
        {multipart("--b\r\nX: y\r\n--b\r\nContent-Type: text/html\r\nX: z\r\n\r\ntwo\r\n--b--"),
         "multipart/mixed[text/html'', text/html'two']"},
        {"Content-Type: message/rfc822\r\n\r\nContent-Type: text/html\r\n\r\nx",
         "message/rfc822'Content-Type: text/html\r\n\r\nx'"},
    };
    for (const auto& [input, tree] : cases) {
        EXPECT_EQ(describeFile(input), tree);
    }
}

TEST(MimeParsing, BoundsTheHeadersThatAreReadBehindTheirParts) {
    constexpr int kParts = 5'000;
    const struct {
        std::string part;
        std::string tail;
        std::string last;
    } cases[] = {
        {"--b\r\nX-Long-Enough-To-Count: of part\r\n", "--b\r\nX: y\r\n\r\nend\r\n--b--", "end"},
        // A CRLFCR ends a header only if no better end stands behind it.
        {"--b\r\nX-Long-Enough-To-Count: of part\r\n\rz\r\n", "--b--\r\n\n\r\n", "\rz"},
    };
    for (const auto& [part, tail, last] : cases) {
        std::string text = multipart("");
        for (int i = 0; i < kParts; ++i) {
            text += part;
        }
        text += tail;
        MimeMessage2 node;
        ASSERT_TRUE(node.LoadMimeComplete2(text, false, nullptr, false));
        ASSERT_GE(node.getNumParts(), kParts);
        std::size_t read = 0;
        for (int i = 0; i < kParts; ++i) {
            for (const MimeField& field : node.getPart(i)->header().fields()) {
                read += field.name().size() + field.value().size();
            }
        }
        EXPECT_GE(read, text.size() / 2);
        EXPECT_LE(read, 5 * text.size() + (std::size_t{1} << 20));
        EXPECT_EQ(node.getPart(node.getNumParts() - 1)->body().view(), last);
    }
}

TEST(MimeParsing, RewritesABoundaryThatOnlyFitsInTheAnsiCodePage) {
    const std::pair<std::uint32_t, std::string> cases[] = {{1252, "b\xC3\xA9"}, {65001, "b\xE9"}};
    for (const auto& [ansiPage, boundary] : cases) {
        const platform::ScopedAnsiCodePage page(ansiPage);
        MimeMessage2 node;
        ASSERT_TRUE(node.LoadMimeComplete2("Content-Type: multipart/mixed; boundary=\"" + boundary +
                                               "\"\r\n\r\n--b\xE9\r\n\r\none\r\n--b\xE9--",
                                           false, nullptr, false));
        EXPECT_EQ(describe(node), "multipart/mixed['one']");
        EXPECT_EQ(node.boundary().view(), "bC0");
    }
}

TEST(MimeParsing, NestsAHundredLevels) {
    for (const int levels : {10, MessageLoader::kMostLevels, MessageLoader::kMostLevels + 1}) {
        std::string text;
        std::string end;
        for (int i = 1; i <= levels; ++i) {
            const std::string boundary = "<" + std::to_string(i) + ">";
            text += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" +
                    boundary + "\r\n";
            end = "\r\n--" + boundary + "--" + end;
        }
        MimeMessage2 root;
        ASSERT_TRUE(root.LoadMimeComplete2(text + "\r\nx" + end, false, nullptr, false));
        int depth = 0;
        const MimeMessage2* node = &root;
        for (; node->getNumParts() == 1; node = node->getPart(0)) {
            ++depth;
        }
        EXPECT_EQ(depth, levels > MessageLoader::kMostLevels ? MessageLoader::kMostLevels : levels);
        EXPECT_EQ(node->body().view().substr(0, 1), depth == levels ? "x" : "-");
    }
}

/// A leaf with a Content-Type, a transfer encoding and a body.
std::string leaf(std::string_view type, std::string_view encoding, std::string_view body) {
    std::string out;
    if (!type.empty()) {
        out.append("Content-Type: ").append(type).append("\r\n");
    }
    out.append("Content-Transfer-Encoding: ").append(encoding).append("\r\n\r\n");
    return out.append(body);
}

TEST(MimeParsing, StoresTextAsUtf8AndOtherBodiesAsBytes) {
    const std::string longText(40, 'x');
    const Case cases[] = {
        {leaf("text/plain; charset=iso-8859-1", "8bit", "\xE9"), "text/plain;iso-8859-1'\xC3\xA9'"},
        {leaf("text/plain; charset=us-ascii", "8bit", "\xE9"), "text/plain;us-ascii'\xC3\xA9'"},
        {leaf("text/plain; charset=utf-8", "", "\xC3\xA9"), "text/plain;utf-8'\xC3\xA9'"},
        {leaf("text/plain", "8bit", "\xE9"), "text/plain'\xC3\xA9'"},
        {leaf("text/plain", "8bit", "\xC3\xA9"), "text/plain'\xC3\xA9'"},
        {leaf("", "8bit", "\xE9"), "'\xC3\xA9'"},
        {leaf("", "8bit", "\xE9\0"s), "'\xE9\0'"s},
        // UTF-8 under a single-byte label is seen where the label can't be right.
        {leaf("text/plain; charset=windows-1253", "8bit", "\xC3\xAA"),
         "text/plain;windows-1253'\xC3\xAA'"},
        {leaf("text/plain; charset=windows-1253", "8bit", "\xC3\xE1"),
         "text/plain;windows-1253'\xCE\x93\xCE\xB1'"},
        {leaf("text/plain; charset=us-ascii", "7bit", "a\0b"s), "text/plain;us-ascii'a\0b'"s},
        {leaf("text/plain; charset=utf-16", "base64", "YQBiAA=="), "text/plain;unicode'ab'"},
        {leaf("text/plain; charset=utf-16", "base64", "YWI="), "text/plain;unicode'ab'"},
        {leaf("text/plain; charset=iso-8859-2", "base64", "sQ=="),
         "text/plain;iso-8859-2'\xC4\x85'"},
        {leaf("text/plain; charset=iso-8859-2", "quoted-printable", "=B1"),
         "text/plain;iso-8859-2'\xC4\x85'"},
        {leaf("text/plain; charset=iso-8859-1", "quoted-printable", "=93x"),
         "text/plain;windows-1252'\xE2\x80\x9Cx'"},
        {leaf("text/plain; charset=iso-8859-1", "quoted-printable", longText + "=93=C3=A9x"),
         "text/plain;windows-1252'" + longText + "\xE2\x80\x9C\xC3\x83\xC2\xA9x'"},
        {leaf("text/plain; charset=iso-8859-1", "quoted-printable", longText + "=C3=A9=93x"),
         "text/plain;iso-8859-1'" + longText + "\xC3\x83\xC2\xA9\xE2\x80\x9Cx'"},
        {leaf("text/plain; charset=iso-8859-1", "quoted-printable", "=EF=BB=BFx"),
         "text/plain;iso-8859-1'\xEF\xBB\xBFx'"},
        {leaf("text/html; charset=iso-8859-1", "quoted-printable", "utf-8 =C3=A9."),
         "text/html;iso-8859-1'utf-8 \xC3\xA9.'"},
        {leaf("image/png; charset=iso-8859-1", "8bit", "\xE9"), "image/png'\xE9'"},
        {leaf("application/xml; charset=iso-8859-1", "8bit", "a\xE9"),
         "application/xml'a\xC3\xA9'"},
        {leaf("application/edifact; charset=iso-8859-1", "8bit", "\xE9"),
         "application/edifact;iso-8859-1'\xE9'"},
        {leaf("application/edifact; charset=iso-8859-1", "base64", "6Q=="),
         "application/edifact;iso-8859-1'\xC3\xA9'"},
        {leaf("text/plain; charset=iso-8859-1\r\nContent-Disposition: attachment", "8bit", "\xE9"),
         "text/plain'\xE9'"},
        {leaf("text/plain", "binary", "\xE9"), "text/plain'\xC3\xA9'"},
        {leaf("x/y", "binary", "\xE9"), "x/y'\xE9'"},
        {leaf("text/plain", "7bit", " <X-HTML>x"), "text/html' <X-HTML>x'"},
    };
    for (const auto& [input, tree] : cases) {
        EXPECT_EQ(describeFile(input), tree);
    }
}

TEST(MimeParsing, LeavesTextAloneThatIsUtf8AsAWhole) {
    EXPECT_EQ(describeString(leaf("text/plain; charset=iso-8859-1", "8bit", "\xC3\xA9")),
              "text/plain;iso-8859-1'\xC3\xA9'");
    // So the labels of coded bodies don't count either.
    EXPECT_EQ(
        describeString(leaf("text/plain; charset=iso-8859-1\r\nX: \xC3\xA9", "base64", "6Q==")),
        "text/plain;iso-8859-1'\xE9'");
}

TEST(MimeParsing, AsksAPageWithoutALabelForItsCharset) {
    const std::string meta = "<meta http-equiv=\"Content-Type\" content=\"text/html; charset=";
    const Case cases[] = {
        {leaf("text/html", "8bit", meta + "iso-8859-2\">\xB1"), "\xC4\x85"},
        {leaf("text/html", "quoted-printable",
              "<meta http-equiv=3D'content-type' charset=3Dkoi8-r "
              "content=3D'x'>=C1"),
         "\xD0\xB0"},
        {leaf("text/html", "8bit", meta + "utf-16\">\x93"), "\xE2\x80\x9C"},
        {leaf("text/html", "8bit", meta + "no-such\">\xE9"), "\xC3\xA9"},
    };
    for (const auto& [input, tree] : cases) {
        MimeMessage2 node;
        ASSERT_TRUE(node.LoadMimeComplete2(input, false, nullptr, false));
        EXPECT_TRUE(node.body().view().ends_with(tree));
        std::string type;
        node.getHeaderDecoded("Content-Type", type);
        EXPECT_EQ(type, "text/html");
    }
}

TEST(MimeParsing, RelabelsInTheFieldToo) {
    MimeMessage2 node;
    node.LoadMimeComplete2(leaf("text/plain; charset=iso-8859-1", "quoted-printable", "=93x"),
                           false, nullptr, false);
    std::string type;
    node.getHeaderDecoded("Content-Type", type);
    EXPECT_EQ(type, "text/plain; charset=\"windows-1252\"");

    node.LoadMimeComplete2(leaf("message/rfc822", "binary", "x"), false, nullptr, false);
    EXPECT_EQ(node.encoding().view(), "8bit");
}

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
    const std::string filler(400, '.');
    const std::string_view pieces[] = {"a", "aa", "ab", "\r\n", "\n", "--", "b", filler};
    for (int round = 0; round < 6000; ++round) {
        const int kinds[] = {2, 7, 8, 8};
        std::string text;
        const int length = round % 300;
        for (int i = 0; i < length; ++i) {
            text += pieces[random() % kinds[round % 4]];
        }
        const std::string boundary(pieces[random() % 3]);
        const auto tail = random() % 2 == 0 ? BoundaryTail::kCrLf : BoundaryTail::kLf;
        const std::size_t from = random() % (text.size() + 1);
        const std::size_t end = from + random() % (text.size() - from + 1);
        BoundaryIndex index(text);
        const BoundarySearch search(index, end, boundary, tail);
        const auto slow =
            slowNext(text.substr(0, end), boundary, std::string(boundaryTailText(tail)), from);
        for (const std::size_t searchedBefore : {0U, 1U << 20U}) {
            index.noteSearch(searchedBefore);
            const auto fast = search.next(from);
            EXPECT_EQ(fast.position, slow.position) << text;
            EXPECT_EQ(fast.closing, slow.closing) << text;
        }
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
        {"<?xml encoding=\"x", ""},
    };
    for (const auto& [html, charset] : cases) {
        EXPECT_EQ(HtmlHelp::metaCharset(html), charset) << html;
    }
}

TEST(HtmlHelp, CleansATag) {
    EXPECT_EQ(HtmlHelp::cleanHtmlTag("<meta  a=b c = 'd' e=\"f\\\"g\nh\r\" i j=k\"l m='n"),
              "<meta a=\"b\" c='d' e=\"f&quot;g h\" i j='k\"l' m='n'");
    EXPECT_EQ(HtmlHelp::cleanHtmlTag("<meta a=\"\\x\\"), "<meta a=\"\\x\\\"");
    EXPECT_EQ(HtmlHelp::getAttribute("<meta X=\" a\\b \"", "x"), "a/b");
    std::string many = "<meta";
    for (int i = 0; i < 102; ++i) {
        many += " a" + std::to_string(i) + "=\"x\"";
    }
    EXPECT_EQ(HtmlHelp::cleanHtmlTag(many), many.substr(0, many.rfind(' ')));
}

}  // namespace
}  // namespace borvik
