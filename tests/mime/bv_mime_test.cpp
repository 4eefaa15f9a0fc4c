#include "mime/bv_mime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "mime/cls_mime.h"
#include "platform/code_page.h"
#include "support/temporary_folder.h"
#include "text/outward_strings.h"

namespace borvik {
namespace {

using namespace std::string_literals;

std::string bodyOf(BvMime& mime) {
    BvByteData bytes;
    mime.GetBodyBinary(bytes);
    return std::string(bytes.view());
}

TEST(BvMime, ReadsAndWritesHeaderFields) {
    const platform::ScopedAnsiCodePage page(1252);
    BvMime mime;
    EXPECT_TRUE(mime.AddHeaderField("X-A", " \t\r\n"));
    EXPECT_TRUE(mime.AddHeaderField(" X-A ", " one "));
    EXPECT_TRUE(mime.AddHeaderField("x-a", "two"));
    EXPECT_STREQ(mime.header("x-A"), "one");
    EXPECT_STREQ(mime.entireHead(), "X-A: one\r\nx-a: two");
    mime.SetHeaderField("X-a", "caf\xE9");
    BvString value;
    EXPECT_TRUE(mime.GetHeaderField("X-A", value));
    EXPECT_STREQ(value.getUtf8(), "caf\xC3\xA9");
    mime.SetHeaderField("X-a", nullptr);
    EXPECT_FALSE(mime.GetHeaderField("X-A", value));
    EXPECT_STREQ(value.getUtf8(), "");

    mime.SetHeaderField("Content-Disposition", "inline; filename=\" n.txt \"");
    mime.Disposition("attachment");
    EXPECT_STREQ(mime.header("Content-Disposition"), "attachment; filename=\"n.txt\"");
    EXPECT_STREQ(mime.filename(), "n.txt");
    mime.Disposition("");
    EXPECT_EQ(mime.header("Content-Disposition"), nullptr);
    mime.ContentType(" Text/Plain; name=x");
    EXPECT_STREQ(mime.contentType(), " text/plain; name=x");
    EXPECT_STREQ(mime.name(), "");
    mime.Encoding(" 7bit ");
    EXPECT_STREQ(mime.header("content-transfer-encoding"), "7bit");
}

TEST(BvMime, LoadsBesideOtherHandles) {
    BvMime mime;
    const auto blank = mime.Share();
    std::unique_ptr<BvMime> last = mime.Share();
    for (const std::string_view value : {"one", "=?utf-8?q?=EF=BB=BFtwo=00three?=", ""}) {
        mime.LoadMime(std::string("A: ").append(value).append("\r\n\r\n").c_str());
        std::string text;
        mime.ReadHeaderField("a", text);
        BvString same;
        mime.GetHeaderField("a", same);
        EXPECT_EQ(text, same.x().utf8View());
        std::string before;
        last->ReadHeaderField("a", before);
        EXPECT_EQ(before, value == "one" ? "" : value.empty() ? "two" : "one");
        last = mime.Share();
    }
    EXPECT_EQ(blank->header("A"), nullptr);
}

TEST(BvMime, KeepsTenResults) {
    BvMime mime;
    std::vector<const char*> results;
    for (int i = 0; i < 11; ++i) {
        mime.ContentType(std::to_string(i).c_str());
        results.push_back(mime.contentType());
    }
    EXPECT_STREQ(results[1], "1");
    EXPECT_STREQ(results[10], "10");
}

TEST(BvMime, GivesHandlesOnParts) {
    auto root = std::make_unique<BvMime>();
    root->LoadMime(
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b\r\nContent-Type: "
        "text/html; name=n\r\n\r\ntwo\r\n--b--");
    ASSERT_EQ(root->NumParts(), 2);
    EXPECT_EQ(root->GetPart(2), nullptr);
    EXPECT_EQ(root->GetPart(-1), nullptr);
    const std::unique_ptr<BvMime> second = root->GetPart(1);
    const std::unique_ptr<BvMime> again = root->GetPart(1);
    second->SetBody("changed");
    EXPECT_STREQ(again->bodyDecoded(), "changed");
    EXPECT_STREQ(again->name(), "n");
    root.reset();
    EXPECT_STREQ(second->getMime(), "Content-Type: text/html; name=n\r\n\r\nchanged");
}

TEST(BvMime, AppendsACopy) {
    BvMime root;
    root.ContentType("text/plain");
    root.SetBody("hello");
    BvMime part;
    part.ContentType("text/html");
    part.SetBody("<p>");
    EXPECT_FALSE(root.AppendPart(nullptr));
    EXPECT_TRUE(root.AppendPart(&part));
    part.SetBody("later");
    EXPECT_STREQ(root.contentType(), "multipart/mixed");
    ASSERT_EQ(root.NumParts(), 2);
    EXPECT_EQ(bodyOf(*root.GetPart(0)), "hello");
    EXPECT_EQ(bodyOf(*root.GetPart(1)), "<p>");

    EXPECT_TRUE(root.AppendPart(&root));
    ASSERT_EQ(root.NumParts(), 3);
    EXPECT_EQ(root.GetPart(2)->NumParts(), 2);

    // A part that becomes a multipart leaves its tree.
    const std::unique_ptr<BvMime> child = root.GetPart(0);
    child->AppendPart(&part);
    EXPECT_EQ(child->NumParts(), 2);
    EXPECT_EQ(root.NumParts(), 3);
    EXPECT_EQ(root.GetPart(0)->NumParts(), 0);
}

TEST(BvMime, ReadsEightBitTextInItsCharset) {
    const auto message = [](std::string_view charset, std::string_view body) {
        return "Content-Type: text/plain; charset=" + std::string(charset) +
               "\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + std::string(body);
    };
    const std::pair<std::string, std::string> cases[] = {
        {message("iso-8859-2", "\xB1"), message("iso-8859-2", "\xC4\x85")},
        {message("utf-8", "\xC4\x85"), message("utf-8", "\xC4\x85")},
        // No part names the charset of 8-bit bytes behind the first ASCII ones.
        {message("iso-8859-2", std::string(50'000, 'x') + "\xB1"),
         message("iso-8859-2", std::string(50'000, 'x'))},
    };
    const support::TemporaryFolder folder;
    const std::string file = folder.file("message");
    for (const auto& [bytes, input] : cases) {
        folder.write("message", bytes);
        BvMime mime;
        ASSERT_TRUE(mime.LoadMimeFile(file.c_str()));
        BvString text;
        EXPECT_TRUE(mime.GetMime(text));
        EXPECT_EQ(std::string(text.getUtf8()).substr(0, input.size()), input);
        ASSERT_TRUE(mime.SaveMime(file.c_str()));
        EXPECT_EQ(folder.read(file), bytes);
    }
}

TEST(BvMime, LoadsFiles) {
    const support::TemporaryFolder folder;
    const std::string file = folder.file("message");
    BvMime mime;
    mime.SetBody("stays");
    EXPECT_FALSE(mime.LoadMimeFile(file.c_str()));
    EXPECT_EQ(bodyOf(mime), "stays");
    EXPECT_TRUE(mime.LoadMime(""));
    EXPECT_STREQ(mime.getMime(), "\r\n\r\n");

    const std::tuple<std::string, int, std::string> cases[] = {
        {"", 0, ""},
        {"\xFF\xFEX\0:\0y\0\r\0\n\0\r\0\n\0\xE9\0x\0"s, 0, "\xC3\xA9x"},
        {"--abc\r\n\r\none\r\n--abc\r\n\r\ntwo\r\n--abc--\r\n", 2, "one"},
        {"\r\n--abc\r\n\r\none\r\n--abc--\r\n", 1, "one"},
        {" \n--abc\r\n\r\none\r\n--abc--\r\n", 1, "one"},
        {"--abc", 0, ""},
    };
    for (const auto& [bytes, parts, first] : cases) {
        folder.write("message", bytes);
        EXPECT_TRUE(mime.LoadMimeFile(file.c_str()));
        ASSERT_EQ(mime.NumParts(), parts) << bytes;
        EXPECT_EQ(parts == 0 ? bodyOf(mime) : bodyOf(*mime.GetPart(0)), first) << bytes;
    }
    EXPECT_FALSE(mime.SaveMime("/no/such/folder/file"));
}

TEST(BvMime, GivesABodyAsBytesOrAsText) {
    const platform::ScopedAnsiCodePage page(1252);
    BvByteData bytes;
    bytes.append("a\0b", 3);
    BvMime mime;
    EXPECT_TRUE(mime.SetBodyFromBinary(bytes));
    EXPECT_STREQ(mime.header("Content-Transfer-Encoding"), "base64");
    EXPECT_EQ(bodyOf(mime), "a\0b"s);
    EXPECT_STREQ(mime.bodyDecoded(), "a");
    mime.ContentType("text/plain");
    EXPECT_STREQ(mime.bodyDecoded(), "a b");
    mime.SetBody("\xE9");
    EXPECT_EQ(bodyOf(mime), "\xC3\xA9");
}

TEST(ClsMime, GoesOnAtAnEmptyRootWhenItsNodeIsGone) {
    ClsMime root;
    root.convertToMultipart();
    const std::unique_ptr<ClsMime> part = root.getPart(0);
    ASSERT_NE(part, nullptr);
    part->keepLog(true);
    root.tree().root().clear();
    XString type;
    part->setContentType("a/b");
    part->contentType(type);
    EXPECT_STREQ(type.getUtf8(), "a/b");
    EXPECT_NE(&part->tree(), &root.tree());
    EXPECT_EQ(part->getPart(0), nullptr);
    StringBuffer log;
    part->log().getText(log);
    for (const char* line :
         {"Failed to get MIME message part", "num_parts: 0", "requested_part_index: 0"}) {
        EXPECT_TRUE(log.contains(line)) << log.getString();
    }
}

/// The log of the last operation behind what the machine and the build put into it.
std::string keptLog(ClsMime& mime) {
    StringBuffer log;
    mime.log().getText(log);
    log.replaceAll("\r\n", "|");
    log.replaceAll("  ", "");
    std::string text(log.view());
    const std::size_t at = text.find("DllDate: ");
    return text.erase(at, text.find("Language: ") - at);
}

TEST(ClsMime, KeepsTheWholeLogOfAnOperation) {
    ClsMime mime;
    mime.keepLog(true);
    EXPECT_TRUE(mime.loadMimeText(
        "Subject: =?iso-8859-1?Q?caf=E9?= \xE9\nX-A: \xC3\xA9\n"
        "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/html\n\n"
        "<meta charset=windows-1251>\xE9\n--b\nContent-Transfer-Encoding: base64\n"
        "Content-Type: text/plain; charset=iso-8859-1\n\n6Q==\n--b--\n",
        false));
    EXPECT_EQ(keptLog(mime),
              "BorvikLog:|LoadMime:|Language: C++|Double CRLF not found, but found double-LF|"
              "Found LFLF, converting to CRLF|Found end-of-header.|Header contains Q-encoding.|"
              "DetectedCodePageQ: 28591|FinalCodePageDecision: 28591|"
              "Converting header field to utf-8|Converting header field to utf-8|"
              "Found end-of-header.|No CRLF's found in header.Converting line endings to CRLF.|"
              "Header is entirely 7-bit|FinalCodePageDecision: 0|"
              "No charset specified.Trying to get HTML charset via META tag..|"
              "Found end-of-header.|Header is entirely 7-bit|FinalCodePageDecision: 0|Success.|");
    XString text;
    bool isBytes = false;
    EXPECT_TRUE(mime.getMime(text, isBytes));
    EXPECT_EQ(keptLog(mime),
              "BorvikLog:|GetMime:|Language: C++|Appending body with no encoding..|"
              "Converting text from stored utf-8 to target code page.|"
              "Appending base64 encoded body..|Success.|");
}

TEST(ClsMime, SharesATreeBetweenThreads) {
    ClsMime root;
    root.convertToMultipart();
    constexpr int kParts = 50;
    const auto work = [&](ClsMime& mine) {
        ClsMime part;
        for (int i = 0; i < kParts; ++i) {
            mine.appendPart(part);
            const std::unique_ptr<ClsMime> handle = mine.getPart(i);
            handle->setEncoding("7bit");
        }
    };
    ClsMime other(root.tree(), root.partId());
    std::thread second([&] { work(other); });
    work(root);
    second.join();
    EXPECT_EQ(root.numParts(), 2 * kParts + 1);
}

TEST(ClsMime, AppendsFromATreeThatAnotherThreadUses) {
    std::string text = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    constexpr int kParts = 2'000;
    for (int i = 0; i < kParts; ++i) {
        text += "--b\r\nX: y\r\n\r\nbody\r\n";
    }
    for (int round = 0; round < 20; ++round) {
        ClsMime source;
        source.loadMimeText(text + "--b--", false);
        const std::unique_ptr<ClsMime> first = source.getPart(0);
        const std::unique_ptr<ClsMime> second = source.getPart(1);
        ClsMime root;
        // Both threads are the first to look for a part that isn't the root.
        std::atomic<int> waiting = 2;
        std::thread other([&] {
            for (--waiting; waiting != 0;) {
            }
            second->setEncoding("7bit");
        });
        for (--waiting; waiting != 0;) {
        }
        root.appendPart(*first);
        other.join();
        EXPECT_EQ(root.numParts(), 2);
        EXPECT_EQ(source.numParts(), kParts);
    }
}

}  // namespace
}  // namespace borvik
