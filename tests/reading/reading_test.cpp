#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "charset/charset_names.h"
#include "charset/tables/conversion_tables.h"
#include "reading/addresses.h"
#include "reading/body_coding.h"
#include "reading/charset_labels.h"
#include "reading/charset_text.h"
#include "reading/field_text.h"
#include "reading/letter.h"
#include "reading/parameters.h"

namespace tessolt::reading {
namespace {

using namespace std::string_literals;

/// A tree as "type(child child)", leaves with their bodies.
std::string shown(const Message& message, std::uint32_t number = 0) {
    const Part& part = message.parts()[number];
    std::string text(part.subtype);
    if (!part.isOpened()) {
        return text + "[" + std::string(part.body) + "]";
    }
    std::string children;
    for (std::uint32_t child = number + 1; child < part.end; child = message.parts()[child].end) {
        children += (children.empty() ? "" : " ") + shown(message, child);
    }
    return text + "(" + children + ")" + std::string(part.epilogue);
}

std::string multipart(const std::string& boundary, const std::string& rest) {
    return "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\n" + rest;
}

TEST(Reading, CutsPartsAtTheirSeparators) {
    const std::pair<std::string, const char*> rows[] = {
        {"", "plain[]"},
        {"\r\nx", "plain[x]"},
        {"A: 1\rB: 2\r\rold", "plain[old]"},
        {multipart("b", "p\n--b\n\n1\n--b--\ne\n--b\n\nx"), "mixed(plain[1])e\n--b\n\nx"},
        {multipart("b", "--b\nA: 1\n--b\n--b\nno field\n"),
         "mixed(plain[] plain[] plain[no field\n])"},
        {multipart("b", "--b\n" + multipart("c", "--c\n\n1\n--b\n\n2\n--c\n")),
         "mixed(mixed(plain[1]) plain[2\n--c\n])"},
        {multipart("b", "--b\n" + multipart("b", "--b\n\n1\n--b--\n--b\n\n2\n--b--\n")),
         "mixed(mixed(plain[1]) plain[2])"},
        {multipart("b--", "--b--\n\n1\n--b----\n"), "mixed(plain[1])"},
        {multipart("b",
                   "--b\nContent-Type: message/rfc822\n\n" + multipart("c", "--c\n\n1\n--b--")),
         "mixed(rfc822(mixed(plain[1])))"},
        {"Content-Type: multipart/digest; boundary=b\n\n--b\n\nA: 1\n\n2\n",
         "digest(rfc822(plain[2\n]))"},
        {"Content-Type: multipart/mixed\n\nx", "mixed[x]"},
    };
    for (const auto& [text, tree] : rows) {
        EXPECT_EQ(shown(Message(text)), tree) << text;
    }
}

TEST(Reading, DepthHasAnEndAndTextHasNot) {
    for (const bool isMultipart : {false, true}) {
        std::string text;
        for (int i = 0; i < 3000; ++i) {
            const std::string boundary = "b" + std::to_string(i);
            text += isMultipart ? multipart(boundary, "--" + boundary + "\n")
                                : "Content-Type: message/rfc822\n\n";
        }
        text += "Subject: deep\n\ndeepest";
        const Message message(text);
        EXPECT_EQ(message.parts().size(), Message::kMaxDepth + 1);
        const Letter letter = letterOf(message);
        ASSERT_EQ(letter.attachments.size(), 1U);
        EXPECT_TRUE(
            bodyBytes(message, message.parts()[letter.attachments[0]]).ends_with("deepest"));
    }
}

TEST(Reading, DecodesBodies) {
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"base64", "YW\r\nJj ZA==\r\n", "abcd"},
        {"BASE64 (x)", "Y!W_J-j", "abc"},
        {"base64", "YQ==Yg==\r\n", "ab"},
        {"base64", "YQ==\r\n____\r\nA list's footer\r\n", "a"},
        {"base64", "\0YWJj"s, "abc"},
        {"quoted-printable", "a=E9=\r\nb \t\r\n=\n=4=ZZ =",
         "a\xe9"
         "b\r\n=4=ZZ "},
        {"quoted-printable", "\xbd\x30\x30 \0=00\n"s, "\xbd\x30\x30 \0\0\n"s},
        {"8bit", "=41", "=41"},
    };
    for (const auto& [coding, text, bytes] : rows) {
        EXPECT_EQ(decodedBody(text, coding), bytes) << coding << " " << text;
    }
}

