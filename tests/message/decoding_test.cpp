#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "message/record_text.h"
#include "platform/code_page.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::utf8;
using support::wide;

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
            found += attachment->m_strFileName + ":" + attachment->m_strContentType + ";";
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

TEST(Decoding, UnderUtf8BytesReadAsTheyCameOffTheWire) {
    const std::string multipart = "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n";
    const std::tuple<std::string, const char*, const char*> cases[] = {
        {"Content-Type: text/plain; charset=iso-8859-1\r\n\r\ncaf\xE9", "", "caf\u00e9"},
        {"Content-Type: text/plain; charset=koi8-r\r\n\r\n\xF0", "", "\u041f"},
        {"Subject: caf\xE9\r\n\r\ncaf\xE9", "caf\u00e9", "caf\u00e9"},
        {"Subject: \u65e5\U0001F600\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n\U0001F600",
         "\u65e5\U0001F600", "\U0001F600"},
        {"Subject: \u00e9\xFF\r\nContent-Type: text/plain; charset=utf-8\r\n\r\na\xE6\x97z\xFF",
         "\u00e9\uFFFD", "a\uFFFDz\uFFFD"},
        {"Subject: =?utf-8?B?w6n/?=\r\n\r\n", "\u00e9\uFFFD", ""},
        // A pair that looks like UTF-8 in one part tells nothing of the other.
        {multipart + "Content-Type: text/html; charset=utf-8\r\n\r\n\u00e9\r\n--b\r\n"
                     "Content-Type: text/plain; charset=iso-8859-2\r\n\r\n\xE6\r\n--b--",
         "", "\u0107"},
    };
    const support::TemporaryFolder folder;
    const platform::ScopedAnsiCodePage page(platform::kUtf8Page);
    for (const auto& [text, subject, body] : cases) {
        CZnMail fetched;
        CZnMail loaded;
        EXPECT_EQ(fetched.LoadFromText(text.c_str()), 0);
        EXPECT_EQ(loaded.LoadFromFile(wide(folder.write("in.eml", text))), 0);
        for (const CZnMail* mail : {&fetched, &loaded}) {
            EXPECT_EQ(utf8(mail->m_wstrSubject), subject) << text;
            EXPECT_EQ(utf8(mail->m_wstrBodyPlainText), body) << text;
        }
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
    EXPECT_EQ(mail.LoadFromFile(wide(folder.write("in.eml", text))), 0);
    EXPECT_EQ(utf8(mail.m_wstrSubject), "\u00e9\U0001F600\u20ac");
    EXPECT_EQ(utf8(mail.m_wstrOrganization), "\u00e9");
    EXPECT_EQ(utf8(mail.m_wstrReadReceiptAddress), "r@s");
    EXPECT_EQ(mail.m_nPriority, 3);
    EXPECT_TRUE(mail.m_lstTo.empty() && mail.m_mapHeaders.empty());
    CZncString value;
    EXPECT_EQ(mail.GetHeader("DATE", value), "today");
    EXPECT_EQ(mail.GetHeader("X-None", value), "");
    EXPECT_EQ(mail.SaveToFile(wide(folder.file("out.eml"))), 0);
    EXPECT_TRUE(support::TemporaryFolder::read(folder.file("out.eml")).ends_with("\r\n\r\nbody"));
    EXPECT_EQ(mail.SaveToFile(wide(folder.file("no/folder"))), kMailFileSaveFailed);
    EXPECT_EQ(mail.LoadFromFile(wide(folder.file("none"))), kMailFileLoadFailed);
    EXPECT_TRUE(mail.m_wstrSubject.IsEmpty());
}

TEST(Decoding, LargeBodiesAreReadWhenTheyAreWanted) {
    const std::string body(100'000, 'b');
    for (const unsigned page : {65001U, 1252U}) {
        const platform::ScopedAnsiCodePage scoped(page);
        const std::tuple<std::string, std::string> cases[] = {
            {body, body},
            {"\xEF\xBB\xBF" + body, body},
            {body + std::string(1, '\0') + "x", body + " x"},
            {body + "\u00e9", body + "\u00e9"},
        };
        for (const auto& [stored, shown] : cases) {
            const support::TemporaryFolder folder;
            CZnMail mail;
            const std::string text = "Content-Type: text/plain; charset=utf-8\r\n\r\n" + stored;
            ASSERT_EQ(mail.LoadFromFile(wide(folder.write("in.eml", text))), 0);
            ASSERT_NE(mail.m_wstrBodyPlainText.GetSource(), nullptr);
            std::string read;
            mail.m_wstrBodyPlainText.GetSource()->read([&](std::string_view part) { read = part; });
            CZncStringW copy(mail.m_wstrBodyPlainText);
            EXPECT_EQ(mail.m_wstrBodyPlainText.GetSource(), nullptr);
            EXPECT_TRUE(copy == CZncStringW().AssignBytes(read));
            EXPECT_TRUE(utf8(copy) == shown) << page << stored.substr(0, 3);
        }
    }
    CZnMail mail;
    mail.LoadFromText(("\r\n" + body).c_str());
    mail.m_wstrBodyHtml = std::move(mail.m_wstrBodyPlainText);
    mail.Encode();
    EXPECT_EQ(mail.m_wstrBodyHtml.GetLength(), body.size());
}

}  // namespace
}  // namespace tessolt
