#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/mail_rules.h"
#include "message/record_text.h"
#include "message/wire_text.h"
#include "platform/c_random.h"
#include "platform/code_page.h"
#include "support/fake_clock.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::sourceOf;

constexpr std::uint32_t kPages[] = {65001, 1252, 932};
constexpr int kEncodings[] = {0, 1252, 28591, 932, 50220, 65001, 1251, 20127, 99999};

std::string wireOf(const CZnMail& mail) {
    WireText text;
    mail.GetWireText(text);
    std::string all;
    for (std::string_view piece = text.Next(); !piece.empty(); piece = text.Next()) {
        all += piece;
    }
    return all;
}

std::string bytesOf(const CZnMail& mail) {
    borvik::BvByteData storage;
    return std::string(mail.GetSourceBytes(storage));
}

std::string headOf(const CZnMail& mail) {
    CZncString head;
    return mail.GetHead(head).GetString();
}

/// Makes texts of pieces that fields and bodies are written in different ways for.
class Author {
public:
    explicit Author(unsigned seed) : random_(seed) {}

    std::u16string text(int mostPieces) {
        static const std::u16string kPieces[] = {
            u"word",
            u" ",
            u"a;b",
            u"=?utf-8?B?w6k=?=",
            u"=",
            u",",
            u"\u00e9",
            u"\u20ac",
            u"\u65e5\u672c",
            u"\r\n",
            u"\n",
            u"\r\n\t",
            u".",
            u"\t",
            u"(",
            u"<x@y>",
            u"\"",
            u":",
            u"\x1b$B",
            u"a long run of plain words that goes on for a while, ",
            u"\u0001",
            u"?=",
            std::u16string(80, u'x'),
            u"\r\n--==001_",
            u"\xd800"};
        std::u16string made;
        for (int left = pick(mostPieces + 1); left > 0; --left) {
            made += kPieces[pick(pick(2) == 0 ? 2 : std::size(kPieces))];
        }
        return made;
    }