TEST(Reading, ReadsAddresses) {
    const std::pair<std::string, const char*> rows[] = {
        {"\"unclosed <a@x>, b@y", "\"unclosed <a@x>| <b@y>"},
        {"(unclosed <a@x>", "(unclosed <a@x>"},
        {"A <a@x, B <b@y>", "A <a@x>|B <b@y>"},
        {"<a@x> <b@y> behind", " <a@x>|behind <b@y>"},
        {"a@x b@y, =?utf-8?Q?a,_b?= <c@z>", " <a@x>| <b@y>|a, b <c@z>"},
        {"A (one (two \\) three)) B <a . b@x (c) .org>", "A B <a.b@x.org>"},
        {"<>, @x, a@, ,;:<", " <>|@x <>|a@ <>| <>"},
        {"x@[IPv6:2001:db8::1], \"a b\"@x", " <x@[IPv6:2001:db8::1]>| <\"a b\"@x>"},
        {"\"a\r\n b\"\t<c@\r\n d>", "a b <c@d>"},
    };
    for (const auto& [text, expected] : rows) {
        std::string found;
        for (const Mailbox& box : mailboxes(text)) {
            found += (found.empty() ? "" : "|") + box.name + " <" + box.address + ">";
        }
        EXPECT_EQ(found, expected) << text;
    }
}

TEST(Reading, ReadsParameters) {
    const std::tuple<const char*, const char*> rows[] = {
        {"x; n=\"a\\\"b\\c\\\\d\"; m=1", "a\"b\\c\\d"},
        {"x; n=a (b).txt ; m", "a (b).txt"},
        {"x; n*1=b; n*0=a; n*0=z; n*10=c", "abc"},
        {"x; n*0*=iso-8859-1'en'%E9; n*1*=%e9%; n*2=%41", "\u00e9\u00e9%%41"},
        {"x; n*=%C3%A9", "\u00e9"},
        {"x; n*=x-none''%C3%A9%zz", "\u00e9%zz"},
        {"x; nn=1; n;N=2", "2"},
        {"x; n=\"unclosed; m=1", "unclosed; m=1"},
        {"x; n=\"a\"b", "ab"},
        {"x; n=\"=?utf-8?B?w6k=?= =?utf-8?Q?b?=\"", "\u00e9b"},
    };
    for (const auto& [field, value] : rows) {
        EXPECT_EQ(parameter(field, "n"), value) << field;
    }
}

TEST(Reading, KnowsLabels) {
    for (const auto& [name, page] : borvik::acceptedCharsetNames()) {
        EXPECT_TRUE(pageOfLabel(name) != 0 || borvik::decodeTable(page) == nullptr) << name;
    }
    for (const auto& [name, page] : furtherLabels()) {
        EXPECT_EQ(pageOfLabel(name), page) << name;
    }
    const std::pair<const char*, std::uint32_t> rows[] = {
        {"CP1251", 1251},      {"x-windows_1251", 1251},
        {"win-1251", 1251},    {"ibm-850", 850},
        {"\"utf-8\"", 65001},  {"GB18030", kGb18030Page},
        {"cp99999", 0},        {"cp", 0},
        {"1251", 0},           {"ansi", 0},
        {"x-user-defined", 0}, {"", 0},
    };
    for (const auto& [label, page] : rows) {
        EXPECT_EQ(pageOfLabel(label), page) << label;
    }
}

TEST(Reading, ShowsWhatACharsetLacks) {
    const std::tuple<const char*, std::string, const char*> rows[] = {
        {"utf-8",
         "\xef\xbb\xbf"
         "a\xe2\x82z\xff",
         "a\ufffdz\ufffd"},
        {"windows-1253", "a\xd2z", "a\ufffdz"},
        {"shift_jis", "\x93\xfa\x81\xadz\x93", "\u65e5\ufffdz\ufffd"},
        {"gb18030", "\x84\x31\xa4\x37\xff\x81", "\ufffd\uf8f5\ufffd"},
        {"utf-16", "\xfe\xff\x04\x1f\xd8", "\u041f\ufffd"},
        {"utf-32be", "\0\1\xf6\0\0\0\xd8\0"s, "\U0001F600\ufffd"},
        {"utf-7", "+2D3eAA-", "\U0001F600"},
        {"us-ascii", "\xc3\xa9", "\u00e9"},
    };
    for (const auto& [label, bytes, text] : rows) {
        EXPECT_EQ(textInCharset(bytes, label), text) << label;
    }
}

}  // namespace
}  // namespace tessolt::reading
