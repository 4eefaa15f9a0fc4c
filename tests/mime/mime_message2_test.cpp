#include "mime/mime_message2.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <tuple>

#include "mime/mime_tree_text.h"
#include "mime/shared_mime.h"
#include "text/xstring.h"

namespace borvik {
namespace {

std::string field(const MimeMessage2& node, std::string_view name) {
    std::string value;
    return node.getHeaderDecoded(name, value) ? value : "(none)";
}

std::unique_ptr<MimeMessage2> leafNode(std::string_view type, std::string_view encoding,
                                       std::string_view body) {
    auto node = std::make_unique<MimeMessage2>();
    node->setContentType(type);
    if (!encoding.empty()) {
        node->setEncoding(encoding);
    }
    node->setBodyRaw(body);
    return node;
}

TEST(MimeMessage2, KeepsTheContentFieldsInStep) {
    MimeMessage2 node;
    node.setContentType("text/plain");
    EXPECT_EQ(field(node, "content-type"), "text/plain");
    node.setCharset(_bvCharset());
    EXPECT_EQ(field(node, "content-type"), "text/plain; charset=\"us-ascii\"");
    EXPECT_EQ(node.charset().getCodePage(), 0U);
    node.setContentType("text/plain;charset=utf-8");
    EXPECT_EQ(node.contentType().view(), "text/plain;charset=utf-8");
    EXPECT_EQ(node.charset().getCodePage(), 0U);

    node.setHeaderField(" CONTENT-TYPE ", "multipart/mixed; boundary=y");
    EXPECT_TRUE(node.isMultipart());
    EXPECT_EQ(node.boundary().view(), "y");
    node.setBoundary(" x\r\n");
    EXPECT_EQ(field(node, "Content-Type"), "multipart/mixed;boundary=\"x\"");
    node.addHeaderField("Content-Type", "text/html");
    EXPECT_EQ(node.contentType().view(), "multipart/mixed");
    node.setHeaderField("Content-Type", " ");
    EXPECT_EQ(field(node, "Content-Type"), "(none)");
    EXPECT_EQ(node.contentType().view(), "");

    node.setHeaderField("Content-ID", " <a@b> ; x");
    EXPECT_EQ(node.contentId().view(), "<a@b> ");
    node.setEncoding("BASE64 ; x");
    EXPECT_EQ(node.encoding().view(), "BASE64 ");
    node.setContentDisposition("attachment", "a.txt");
    EXPECT_EQ(field(node, "Content-Disposition"), "attachment; filename=\"a.txt\"");
    EXPECT_TRUE(node.isAttachment());
    node.setContentDisposition("", "");
    EXPECT_EQ(field(node, "Content-Disposition"), "(none)");
    EXPECT_EQ(node.filename().view(), "");
}

TEST(MimeMessage2, MakesABoundaryOfItsOwn) {
    MimeMessage2 node;
    node.setBodyRaw("x");
    node.newMultipartMixed();
    const std::string boundary(node.boundary().view());
    EXPECT_THAT(boundary, testing::MatchesRegex("-{12}(0[0-8]){12}"));
    EXPECT_EQ(field(node, "Content-Type"), "multipart/mixed;boundary=\"" + boundary + "\"");
    EXPECT_TRUE(node.body().empty());
}

TEST(MimeMessage2, FindsTheFirstEightBitCharset) {
    MimeMessage2 root;
    root.newMultipartMixed();
    StringBuffer name("as it was");
    root.addPart(leafNode("text/plain", "8bit", "\xC3\xA9"));
    auto coded = leafNode("text/plain", "base64", "\xC3\xA9");
    coded->setCharset("koi8-r");
    root.addPart(std::move(coded));
    EXPECT_FALSE(root.findFirst8BitCharset(name));
    EXPECT_EQ(name.view(), "as it was");
    auto eightBit = leafNode("Text/plain", "8BIT", "\xC3\xA9");
    eightBit->setCharset("iso-8859-2");
    root.addPart(std::move(eightBit));
    EXPECT_TRUE(root.findFirst8BitCharset(name));
    EXPECT_EQ(name.view(), "iso-8859-2");
}

TEST(SharedMime, FindsNodesByIdAsTheTreeChanges) {
    SharedMime tree;
    MimeMessage2& root = tree.root();
    root.newMultipartMixed();
    auto inner = std::make_unique<MimeMessage2>();
    inner->newMultipartMixed();
    inner->addPart(leafNode("text/plain", "", "x"));
    MimeMessage2* const grandchild = inner->getPart(0);
    const std::uint64_t id = grandchild->getObjectId();
    EXPECT_EQ(tree.find(id), nullptr);
    root.addPart(std::move(inner));
    EXPECT_EQ(tree.find(id), grandchild);
    EXPECT_EQ(root.findPartById(id), grandchild);

    root.getPart(0)->addPart(leafNode("text/html", "", "y"));
    MimeMessage2* const added = root.getPart(0)->getPart(1);
    EXPECT_EQ(tree.find(added->getObjectId()), added);
    root.getPart(0)->clear();
    EXPECT_EQ(tree.find(id), nullptr);
    EXPECT_EQ(tree.find(root.getPart(0)->getObjectId()), root.getPart(0));
    EXPECT_EQ(root.findPartById(id), nullptr);
}

TEST(MimeAssembly, WritesBodiesInCharsetAndCoding) {
    const std::tuple<std::string_view, std::string_view, std::string_view, std::string_view,
                     std::string_view>
        cases[] = {
            {"text/plain", "iso-8859-1", "8bit", "\xC3\xA9", "\xE9"},
            {"text/plain", "us-ascii", "8bit", "\xC3\xA9", "\xE9"},
            {"text/plain", "utf-8", "8bit", "\xC3\xA9", "\xC3\xA9"},
            {"text/plain", "", "8bit", "\xC3\xA9", "\xC3\xA9"},
            {"Text/plain", "iso-8859-1", "", "\xC3\xA9", "\xC3\xA9"},
            {"image/png", "iso-8859-1", "", "\xC3\xA9", "\xC3\xA9"},
            {"Application/XML", "utf-16", "BASE64", "ab", "YQBiAA==\r\n"},
            {"text/plain", "iso-8859-2", "Quoted-Printable", "\xC4\x85=", "=B1=3D"},
            {"text/plain", "iso-8859-1", "7bit", "a\nb", "a\nb"},
            {"a/b", "", "base64", "", ""},
        };
    for (const auto& [type, charset, encoding, body, wire] : cases) {
        const auto node = leafNode(type, encoding, body);
        if (!charset.empty()) {
            node->setCharset(std::string(charset).c_str());
        }
        const std::string text = rendered(*node);
        EXPECT_EQ(text.substr(text.find("\r\n\r\n") + 4), wire) << type;
        EXPECT_EQ(rendered(*node), text);
    }
    EXPECT_EQ(rendered(MimeMessage2()), "\r\n\r\n");
}

TEST(MimeAssembly, KeepsSignedTextByteForByte) {
    const std::string first = "Content-Type: text/plain;\r\n  charset=us-ascii\r\n\r\nx \n\r\n";
    for (const bool isPgp : {false, true}) {
        const std::string kind = isPgp ? "pgp-signature" : "pkcs7-signature";
        MimeMessage2 node;
        node.LoadMimeComplete2("Content-Type: multipart/signed; protocol=\"application/" + kind +
                                   "\"; boundary=b\r\n\r\n--b\r\n" + first +
                                   "\r\n--b\r\nX: y\r\n\r\nsig\r\n--b\r\n\r\nthird\r\n--b--",
                               false, nullptr, false);
        EXPECT_EQ(node.getPart(0)->rawSignedText().view(), isPgp ? "" : first);
        EXPECT_TRUE(node.getPart(1)->rawSignedText().empty());
        const std::string text = rendered(node);
        EXPECT_EQ(text.find("--b\r\n" + first + "\r\n--b\r\n") != std::string::npos, !isPgp);
        EXPECT_EQ(text.ends_with("\r\n\r\nsig\r\n--b--\r\n"), !isPgp) << text;
    }
    MimeMessage2 built;
    built.setContentType("multipart/signed");
    built.setBoundary("b");
    built.addPart(leafNode("text/plain", "", "not yet signed"));
    EXPECT_NE(rendered(built).find("not yet signed\r\n--b\r\n--b--\r\n"), std::string::npos);
}

TEST(MimeMessage2, CopiesAsWritingAndReadingWould) {
    const std::tuple<std::string_view, std::string_view, std::string_view, std::string_view>
        cases[] = {
            {"application/octet-stream", "", "base64", std::string_view("\x00\xFF\r\n--b", 7)},
            {"application/octet-stream", "", "base64", ""},
            {"text/plain", "iso-8859-2", "base64", "\xC4\x85\xD0\xB0"},
            {"text/plain;charset=windows-1252", "", "base64", "\xE9\x93"},
            {"text/html", "", "base64",
             "<meta http-equiv=content-type content='x;charset=koi8-r'>\xC1"},
            {"multipart/mixed;boundary=b", "", "base64", "x"},
            {"application/x; name=\"\xC3\xA9\"", "", "base64", "x"},
            {"", "", "base64", "x"},
            {"text/plain", "utf-8", "8bit", "\xC3\xA9"},
            {"text/plain", "", "quoted-printable", "a \r\n=\n"},
        };
    for (const auto& [type, charset, encoding, body] : cases) {
        const auto source = leafNode(type, encoding, body);
        if (!charset.empty()) {
            source->setCharset(std::string(charset).c_str());
        }
        MimeMessage2 copy;
        copy.loadCopy(*source, nullptr);
        MimeMessage2 reread;
        reread.LoadMimeComplete2(rendered(*source), false, nullptr, false);
        EXPECT_EQ(describe(copy), describe(reread));
        EXPECT_EQ(rendered(copy), rendered(reread));
    }
}

}  // namespace
}  // namespace borvik
