#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "message/boundary_maker.h"
#include "message/message_date.h"
#include "message/record_text.h"
#include "platform/c_random.h"
#include "support/fake_clock.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::countOf;
using support::sourceOf;
using testing::HasSubstr;

constexpr const char* kFirstMiddle = "0A0133F8000B8D9B==";
constexpr const char* kSecondMiddle = "1415C57411F733EC==";

/// Every message of these tests has the same date and the first boundary of a process.
class Encoding : public testing::Test {
protected:
    Encoding() {
        platform::srand(1);
        clock_.bias = -60;
    }

    support::FakeClock clock_;
    support::TemporaryFolder folder_;
    CZnMail mail_;
};

TEST_F(Encoding, WritesAWholeMessage) {
    mail_.m_strMailer = "Tessolt";
    mail_.m_wstrFromName = u"Ann";
    mail_.m_wstrFromAddress = u"ann@example.org";
    mail_.m_wstrReadReceiptAddress = u"receipt@example.org";
    mail_.m_wstrOrganization = u"Org";
    mail_.m_wstrSubject = u"caf\u00e9";
    mail_.m_wstrBodyPlainText = u"plain\r\ntext";
    mail_.m_wstrBodyHtml = u"<p>\u20ac</p>";
    mail_.m_nPriority = 5;
    mail_.AddTo(u"bob@example.org", u"Bob");
    mail_.AddCc(u"c@example.org;d@example.org");
    mail_.AddBcc(u"e@example.org");
    for (const char* name : {"X-B", "X-a", "X-A", "Subject", "X-A"}) {
        mail_.AddHeader(name, std::to_string(mail_.m_mapHeaders.size()));
    }
    ASSERT_EQ(mail_.AddFiles(support::wide(folder_.write("a.b.txt", "hello"))), 0);
    mail_.Encode();
    EXPECT_EQ(sourceOf(mail_),
              "Reply-To: \"Ann\" <ann@example.org>\r\nFrom: \"Ann\" <ann@example.org>\r\n"
              "To: \"Bob\" <bob@example.org>\r\n"
              "Cc: \"c@example.org\" <c@example.org>, \"d@example.org\" <d@example.org>\r\n"
              "Bcc: <e@example.org>\r\nSubject: =?utf-8?Q?caf=C3=A9?=\r\n"
              "Date: Tue, 5 Mar 2024 14:03:09 +0100\r\nOrganization: Org\r\nMIME-Version: 1.0\r\n"
              "X-Priority: 5 (Lowest)\r\nX-MSMail-Priority: Low\r\nX-Mailer: Tessolt\r\n"
              "Disposition-Notification-To: receipt@example.org\r\n"
              "Subject: 3\r\nX-A: 4\r\nX-B: 0\r\nX-a: 1\r\n"
              "Content-Type: multipart/mixed;\r\n\tboundary=\"--==001_0A0133F8000B8D9B==\"\r\n\r\n"
              "This is a multi-part message in MIME format.\r\n\r\n"
              "----==001_0A0133F8000B8D9B==\r\n"
              "Content-Type: multipart/alternative;\r\n"
              "\tboundary=\"--==002_0A0133F8000B8D9B==\"\r\n\r\n"
              "----==002_0A0133F8000B8D9B==\r\n"
              "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n"
              "plain\r\ntext\r\n----==002_0A0133F8000B8D9B==\r\n"
              "Content-Type: text/html; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n"
              "PHA+4oKsPC9wPg==\r\n\r\n----==002_0A0133F8000B8D9B==--\r\n\r\n"
              "----==001_0A0133F8000B8D9B==\r\n"
              "Content-Type: text/plain; name=a.b.txt\r\nContent-ID: <1>\r\n"
              "Content-Disposition: attachment; filename=a.b.txt\r\n"
              "Content-Transfer-Encoding: base64\r\n\r\n"
              "aGVsbG8=\r\n\r\n----==001_0A0133F8000B8D9B==--\r\n");
    EXPECT_EQ(mail_.GetSourceSize(), sourceOf(mail_).size());
}

TEST_F(Encoding, WritesTheFieldsThatThereIsTextFor) {
    const std::string rest =
        "Date: Tue, 5 Mar 2024 14:03:09 +0100\r\nMIME-Version: 1.0\r\n"
        "X-Priority: 3 (Normal)\r\nX-MSMail-Priority: Normal\r\n";
    mail_.m_nPriority = 6;
    mail_.m_nEncoding = 932;
    mail_.Encode();
    EXPECT_EQ(sourceOf(mail_), "Reply-To: \"\" <>\r\nFrom: <>\r\n" + rest + "\r\n");
    EXPECT_EQ(mail_.m_nEncoding, 50220);
    EXPECT_EQ(mail_.m_nPriority, 6);
    mail_.m_wstrReplyAddress = u"r@s";
    mail_.m_wstrBodyPlainText = u"b";
    EXPECT_EQ(countOf(sourceOf(mail_), "r@s"), 0U) << "the tree is that of the last run";
    mail_.Encode();
    EXPECT_EQ(sourceOf(mail_), "Reply-To: <r@s>\r\nFrom: <>\r\n" + rest +
                                   "Content-Type: text/plain\r\n"
                                   "Content-Transfer-Encoding: 7bit\r\n\r\nb");
}

