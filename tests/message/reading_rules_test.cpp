#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "message/record_text.h"
#include "platform/code_page.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::utf8;
using namespace std::string_literals;

/// The decoded bytes of an attachment.
std::string bytesOf(const CZnMail& mail, std::int32_t number) {
    const support::TemporaryFolder folder;
    EXPECT_EQ(mail.SaveAttachment(number, support::wide(folder.file("saved"))), kMailOk);
    return support::TemporaryFolder::read(folder.file("saved"));
}

std::string attachmentsOf(const CZnMail& mail) {
    std::string shown;
    for (std::int32_t i = 1; i <= mail.GetAttachmentCount(); ++i) {
        std::u16string name;
        mail.GetAttachmentNameText(i, name);
        shown += borvik::wideToUtf8Paired(name) + ":" + bytesOf(mail, i) + ";";
    }
    return shown;
}

/// What a row of the table looks at.
std::string shown(const CZnMail& mail, char what) {
    switch (what) {
        case 'S':
            return utf8(mail.m_wstrSubject);
        case 'F':
            return utf8(mail.m_wstrFromName) + " <" + utf8(mail.m_wstrFromAddress) + ">";
        case 'T':
            return support::showRecipients(mail.m_lstTo);
        case 'P':
            return utf8(mail.m_wstrBodyPlainText);
        case 'H':
            return utf8(mail.m_wstrBodyHtml);
        default:
            return attachmentsOf(mail);
    }
}

struct Row {
    char what;
    std::string text;
    const char* classic;
    const char* current;
};

std::string mixed(const std::string& parts) {
    return "Content-Type: multipart/mixed; boundary=b1\r\n\r\n--b1\r\n" + parts;
}

std::string named(const std::string& disposition) {
    return mixed(
        "Content-Type: text/plain\r\n\r\n\r\n--b1\r\nContent-Type: x/y\r\n"
        "Content-Disposition: attachment; " +
        disposition + "\r\n\r\nz\r\n--b1--");
}

std::string labelled(const std::string& charset, const std::string& text) {
    return "Content-Type: text/plain; charset=" + charset + "\r\n\r\n" + text;
}

const std::string kPlain = "Content-Type: text/plain\r\n\r\n";
const std::string kUtf8Text = "\u041f\u0440\u0438\u0432\u0435\u0442";

/// Its bytes in windows-1252.
constexpr const char* kMisread =
    "\u00d0\u0178\u00d1\u20ac\u00d0\u00b8\u00d0\u00b2\u00d0\u00b5\u00d1\u201a";