    void fill(CZnMail& mail) {
        mail.m_wstrFromName.Assign(text(3));
        mail.m_wstrFromAddress.Assign(pick(4) == 0 ? text(2) : u"ann@example.org");
        mail.m_wstrSubject.Assign(text(8));
        for (CZncStringW* rare : {&mail.m_wstrReplyAddress, &mail.m_wstrReadReceiptAddress,
                                  &mail.m_wstrOrganization, &mail.m_wstrBodyHtml}) {
            rare->Assign(pick(3) == 0 ? text(5) : u"");
        }
        mail.m_wstrBodyPlainText.Assign(text(12));
        if (pick(50) == 0) {
            mail.m_wstrBodyPlainText.Append(std::u16string(70'000 * pick(5), u'y'));
        }
        for (int left = pick(6); left > 0; --left) {
            mail.AddTo(u"bob@example.org", text(3));
            mail.AddBcc(u"eve@example.org", text(2));
        }
        for (int left = pick(3); left > 0; --left) {
            static const char* const kNames[] = {"X-a",
                                                 "Content-Type",
                                                 "Subject",
                                                 "a:b",
                                                 "To",
                                                 "X-\xC3\xA9",
                                                 "Date",
                                                 "Received",
                                                 " X-b ",
                                                 "",
                                                 "content-transfer-encoding"};
            mail.AddHeader(kNames[pick(std::size(kNames))], support::utf8(CZncStringW(text(6))));
        }
        mail.m_nEncoding = kEncodings[pick(std::size(kEncodings))];
        mail.m_nPriority = pick(7);
        mail.m_strMailer = pick(2) == 0 ? "" : "Mailer";
    }

    int pick(std::size_t count) {
        return static_cast<int>(random_() % static_cast<unsigned>(count));
    }

private:
    std::mt19937 random_;
};

TEST(KeptText, IsThatOfTheTree) {
    const support::FakeClock clock;
    const support::TemporaryFolder folder;
    const std::string path = folder.path() + "/saved.eml";
    for (unsigned seed = 0; seed < 3000; ++seed) {
        Author author(seed);
        const platform::ScopedAnsiCodePage page(kPages[seed % 10 < 8 ? 0 : seed % 10 - 7]);
        CZnMail mail;
        mail.m_rules = seed % 2 == 0 ? MailRules::classic() : MailRules::current();
        author.fill(mail);
        ASSERT_EQ(mail.Encode(), 0);
        const std::string wire = wireOf(mail);
        const std::string source = sourceOf(mail);
        const std::string bytes = bytesOf(mail);
        const std::string head = headOf(mail);
        const bool saves = seed % 20 == 0;
        const bool isSaved = saves && mail.SaveToFile(support::wide(path)) == 0;

        borvik::BvMime& tree = *mail.m_pMime;
        borvik::BvByteData plain;
        ASSERT_TRUE(tree.GetMimeBytes(plain));
        ASSERT_EQ(bytes, plain.view()) << seed;
        ASSERT_EQ(source, tree.getMime()) << seed;
        ASSERT_EQ(head, tree.entireHead()) << seed;
        ASSERT_EQ(wire, borvik::ansiCodePage() == 65001 ? bytes : source) << seed;
        ASSERT_TRUE(!saves || (isSaved && support::TemporaryFolder::read(path) == bytes)) << seed;
    }
}

struct Change {
    const char* name;
    void (*apply)(CZnMail& mail);
    bool encodes = true;
};

const Change kChanges[] = {
    {"Subject", [](CZnMail& mail) { mail.m_wstrSubject = u"other"; }},
    {"BodyPlainText", [](CZnMail& mail) { mail.m_wstrBodyPlainText = u"other"; }},
    {"BodyHtml", [](CZnMail& mail) { mail.m_wstrBodyHtml = u"<p>"; }},
    {"FromName", [](CZnMail& mail) { mail.m_wstrFromName = u"other"; }},
    {"FromAddress", [](CZnMail& mail) { mail.m_wstrFromAddress = u"o@x.org"; }},
    {"ReplyAddress", [](CZnMail& mail) { mail.m_wstrReplyAddress = u"o@x.org"; }},
    {"ReadReceiptAddress", [](CZnMail& mail) { mail.m_wstrReadReceiptAddress = u"o@x.org"; }},
    {"Organization", [](CZnMail& mail) { mail.m_wstrOrganization = u"other"; }},
    {"Encoding", [](CZnMail& mail) { mail.m_nEncoding = 28591; }},
    {"Priority", [](CZnMail& mail) { mail.m_nPriority = 1; }},
    {"AddTo", [](CZnMail& mail) { mail.AddTo(u"o@x.org"); }},
    {"AddCc", [](CZnMail& mail) { mail.AddCc(u"o@x.org"); }},
    {"AddBcc", [](CZnMail& mail) { mail.AddBcc(u"o@x.org"); }},
    {"AddHeader", [](CZnMail& mail) { mail.AddHeader("X-other", "1"); }},
    {"AddBytes",
     [](CZnMail& mail) { mail.AddBytes(borvik::BvByteData(), u"a.bin", "application/x"); }},
    {"RemoveHeaders", [](CZnMail& mail) { mail.RemoveHeaders("X-"); }, false},
    {"AddBlindCopies", [](CZnMail& mail) { mail.AddBlindCopies(); }, false},
    {"RemoveBlindCopies", [](CZnMail& mail) { mail.RemoveBlindCopies(); }, false},
    {"LoadFromText", [](CZnMail& mail) { mail.LoadFromText("Subject: x\r\n\r\nloaded"); }, false},
    {"Clear", [](CZnMail& mail) { mail.Clear(); }, false},
};

std::string textAfter(const Change& change, const MailRules& rules, bool isRendered) {
    CZnMail mail;
    mail.m_rules = rules;
    mail.m_rules.messageId = false;
    mail.m_wstrFromAddress = u"ann@example.org";
    mail.m_wstrBodyPlainText = u"caf\u00e9";
    mail.AddTo(u"bob@example.org");
    mail.AddBcc(u"eve@example.org");
    mail.AddHeader("X-a", "b");
    platform::srand(1);
    mail.Encode();
    if (isRendered) {
        EXPECT_EQ(sourceOf(mail), bytesOf(mail));
        EXPECT_EQ(wireOf(mail).size(), mail.GetSourceSize());
    }
    const std::string before = isRendered ? bytesOf(mail) : std::string();
    change.apply(mail);
    if (change.encodes) {
        platform::srand(1);
        mail.Encode();
    }
    const bool staysAsItIs = rules.bccInEnvelopeOnly && std::string(change.name) == "AddBcc";
    EXPECT_EQ(isRendered && bytesOf(mail) == before,
              isRendered && (staysAsItIs || (rules.bccInEnvelopeOnly &&
                                             std::string(change.name) == "RemoveBlindCopies")))
        << change.name;
    return sourceOf(mail) + wireOf(mail) + headOf(mail) + bytesOf(mail);
}

TEST(KeptText, GoesWithEveryChange) {
    const support::FakeClock clock;
    for (const MailRules& rules : {MailRules::classic(), MailRules::current()}) {
        for (const Change& change : kChanges) {
            EXPECT_EQ(textAfter(change, rules, true), textAfter(change, rules, false))
                << change.name;
        }
    }
}

}  // namespace
}  // namespace tessolt
