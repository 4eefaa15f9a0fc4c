#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "message/address_text.h"
#include "message/record_text.h"
#include "platform/code_page.h"

namespace tessolt {
namespace {

TEST(IsValidEmailAddress, AcceptsWhatLooksLikeAnAddress) {
    const std::string longest = std::string(60, 'a') + "@b.c";
    for (const std::string& text : {std::string("a@b"), std::string("a@b@c"), longest}) {
        EXPECT_TRUE(IsValidEmailAddress(support::wide(text))) << text;
    }
    for (const char* text : {"", "a", "@b", "a@", "a@\t", "a@b@", "a%b@c", "a~b@c", "a b@c",
                             "a\\b@c", "a;b@c", "a,b@c", "a|b@c", "<a@b", "a@b>"}) {
        EXPECT_FALSE(IsValidEmailAddress(support::wide(text))) << text;
    }
    EXPECT_FALSE(IsValidEmailAddress(support::wide("a" + longest)));
    const platform::ScopedAnsiCodePage page(932);
    EXPECT_TRUE(IsValidEmailAddress(u"\u8868@x.jp")) << "its second byte is that of a backslash";
    EXPECT_FALSE(IsValidEmailAddress(std::u16string(31, u'\u8868') + u"@x.jp")) << "67 bytes";
}

TEST(CZnMail, AddToReadsAListOfAddresses) {
    const std::tuple<const char16_t*, bool, const char*> cases[] = {
        {u"\r\n a@b \t", true, "Name <a@b>"},
        {u"a@b;c@d|e@f , g@h", true, "a@b <a@b>|c@d <c@d>|e@f <e@f>|g@h <g@h>"},
        {u"a@b,", true, "Name <a@b>"},
        {u"a@b,,c@d", true, "Name <a@b>"},
        {u" ", false, ""},
        {u",a@b", false, ""},
        {u"a@b, bad", false, ""},
        {u"a@b, ,c@d", false, ""},
    };
    for (const auto& [addresses, valid, recipients] : cases) {
        CZnMail mail;
        EXPECT_EQ(mail.AddTo(addresses, u" Name "), valid ? 0 : kMailBadToAddress);
        EXPECT_EQ(mail.AddCc(addresses, u" Name "), valid ? 0 : kMailBadCcAddress);
        EXPECT_EQ(mail.AddBcc(addresses, u" Name "), valid ? 0 : kMailBadBccAddress);
        for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
            EXPECT_EQ(support::showRecipients(*list), recipients);
        }
    }
}

TEST(CZnMail, ChecksSenderAndRecipientsForSending) {
    CZnMail mail;
    mail.AddCc(u"a@b;c@d");
    EXPECT_EQ(CZnMail::JoinAddresses(mail.m_lstCc), "a@b;c@d");
    CZnMail loaded;
    loaded.LoadFromText("To: \" \", a@b, \" \", c@d, \" \"\r\n\r\n");
    EXPECT_EQ(CZnMail::JoinAddresses(loaded.m_lstTo), ";a@b;;c@d");
    EXPECT_EQ(mail.CheckForSending(), kMailNoToRecipients);
    mail.AddTo(u"a@b");
    EXPECT_EQ(mail.CheckForSending(), 0);
    mail.m_wstrFromAddress = u"bad";
    EXPECT_EQ(mail.CheckForSending(), kMailBadFromAddress);
    mail.m_wstrFromAddress = u" a@b\r\n";
    EXPECT_EQ(mail.CheckForSending(), 0);
    EXPECT_EQ(mail.m_wstrFromAddress, u"a@b");
}

/// All that can be seen of a record but for mailer and number.
std::string everythingIn(const CZnMail& mail) {
    std::string all = support::sourceOf(mail) + std::string(mail.GetLoadedBytes()) +
                      std::to_string(mail.m_nEncoding) + "," + std::to_string(mail.m_nPriority) +
                      "," + std::to_string(mail.m_uBoundaryCount) + "," +
                      std::to_string(mail.m_uContentId);
    for (const CZncStringW* text :
         {&mail.m_wstrSubject, &mail.m_wstrBodyPlainText, &mail.m_wstrBodyHtml,
          &mail.m_wstrFromName, &mail.m_wstrFromAddress, &mail.m_wstrReplyAddress,
          &mail.m_wstrReadReceiptAddress, &mail.m_wstrOrganization}) {
        all += "|" + support::utf8(*text);
    }
    for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
        all += "|" + support::showRecipients(*list);
    }
    for (const auto& attachment : mail.m_lstAttachments) {
        all += "|" + attachment->m_strFileName;
    }
    for (const auto& header : mail.m_mapHeaders) {
        all += "|" + header.first;
    }
    return all;
}

TEST(CZnMail, ClearKeepsOnlyMailerAndNumber) {
    for (const MailRules& rules : {MailRules::classic(), MailRules::current()}) {
        for (const bool loaded : {false, true}) {
            CZnMail mail;
            mail.m_rules = rules;
            const std::string fresh = everythingIn(mail);
            mail.m_strMailer = "Mailer";
            mail.m_nEncoding = mail.m_nPriority = 1;
            for (CZncStringW* text :
                 {&mail.m_wstrSubject, &mail.m_wstrBodyPlainText, &mail.m_wstrBodyHtml,
                  &mail.m_wstrFromName, &mail.m_wstrFromAddress, &mail.m_wstrReplyAddress,
                  &mail.m_wstrReadReceiptAddress, &mail.m_wstrOrganization}) {
                *text = u"a@b";
            }
            mail.AddTo(u"a@b");
            mail.AddCc(u"a@b");
            mail.AddBcc(u"a@b");
            mail.AddHeader("X-A", "1");
            mail.AddBytes({}, u"name", "image/png");
            mail.SetInline(1, "id");
            EXPECT_EQ(mail.Encode(), 0);
            if (loaded) {
                EXPECT_EQ(mail.LoadFromBytes(support::sourceOf(mail)), 0);
            }
            mail.m_uID = 7;
            EXPECT_GT(everythingIn(mail).size(), fresh.size() + 500);
            mail.Clear();
            EXPECT_EQ(everythingIn(mail), fresh);
            EXPECT_EQ(mail.m_uID, 7U);
            mail.Encode();
            CZncString value;
            EXPECT_EQ(mail.GetHeader("x-mailer", value), "Mailer");
            EXPECT_EQ(mail.GetHeader("bcc", value), "");
        }
    }
}

}  // namespace
}  // namespace tessolt