/// A row for each rule of docs/rules.md on reading, as each set of rules reads it.
const Row kRows[] = {
    {'T', "To: Joe Blow\r\n\t <j@x.org>\r\n\r\n", "Joe Blow\t  <j@x.org>", "Joe Blow <j@x.org>"},
    {'F', "From: Joe Blow  <j@x.org>\r\n\r\n", "Joe   <j@x.org> <Blow>", "Joe Blow <j@x.org>"},
    {'F', "From: a@x.org (Ann Doe)\r\n\r\n", "a@x.org (Ann <Doe)>", "Ann Doe <a@x.org>"},
    {'T', "To: A: a@x, \"b, \\\"c\\\"\" <b@x>;, <@r.org:c@x>, no address\r\n\r\n",
     "A:  <a@x>|b, \\c\\  <b@x>| <@r.org:c@x>|no  <address>",
     " <a@x>|b, \"c\" <b@x>| <c@x>|no address <>"},
    {'P', mixed(kPlain + "one\r\n--b1\r\n" + kPlain + "two\r\n--b1\r\n" + kPlain + "\r\n--b1--"),
     "", "one\r\ntwo"},
    {'A', "Content-Type: application/pdf\r\n\r\nPDF", "", ":PDF;"},
    {'P', mixed("\r\nletter\r\n--b1--"), "", "letter"},
    {'P', "Content-Type: multipart/mixed; boundary=b1\r\n\r\n--b1 \t\r\n\r\nx\r\n--b1--", "", "x"},
    {'P', "Content-Type: multipart/mixed; boundary=b1\r\n\r\nnone\r\n", "", "none\r\n"},
    {'P', "Subject: s\r\nNo field\r\nmore", "", "No field\r\nmore"},
    {'P', "From j@x Mon\nSubject: s\n\na\r\nb", "a\r\nb", "a\r\nb"},
    {'P', "\r\n" + kUtf8Text, kMisread, kUtf8Text.c_str()},
    {'P', "\r\n\xe9t\xe9", "\u00e9t\u00e9", "\u00e9t\u00e9"},
    {'S', "Subject: " + kUtf8Text + "\r\n" + labelled("koi8-r", "\xf0"),
     "\u0446\u2591\u0435\u2566\u0446\u2592\u0411\u250c\u255b\u0446\u2591\u0431\u2566\u0446\u2591"
     "\u0431\u2561\u0446\u2591\u0431\u2563\u0446\u2592\u0411\u2500\u00a0",
     kUtf8Text.c_str()},
    {'A', named("filename=naive.txt; filename*=utf-8'fr'na%C3%AFve.txt"),
     "naive.txtutf-8'fr'na\u00efve.txt:z;", "na\u00efve.txt:z;"},
    {'A', named("filename=a b+c.txt"), "ab+c.txt:z;", "a b+c.txt:z;"},
    {'S', "Subject: de la =?utf-8?Q?maison?=\r\n\r\n", "de la maison", "de la maison"},
    {'S', "Subject: =?utf-8?Q?Do?= =?utf-8?Q?nau?= =?utf-8?Q?x rest\r\n\r\n", "Do nau ",
     "Donau =?utf-8?Q?x rest"},
    {'P', labelled("x-nothing", kUtf8Text), kMisread, kUtf8Text.c_str()},
    {'P', labelled("hz-gb-2312", "~{VPND~}"), "", "\u4e2d\u6587"},
    {'P', labelled("iso-8859-16", "\xaa"), "\u00aa", "\u0218"},
    {'P', labelled("gb18030", "\x94\x39\xda\x33"), "\u201d9\u00da3", "\U0001F4A9"},
    {'A', mixed("Content-Type: text/plain; charset=koi8-r; name=n\r\n\r\n\xf0\xd2\r\n--b1--"),
     "n:\u00f0\u00d2;", "n:\xf0\xd2;"},
    {'P', mixed(kPlain + "abcdb1\r\nx--b1\r\n--b1--"), "", "abcdb1\r\nx--b1"},
    {'P', mixed(kPlain + "not closed\r\n"), "not closed", "not closed\r\n"},
    {'S', "Subject: =?utf-8?Q?=F0=9F=98=80?=\r\n\r\n", "\U0001F600", "\U0001F600"},
    {'F', "From: =?utf-8?Q?=F0=9F=98=80?= <a@x>\r\n\r\n", "\U0001F600 <a@x>", "\U0001F600 <a@x>"},
    {'A', named("filename*=utf-8''%F0%9F%98%80"), ":z;", "\U0001F600:z;"},
    {'P', "\r\n\U0001F600", "\u00f0\u0178\u02dc\u20ac", "\U0001F600"},
};

TEST(ReadingRules, EachRowBySet) {
    const platform::ScopedAnsiCodePage page(1252);
    for (const Row& row : kRows) {
        for (const bool isCurrent : {false, true}) {
            CZnMail mail;
            mail.m_rules = isCurrent ? MailRules::current() : MailRules::classic();
            ASSERT_EQ(mail.LoadFromBytes(row.text), kMailOk);
            EXPECT_EQ(shown(mail, row.what), isCurrent ? row.current : row.classic)
                << isCurrent << " " << row.text;
        }
    }
}

/// A message with fields and parts that composing would write otherwise.
const std::string kHead =
    "Received: by x\r\nFrom: \"Joe\"  <j@x.org> (home)\r\nMessage-ID: <1@x>\r\nDate: today\r\n"
    "References: <a@x>\r\n\t<b@x>\r\nX-Priority: 1 (Highest)\r\nX-Own:  1\r\nX-Own: 2\r\n";
const std::string kContent =
    "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; "
    "boundary=b1\r\n\r\npreamble\r\n--b1\r\n\r\n"
    "letter\r\n--b1\r\nContent-Type: text/x; name=n\r\nX-Part: 1\r\n\r\n\xe9\0\n\r\n--b1--\r\nend"s;

CZnMail& loaded(CZnMail& mail, const std::string& text) {
    mail.m_rules = MailRules::current();
    EXPECT_EQ(mail.LoadFromBytes(text), kMailOk);
    return mail;
}

std::string encoded(CZnMail& mail) {
    EXPECT_EQ(mail.Encode(), kMailOk);
    borvik::BvByteData bytes;
    return std::string(mail.GetSourceBytes(bytes));
}

