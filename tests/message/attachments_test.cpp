#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "message/content_types.h"
#include "message/record_text.h"
#include "platform/code_page.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

class Attachments : public testing::Test {
protected:
    support::TemporaryFolder folder_;
    const std::string content_{"\0\xff\r\n.", 5};
    const std::string path_ = folder_.write("b.pdf", content_);
    CZnMail mail_;
};

TEST_F(Attachments, AddFilesTakesAllOrTellsWhy) {
    ASSERT_EQ(mkfifo(folder_.file("pipe").c_str(), 0600), 0);
    std::string backslashed = "c:" + path_;
    for (char& c : backslashed) {
        c = c == '/' ? '\\' : c;
    }
    // Its base64 lines have more than 2 GiB.
    std::filesystem::resize_file(folder_.write("huge", ""), 1'600'000'000);
    const std::tuple<std::string, std::int32_t, std::int32_t> cases[] = {
        {path_ + "|" + folder_.file("huge"), kMailAttachmentReadFailed, 1},
        {" " + path_ + " |\t" + backslashed + "\r\n", 0, 2},
        {path_ + "| |" + path_, 0, 1},
        {path_ + "||none", 0, 1},
        {" |" + path_, kMailNoAttachmentNamed, 0},
        {path_ + "|" + folder_.file("none"), kMailAttachmentOpenFailed, 0},
        {path_ + "|" + folder_.path(), kMailAttachmentOpenFailed, 0},
        {path_ + "|" + folder_.file("pipe"), kMailAttachmentOpenFailed, 0},
    };
    for (const auto& [list, result, count] : cases) {
        CZnMail mail;
        EXPECT_EQ(mail.AddFiles(support::wide(list)), result) << list;
        EXPECT_EQ(mail.GetAttachmentCount(), count) << list;
    }
    EXPECT_EQ(mail_.AddFile(support::wide(folder_.file("none")), "text/plain"),
              kMailAttachmentReadFailed);
}

TEST_F(Attachments, KeepNameNumberAndBytesThroughEncodeAndLoad) {
    const platform::ScopedAnsiCodePage page(platform::kUtf8Page);
    const std::string strange = folder_.write("x;y\\\u65e5 \"\u00e9\U0001F600\".gz", "x");
    ASSERT_EQ(mail_.AddFiles(support::wide(path_ + "|" + strange)), 0);
    borvik::BvMime& part = *mail_.m_lstAttachments[0]->m_pPart;
    EXPECT_STREQ(part.header("Content-Type"), "application/pdf;name=\"b.pdf\"");
    for (const int run : {1, 2}) {
        mail_.Encode();
        CZnMail loaded;
        loaded.LoadFromText(support::sourceOf(mail_).c_str());
        loaded.Encode();
        for (CZnMail* mail : {&mail_, &loaded}) {
            CZncString name;
            EXPECT_EQ(mail->GetAttachmentName(2, name), 0) << run;
            EXPECT_EQ(name, "\u65e5 '\u00e9\U0001F600'.gz");
            EXPECT_STREQ(mail->m_lstAttachments[1]->m_pPart->header("Content-ID"), "<2>");
            EXPECT_EQ(mail->SaveAttachment(1, support::wide(folder_.file("out"))), 0);
            EXPECT_EQ(support::TemporaryFolder::read(folder_.file("out")), content_);
        }
    }
    mail_.Clear();
    ASSERT_EQ(mail_.AddFiles(support::wide(path_)), 0);
    EXPECT_STREQ(mail_.m_lstAttachments[0]->m_pPart->header("Content-ID"), "<1>");
}

TEST_F(Attachments, AreNamedByCharactersAndNotByBytes) {
    // In page 932 the second bytes of the first characters are those of "\\" and "|".
    const platform::ScopedAnsiCodePage page(932);
    const char* const names[] = {"\u30bd\u30fc\u30b9.c", "\u30dd.c"};
    for (const char* name : names) {
        ASSERT_EQ(mail_.AddFiles(support::wide(path_ + "|" + folder_.write(name, "x"))), 0) << name;
        CZncString stored;
        mail_.GetAttachmentName(mail_.GetAttachmentCount(), stored);
        EXPECT_EQ(borvik::ansiToUtf8(stored.View()), name);
    }
    const std::string unfit = folder_.write("\u00e9", "x");
    folder_.write("?", "another file");
    EXPECT_EQ(mail_.AddFiles(support::wide(unfit)), kMailAttachmentOpenFailed);
}

TEST_F(Attachments, AreReachedByNumber) {
    ASSERT_EQ(mail_.AddFiles(support::wide(path_)), 0);
    std::uint32_t size = 0;
    EXPECT_EQ(mail_.GetAttachmentSize(1, size), 0);
    EXPECT_EQ(size, std::string(mail_.m_lstAttachments[0]->m_pPart->getMime()).size());
    EXPECT_GT(size, 100U);
    EXPECT_EQ(mail_.SaveAttachment(1, support::wide(folder_.file("no/out"))),
              kMailAttachmentWriteFailed);
    for (const std::int32_t number : {0, 2, -1, INT32_MAX, INT32_MIN}) {
        CZncString name("before");
        size = 1;
        EXPECT_EQ(mail_.GetAttachmentName(number, name), kMailBadAttachmentNumber);
        EXPECT_EQ(mail_.GetAttachmentSize(number, size), kMailBadAttachmentNumber);
        EXPECT_TRUE(name == "" && size == 0);
        EXPECT_EQ(mail_.SaveAttachment(number, u"/"), kMailBadAttachmentNumber);
    }
}

TEST(ContentTypeForFile, GoesByTheExtension) {
    const char* const cases[][2] = {
        {"archive.tar.gz", "application/x-gzip"}, {"a.jpeg", "image/jpeg"},
        {"a.PDF", "application/octet-stream"},    {"a.c", "text/plain"},
        {"README", "application/octet-stream"},   {"a.", "application/octet-stream"},
        {"/d.txt/a", "application/octet-stream"}, {".svg", "image/svg+xml"},
    };
    for (const auto& [path, type] : cases) {
        EXPECT_EQ(ContentTypeForFile(path), type) << path;
    }
}

}  // namespace
}  // namespace tessolt
