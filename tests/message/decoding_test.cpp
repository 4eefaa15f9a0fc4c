#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "message/record_text.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::utf8;

TEST(Decoding, ReadsTheSender) {
    const std::tuple<std::string, const char*, const char*> cases[] = {
        {"\"John Doe\" <a@b>", "John Doe", "a@b"},
        {"a@b", "", "a@b"},
        {"<<a@b>>", "", "<a@b"},
        {"John  Doe <a@b>", "Doe <a@b>", "John"},
        {"<a@b> and <a@b>", "and", "a@b"},
        {"=?utf-8?Q?_a?= <x@y>", "a <x@y>", ""},
        {"=?utf-8?B?w6nwn5iA?= <x@y>", "\u00e9\U0001F600", "x@y"},
    };
    for (const auto& [from, name, address] : cases) {
        CZnMail mail;
        mail.LoadFromText(("From: " + from + "\r\nReply-To: " + from + "\r\n\r\nx").c_str());
        EXPECT_EQ(utf8(mail.m_wstrFromName), name) << from;
        EXPECT_EQ(utf8(mail.m_wstrFromAddress), address) << from;
        EXPECT_EQ(utf8(mail.m_wstrReplyAddress), address) << from;
    }
}

TEST(Decoding, ReadsRecipientLists) {
    const std::tuple<std::string, const char*> cases[] = {
        {"\"Doe, John\" <a@b>, c@d", "Doe, John  <a@b>| <c@d>"},
        {"a@b,, ;<c@d>,", " <a@b>| <>| <c@d>"},
        {"\"unclosed, <a@b>", "unclosed,  <a@b>"},
        {"x A@B y a@b", "x  y  <a@b>"},
    };
    for (const auto& [field, recipients] : cases) {
        CZnMail mail;
        std::string text;
        for (const char* header : {"To: ", "Cc: ", "Bcc: "}) {
            text += header + field + "\r\n";
        }
        mail.LoadFromText((text + "\r\nx").c_str());
        for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
            EXPECT_EQ(support::showRecipients(*list), recipients) << field;
        }
    }
}

TEST(Decoding, SortsPartsIntoBodiesAndAttachments) {
    const std::string multipart = "Content-Type: multipart/x; boundary=b\r\n\r\n--b\r\n";
    const std::string plain = "Content-Type: text/plain\r\n\r\nplain\r\n--b\r\n";
    const std::tuple<std::string, const char*, const char*, const char*> cases[] = {
        {"Content-Type: text/plain; name=n\r\n\r\nbody", "body", "", ""},
        {"Content-Type: application/pdf\r\n\r\nbody", "body", "", ""},
        {multipart + plain + "Content-Type: TEXT/HTML\r\n\r\nhtml\r\n--b--", "plain", "html", ""},
        {multipart + plain + "Content-Type: text/plain\r\n\r\nlast\r\n--b--", "last", "", ""},
        {multipart + plain +
             "Content-Type: text/plain\r\n"
             "Content-Disposition: attachment; filename=\"f x\"\r\n\r\nf\r\n--b--",
         "plain", "", "f x:text/plain;"},
        {multipart + "Content-Type: image/gif; name=n\r\n\r\nf\r\n--b\r\n"
                     "Content-Type: image/png; name=n\r\n"
                     "Content-Disposition: inline; filename=f\r\n\r\nf\r\n--b\r\n"
                     "Content-Type: message/rfc822\r\n\r\nSubject: s\r\n\r\nx\r\n--b--",
         "", "", "n:image/gif;f:image/png;:message/rfc822;"},
    };
    for (const auto& [text, plain, html, attachments] : cases) {
        CZnMail mail;
        EXPECT_EQ(mail.LoadFromText(text.c_str()), 0);
        EXPECT_EQ(utf8(mail.m_wstrBodyPlainText), plain) << text;
        EXPECT_EQ(utf8(mail.m_wstrBodyHtml), html) << text;
        std::string found;
        for (const auto& attachment : mail.m_lstAttachments) {
            found += attachment->m_strFileName.GetString() + ":" +
                     attachment->m_strContentType.GetString() + ";";
        }
        EXPECT_EQ(found, attachments) << text;
    }
}

TEST(Decoding, LeavesOutPartsBelowDepthFour) {
    for (const int multiparts : {4, 5}) {
        std::string text = "Content-Type: text/plain\r\n\r\ndeep";
        for (int i = multiparts; i > 0; --i) {
            const std::string line = "--level" + std::to_string(i);
            text = "Content-Type: multipart/mixed; boundary=" + line.substr(2) + "\r\n\r\n" + line +
                   "\r\n" + text + "\r\n" + line + "--\r\n";
        }
        CZnMail mail;
        mail.LoadFromText(text.c_str());
        EXPECT_EQ(utf8(mail.m_wstrBodyPlainText), multiparts == 4 ? "deep" : "");
        EXPECT_EQ(mail.GetAttachmentCount(), 0);
    }
}

TEST(Decoding, LoadsAndSavesFiles) {
    const support::TemporaryFolder folder;
    const std::string text =
        "Subject: =?utf-8?B?w6nwn5iA4oKs?=\r\nOrganization: =?iso-8859-1?Q?=E9?=\r\n"
        "Disposition-Notification-To: r@s\r\nX-Priority: 1\r\nDate: today\r\n\r\nbody";
    CZnMail mail;
    mail.AddTo(u"old@example.org");
    mail.AddHeader("X-Old", "1");
    EXPECT_EQ(mail.LoadFromFile(folder.write("in.eml", text).c_str()), 0);
    EXPECT_EQ(utf8(mail.m_wstrSubject), "\u00e9\u20ac") << "4-byte characters are lost here";
    EXPECT_EQ(utf8(mail.m_wstrOrganization), "\u00e9");
    EXPECT_EQ(utf8(mail.m_wstrReadReceiptAddress), "r@s");
    EXPECT_EQ(mail.m_nPriority, 3);
    EXPECT_TRUE(mail.m_lstTo.empty() && mail.m_mapHeaders.empty());
    CZncString value;
    EXPECT_EQ(mail.GetHeader("DATE", value), "today");
    EXPECT_EQ(mail.GetHeader("X-None", value), "");
    EXPECT_EQ(mail.SaveToFile(folder.file("out.eml").c_str()), 0);
    EXPECT_TRUE(support::TemporaryFolder::read(folder.file("out.eml")).ends_with("\r\n\r\nbody"));
    EXPECT_EQ(mail.SaveToFile(folder.file("no/folder").c_str()), kMailFileSaveFailed);
    EXPECT_EQ(mail.LoadFromFile(folder.file("none").c_str()), kMailFileLoadFailed);
    EXPECT_TRUE(mail.m_wstrSubject.IsEmpty());
}

}  // namespace
}  // namespace tessolt