TEST(ReadingRules, KeepsEveryFieldThatWasNotChanged) {
    const std::string subject = "Subject: old\r\n";
    const std::tuple<const char*, void (*)(CZnMail&), std::string> rows[] = {
        {"nothing", [](CZnMail&) {}, kHead + subject + kContent},
        {"subject", [](CZnMail& mail) { mail.m_wstrSubject.Assign(u"new"); },
         kHead + "Subject: new\r\n" + kContent},
        {"recipient", [](CZnMail& mail) { mail.AddTo(u"a@x.org"); },
         kHead + subject + kContent.substr(0, kContent.find("\r\n\r\n") + 2) + "To: <a@x.org>\r\n" +
             kContent.substr(kContent.find("\r\n\r\n") + 2)},
        {"own field", [](CZnMail& mail) { mail.AddHeader("x-own", "3"); },
         kHead.substr(0, kHead.find("X-Own")) + "x-own: 3\r\n" + subject + kContent},
    };
    for (const auto& [what, change, text] : rows) {
        CZnMail mail;
        change(loaded(mail, "From j@x Mon Jan  1 00:00:00 2024\r\n" + kHead + subject + kContent));
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(encoded(mail), text) << what;
            EXPECT_EQ(attachmentsOf(mail), "n:\xe9\0\n;"s) << what;
        }
    }
}

TEST(ReadingRules, KeepsFieldsAndPartsWhenTheLetterChanges) {
    const support::TemporaryFolder folder;
    CZnMail mail;
    loaded(mail, kHead + kContent);
    EXPECT_EQ(mail.m_nPriority, 1);
    mail.m_wstrBodyPlainText.Assign(u"new \u00e9");
    EXPECT_EQ(mail.AddFiles(support::wide(folder.write("file", "bytes"))), kMailOk);
    const std::string text = encoded(mail);
    EXPECT_TRUE(text.starts_with(kHead)) << text;
    EXPECT_EQ(support::countOf(text, "Content-Type: multipart"), 1U) << text;
    EXPECT_NE(text.find("\r\nContent-Type: text/x; name=n\r\nX-Part: 1\r\n\r\n\xe9\0\n\r\n"s),
              text.npos);
    CZnMail again;
    loaded(again, text);
    EXPECT_EQ(utf8(again.m_wstrBodyPlainText), "new \u00e9");
    EXPECT_EQ(attachmentsOf(again), "n:\xe9\0\n;file:bytes;"s);

    // A message that is one file becomes its own attachment.
    CZnMail file;
    loaded(file, kHead + "Content-Type: a/b\r\nContent-Transfer-Encoding: base64\r\n\r\neHk=\r\n");
    file.m_wstrBodyPlainText.Assign(u"letter");
    const std::string whole = encoded(file);
    EXPECT_TRUE(whole.starts_with(kHead)) << whole;
    EXPECT_EQ(attachmentsOf(loaded(again, whole)), ":xy;");
    EXPECT_EQ(utf8(again.m_wstrBodyPlainText), "letter");
}

TEST(ReadingRules, SavesAndShowsWhatWasLoaded) {
    const support::TemporaryFolder folder;
    const std::string text = kHead + kContent;
    CZnMail mail;
    loaded(mail, text);
    EXPECT_EQ(mail.CheckForSaving(), kMailOk) << "without a recipient";
    CZnMail classic;
    classic.LoadFromBytes(text);
    EXPECT_NE(classic.CheckForSaving(), kMailOk);
    EXPECT_EQ(mail.SaveToFile(support::wide(folder.file("saved"))), kMailOk);
    EXPECT_EQ(support::TemporaryFolder::read(folder.file("saved")), text);
    EXPECT_EQ(mail.LoadFromFile(support::wide(folder.file("saved"))), kMailOk);
    CZncString head;
    EXPECT_EQ(mail.GetHead(head).GetString() + "\r\n", text.substr(0, text.find("\r\n\r\n") + 2));
    EXPECT_EQ(mail.GetHeader("date", head), "today");
    std::uint32_t size = 0;
    EXPECT_EQ(mail.GetAttachmentSize(1, size), kMailOk);
    EXPECT_EQ(size, std::size("Content-Type: text/x; name=n\r\nX-Part: 1\r\n\r\n\xe9\0\n") - 1);
    EXPECT_EQ(mail.LoadFromFile(support::wide(folder.file("none"))), kMailFileLoadFailed);
}

}  // namespace
}  // namespace tessolt