std::string showTree(borvik::BvMime& node) {
    std::string shown = node.contentType();
    for (int i = 0; i < node.NumParts(); ++i) {
        shown += (i == 0 ? "(" : ",") + showTree(*node.GetPart(i));
    }
    return node.NumParts() > 0 ? shown + ")" : shown;
}

TEST_F(Encoding, ChoosesTheTreeByWhatThereIs) {
    const std::tuple<int, const char16_t*, const char16_t*, const char*, std::size_t> cases[] = {
        {0, u"", u"h", "text/html", 0},
        {0, u"p", u"h", "multipart/alternative(text/plain,text/html)", 4},
        {2, u"", u"", "multipart/mixed(image/gif,image/gif)", 4},
        {1, u"p", u"", "multipart/mixed(text/plain,image/gif)", 4},
        {1, u"", u"h", "multipart/mixed(text/html,image/gif)", 4},
        {1, u"p", u"h", "multipart/mixed(multipart/alternative(text/plain,text/html),image/gif)",
         8},
    };
    for (const auto& [files, plain, html, tree, boundaries] : cases) {
        CZnMail mail;
        mail.m_wstrBodyPlainText = plain;
        mail.m_wstrBodyHtml = html;
        for (int i = 0; i < files; ++i) {
            ASSERT_EQ(mail.AddFiles(support::wide(folder_.write("p.gif", "GIF"))), 0);
        }
        mail.Encode();
        const CZncString first = mail.m_strBoundary;
        mail.Encode();
        EXPECT_FALSE(mail.m_strBoundary == first);
        EXPECT_EQ(showTree(*mail.m_pMime), tree);
        EXPECT_EQ(countOf(sourceOf(mail), mail.m_strBoundary.View()), boundaries) << tree;
    }
}

TEST_F(Encoding, DrawsAgainWhenATextHoldsTheBoundary) {
    const std::string outer = BoundaryMaker::boundary(1, kFirstMiddle);
    const std::string inner = BoundaryMaker::boundary(2, kFirstMiddle);
    const std::tuple<std::string, const char16_t*, std::string, bool> cases[] = {
        {"x" + outer + "y", u"h", "", true},
        {outer, u"", "", false},
        {outer.substr(0, outer.size() - 1), u"h", "", false},
        {outer + "\xE2\x82\xAC", u"h", "", false},
        {inner, u"h", "", false},
        {inner, u"h", "a", true},
        {inner, u"", "a", false},
        {"p", u"", "a" + outer, true},
        {"p", u"", std::string("\0a", 2) + outer, true},
        {"p", u"h", "a" + inner, false},
    };
    for (const auto& [plain, html, attached, drawsAgain] : cases) {
        // From a file: a string would end at the first zero byte.
        CZnMail mail;
        if (!attached.empty()) {
            const std::string text =
                "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
                "Content-Type: message/rfc822\r\n\r\n" +
                attached + "\r\n--b--\r\n";
            mail.LoadFromFile(support::wide(folder_.write("in.eml", text)));
        }
        Utf8ToWide(plain.c_str(), mail.m_wstrBodyPlainText);
        mail.m_wstrBodyHtml = html;
        platform::srand(1);
        mail.Encode();
        EXPECT_EQ(mail.m_strBoundary, drawsAgain ? kSecondMiddle : kFirstMiddle) << plain;
    }
}

TEST_F(Encoding, StaysLinearForGuessedBoundaries) {
    constexpr std::size_t kCount = 50'000;
    std::string body;
    for (std::size_t i = 0; i < kCount; ++i) {
        body += BoundaryMaker::boundary(1, BoundaryMaker().drawMiddle()) + "\r\n";
    }
    platform::srand(1);
    mail_.m_wstrBodyPlainText.AssignBytes(body);
    mail_.m_wstrBodyHtml = u"h";
    mail_.Encode();
    EXPECT_EQ(countOf(sourceOf(mail_), mail_.m_strBoundary.View()), 4U);
}

TEST(FormatDate, WritesDayAndZone) {
    const std::tuple<int, std::string> cases[] = {{0, "-0000"},   {300, "-0500"}, {-330, "+0530"},
                                                  {210, "-0330"}, {-30, "+0030"}, {-840, "+1400"}};
    for (const auto& [bias, zone] : cases) {
        EXPECT_EQ(FormatDate({1999, 8, 1, 0, 4, 5, 6, 0}, bias),
                  "Sun, 1 Aug 1999 04:05:06 " + zone);
    }
}

}  // namespace
}  // namespace tessolt
