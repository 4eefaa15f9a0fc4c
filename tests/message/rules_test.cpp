#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/mail_rules.h"
#include "message/canonical_text.h"
#include "message/record_text.h"
#include "support/fake_clock.h"

namespace tessolt {
namespace {

struct WritingRule {
    const char* name;
    void (*compose)(CZnMail&);
    const char* pattern;  ///< What the text may hold, as a regular expression.
    bool underClassic;
    bool underCurrent;
};

/// A part as another program wrote it: 8-bit text, a line of 1,200 bytes, bare line ends.
void attachLoaded(CZnMail& mail, const std::string& body) {
    CZnMail loaded;
    loaded.LoadFromText(("Content-Type: multipart/mixed; boundary=cut\r\n\r\n--cut\r\n"
                         "Content-Type: application/x-log; name=a.log\r\n\r\n" +
                         body + "\r\n--cut--\r\n")
                            .c_str());
    mail.m_lstAttachments = std::move(loaded.m_lstAttachments);
}

const WritingRule kWritingRules[] = {
    {"Bcc", [](CZnMail& mail) { mail.AddBcc(u"e@x.org"); }, "Bcc: <e@x.org>", true, false},
    {"MessageId", [](CZnMail&) {}, "\r\nMessage-ID: <[0-9a-v]{26}@example.org>\r\n", false, true},
    {"GivenMessageId", [](CZnMail& mail) { mail.AddHeader("message-id", "<1@x>"); },
     "\r\nMessage-ID: <[0-9a-v]{26}@", false, false},
    {"EmptyReplyName", [](CZnMail&) {}, "^Reply-To: \"\" <ann@example.org>\r\n", true, false},
    {"LineEnds", [](CZnMail& mail) { mail.m_wstrBodyPlainText = u"a\nb\rc\r\nd"; },
     "\r\n\r\na\r\nb\r\nc\r\nd", false, true},
    {"LongLine", [](CZnMail& mail) { mail.m_wstrBodyPlainText.Assign(std::u16string(999, u'a')); },
     "Encoding: quoted-printable\r\n\r\na{75}=\r\n", false, true},
    {"LongestLine",
     [](CZnMail& mail) { mail.m_wstrBodyPlainText.Assign(std::u16string(998, u'a')); },
     "Encoding: quoted-printable", false, false},
    {"LongLineInAPart", [](CZnMail& mail) { attachLoaded(mail, std::string(999, 'a')); },
     "\r\na{999}\r\n", true, false},
    {"EscapeInAFileName",
     [](CZnMail& mail) { mail.AddBytes({}, u"a\x1B$B.bin", "application/x-test"); },
     "filename=a_.B.bin", false, true},
    {"EightBitPart", [](CZnMail& mail) { attachLoaded(mail, "caf\xe9"); }, "\r\nY2Fm", false, true},
};

TEST(WritingRules, PartWhereTheTableSays) {
    const support::FakeClock clock;
    for (const WritingRule& row : kWritingRules) {
        for (const bool current : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (current ? " current" : " classic"));
            CZnMail mail;
            mail.m_rules = current ? MailRules::current() : MailRules::classic();
            mail.m_wstrFromAddress = u"ann@example.org";
            mail.AddTo(u"bob@example.org");
            row.compose(mail);
            mail.Encode();
            const std::string source = support::sourceOf(mail);
            EXPECT_EQ(testing::Matches(testing::ContainsRegex(row.pattern))(source),
                      current ? row.underCurrent : row.underClassic)
                << source.substr(0, 2000);
        }
    }
}

TEST(WithoutFields, TakesWholeFieldsOutOfTheHeaderAlone) {
    const struct {
        const char* text;
        const char* kept;
    } cases[] = {
        {"Bcc: a\r\n b\r\nTo: c\r\n\r\nBcc: d\r\n", "To: c\r\n\r\nBcc: d\r\n"},
        {"To: c\nBCC : a\n\tb\nbcc:e\nX: y\n\nz", "To: c\nX: y\n\nz"},
        {"To: c\r\nBcc: a", "To: c\r\n"},
        {"To: c\r\n\r\nBcc: a\r\n", nullptr},
        {"\r\nBcc: a\r\n", nullptr},
        {"", nullptr},
        {"Bcc: a\r\n\r\n", "\r\n"},
    };
    for (const auto& row : cases) {
        bool removed = false;
        EXPECT_EQ(WithoutFields(row.text, {"Bcc"}, removed), row.kept ? row.kept : "") << row.text;
        EXPECT_EQ(removed, row.kept != nullptr) << row.text;
    }
}

}  // namespace
}  // namespace tessolt
