#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "charset/ansi_text.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"
#include "mime/coding/url_encode.h"
#include "mime/header/content_params.h"
#include "mime/header/mime_field.h"
#include "mime/header/param_string.h"
#include "mime/header/rfc822_address.h"

namespace borvik {
namespace {

using namespace std::string_literals;

constexpr std::size_t kNone = std::string::npos;

std::string emit(const MimeField& field, std::uint32_t codePage = kNoCodePage) {
    _bvCharset charset;
    charset.setByCodePage(codePage);
    std::string out;
    field.emitField(out, charset);
    return out;
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST(MimeField, ReadsUnfoldedLines) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"X-Foo bar: 1", "X-Foo-bar", "1"},
        {" <a>\"'b : 1 ", "-a---b", "1"},
        {"Subject:   hi  ", "Subject", "  hi  "},
        {"X-A:   hi \t", "X-A", "hi"},
        {"X-A:", "X-A", ""},
        {"To: a@x; b@x", "To", "a@x, b@x"},
        {"From: a@x; b@x", "From", "a@x; b@x"},
        {"Received: a \t b\r\nc", "Received", "a b c"},
        {"X-A: =?utf-8?Q?a=0D=0A_b?=", "X-A", "ab"},
        {"X-A: =?utf-8?Q?a=0D=0Ab?=", "X-A", "a\r\nb"},
        {"To: =?utf-8?Q?Doe=2C_Jane?= <j@x>, =?utf-8?Q?k?= <k@x>", "To",
         "\"Doe, Jane\" <j@x>,k <k@x>"},
        {"To: =?utf-8?Q?J=C3=BCrgen=2C_A?= <j@x>", "To", "\"J\xC3\xBCrgen, A\" <j@x>"},
    };
    for (const auto& [line, name, value] : cases) {
        MimeField field;
        EXPECT_TRUE(field.loadFromUnfolded(line));
        EXPECT_EQ(field.name(), name) << line;
        EXPECT_EQ(field.value(), value) << line;
    }
    MimeField field("X", "old");
    EXPECT_FALSE(field.loadFromUnfolded("no colon"));
    EXPECT_EQ(field.name(), "");
    EXPECT_EQ(MimeField("X", "a\r\n\tb\r\n c =?utf-8?b?ZA==?=").value(), "abc d");
    EXPECT_EQ(MimeField("X", "=?utf-8?q?=3D=3Futf-8=3FB=3FYQ=3D=3D=3F=3D?=").value(), "a");
}

TEST(MimeField, WritesValuesWithAndWithoutEncodedWords) {
    const std::string eAcute = "\xC3\xA9";
    const std::tuple<std::string, std::string, std::uint32_t, std::string> cases[] = {
        {"Subject", "hi", kNoCodePage, "Subject: hi"},
        {"Subject", eAcute, kNoCodePage, "Subject: =?utf-8?Q?=C3=A9?="},
        {"Subject", eAcute, kUtf8, "Subject: =?utf-8?B?w6k=?="},
        {"Subject", eAcute, kUsAscii, "Subject: =?utf-8?B?w6k=?="},
        {"Subject", eAcute, kWindowsLatin1, "Subject: =?windows-1252?Q?=E9?="},
        {"Subject", "\xC5\x99", kWindowsLatin1, "Subject: =?iso-8859-2?Q?=F8?="},
        {"Subject", "\xD0\xB6", kIsoLatin1, "Subject: =?utf-8?Q?=D0=B6?="},
        {"Subject", eAcute, kUtf16Le, "Subject: =?utf-8?B?w6k=?="},
        {"Subject", "\xE3\x81\x82", kShiftJis, "Subject: =?shift_jis?B?gqA=?="},
        {"Subject", "\xE3\x81\x82", kIso2022Jp, "Subject: =?iso-2022-jp?B?GyRCJCIbKEI=?="},
        {"Subject", repeated("abcd ", 30), kIso2022Jp, "Subject: " + repeated("abcd ", 30)},
        {"X-A", "plain", kUtf8, "X-A: plain"},
        {"X-A", "plain [1]", 37, "X-A: plain [1]"},
        {"Subject", eAcute, 37, "Subject: =?utf-8?Q?=C3=A9?="},
        {"Subject", eAcute, kUtf32Le, "Subject: =?utf-8?Q?=C3=A9?="},
        {"Return-Path", eAcute, kNoCodePage, "Return-Path: " + eAcute},
        {"Received", eAcute, kNoCodePage, "Received: " + eAcute},
        // Addresses: names are coded, addresses are not, and each ends its line.
        {"To", "\"J\xC3\xBCrgen X\" <j@x.de>", kNoCodePage,
         "To: =?utf-8?Q?J=C3=BCrgen_X?= <j@x.de>"},
        {"To", "a@x, Bob <b@x>, \xC3\xA9 <e@x>, c@x", kNoCodePage,
         "To: a@x, \r\n\t=?utf-8?Q?Bob?= <b@x>, \r\n\t=?utf-8?Q?=C3=A9?= <e@x>, \r\n\tc@x"},
        {"To", "Bob <b@x>, \"Doe, Jane\" <d@x>, \xC3\xA9 <e@x>", kUtf8,
         "To: Bob <b@x>, \r\n\t\"Doe, Jane\" <d@x>, \r\n\t=?utf-8?B?w6k=?= <e@x>"},
        {"To", "\xE3\x81\x82 <a@x>", kIso2022Jp, "To: =?iso-2022-jp?B?GyRCJCIbKEI=?= <a@x>"},
        {"To", eAcute, kNoCodePage, "To: " + eAcute},
        {"To", eAcute + " <nobody>", kNoCodePage, "To: =?utf-8?Q?=C3=A9_<nobody>?="},
        {"X-A", eAcute + " <e@x> tail", kNoCodePage, "X-A: =?utf-8?Q?=C3=A9?= <e@x> tail"},
        // Parameters.
        {"Content-Type", "text/plain;charset=utf-8", kNoCodePage,
         "Content-Type: text/plain; charset=utf-8"},
        {"Content-Disposition", "attachment;filename=\"a.pdf\"", kNoCodePage,
         "Content-Disposition: attachment; filename=a.pdf"},
        {"Content-Disposition", "attachment; filename=\"a b.pdf\"", kNoCodePage,
         "Content-Disposition: attachment; filename=\"a b.pdf\""},
        {"Content-Type", "multipart/mixed; boundary=\"--x\"; a=\"=\";", kNoCodePage,
         "Content-Type: multipart/mixed; boundary=\"--x\"; a=\"=\";"},
        {"Content-Disposition", "attachment; filename=\"\xC3\xA9.txt\"", kNoCodePage,
         "Content-Disposition: attachment;\r\n\t filename=\"=?utf-8?Q?=C3=A9.txt?=\""},
        {"Content-Type",
         "multipart/signed; micalg=sha1; protocol=\"application/pkcs7-signature\"; "
         "boundary=\"abcdefghij\"",
         kNoCodePage,
         "Content-Type: multipart/signed; micalg=sha1;\r\n\t "
         "protocol=application/pkcs7-signature; boundary=abcdefghij"},
        {"Organization", "M\xC3\xBCller;S\xC3\xB6hne", kNoCodePage,
         "Organization: =?utf-8?Q?M=C3=BCller?=;\r\n\tS\xC3\xB6hne"},
        {"X-A", "a;", kNoCodePage, "X-A: a;"},
        {"X-A", "", kNoCodePage, "X-A:"},
        {"Subject", "", kNoCodePage, "Subject: "},
    };
    for (const auto& [name, value, codePage, wire] : cases) {
        EXPECT_EQ(emit(MimeField(name, value), codePage), wire);
    }
}

TEST(MimeField, FoldsWhereItsNameSaysSo) {
    const std::string words = repeated("abcd ", 20) + "e";
    const std::string list = repeated("ab@example.org,", 6) + "z@x";
    const std::tuple<std::string, std::string, std::uint32_t, std::string> cases[] = {
        {"Subject", words, kNoCodePage,
         "Subject: " + repeated("abcd ", 11) + "abcd\r\n " + repeated("abcd ", 8) + "e"},
        {"Subject", words, kUsAscii,
         "Subject: " + repeated("abcd ", 10) + "abcd\r\n " + repeated("abcd ", 9) + "e"},
        {"X-Words", words, kNoCodePage, "X-Words: " + words},
        {"X-Words", words, kUsAscii,
         "X-Words: " + repeated("abcd ", 10) + "abcd\r\n " + repeated("abcd ", 9) + "e"},
        {"Subject", "\"" + words + "\"", kUsAscii, "Subject: \"" + words + "\""},
        {"Received", words, kNoCodePage, "Received: " + words},
        {"User-Agent", words, kUsAscii, "User-Agent: " + words},
        {"Accept", words, kUsAscii, "Accept: " + words},
        {"To", list, kNoCodePage,
         "To: ab@example.org,ab@example.org,\r\n ab@example.org,ab@example.org,\r\n "
         "ab@example.org,ab@example.org,\r\n z@x"},
        {"To", list, kUsAscii,
         "To: ab@example.org,ab@example.org,\r\n ab@example.org,ab@example.org,\r\n "
         "ab@example.org,ab@example.org,\r\n z@x"},
        {"DKIM-Signature", "a=0123456789012345; b=" + std::string(70, 'x'), kUsAscii,
         "DKIM-Signature: a=0123456789012345;\r\n b=" + std::string(70, 'x')},
        {"X-A", std::string(40, 'a') + ";>" + std::string(40, 'b') + ";", kUsAscii,
         "X-A: " + std::string(40, 'a') + ";>" + std::string(40, 'b') + ";"},
    };
    for (const auto& [name, value, codePage, wire] : cases) {
        EXPECT_EQ(emit(MimeField(name, value), codePage), wire);
    }
}

TEST(MimeField, NoValueBeginsAnotherField) {
    EXPECT_EQ(emit(MimeField("Subject", "x\r\nBcc: e@e")), "Subject: x  Bcc: e@e");
    EXPECT_EQ(emit(MimeField("X\r\nBcc", "e@e\0\n"s)), "X  Bcc: e@e");
    for (const char* name : {"Subject", "From", "Organization", "X-A"}) {
        MimeField field;
        ASSERT_TRUE(field.loadFromUnfolded(name + ": =?utf-8?Q?x=0D=0ABcc:_e@e?="s));
        EXPECT_EQ(field.value(), "x\r\nBcc: e@e");
        for (const std::uint32_t codePage : {kNoCodePage, kUsAscii, kUtf8}) {
            EXPECT_EQ(emit(field, codePage), name + ": x  Bcc: e@e"s);
        }
    }
}

TEST(MimeField, NoCharsetMakesLineBreaks) {
    std::set<std::uint32_t> tables;
    for (std::uint32_t page = 1; page <= kUtf32Be; ++page) {
        _bvCharset charset;
        charset.setByCodePage(page);
        if (charset.getCodePage() == kNoCodePage) {
            continue;
        }
        const bool japanese = page == kIso2022Jp || page == kIso2022JpCs || page == kIso2022Jp2;
        const EncodeTable* table = encodeTable(japanese             ? kShiftJis
                                               : page == kIso2022Kr ? kKoreanUhc
                                                                    : page);
        tables.insert(table == nullptr ? 0 : page);
        std::u16string units = u"\xC4\x8E\x85";
        for (char16_t unit = 0x80; unit != 0xD800 && table != nullptr; ++unit) {
            units.append(table->cell(unit) == 0 ? 0 : 1, unit);
        }
        for (std::size_t at = 0; at < units.size(); at += 40) {
            const std::string text = wideToUtf8Paired(units.substr(at, 40));
            for (const std::string& value : {text, "A " + text + " <a@x>", "a;" + text + "=b"}) {
                for (const char* name : {"Subject", "To", "Return-Path", "X-A"}) {
                    std::string wire;
                    MimeField(name, value).emitField(wire, charset);
                    for (std::size_t fold = 0; (fold = wire.find("\r\n", fold)) != kNone;) {
                        ASSERT_TRUE(wire[fold + 2] == ' ' || wire[fold + 2] == '\t') << wire;
                        wire.erase(fold, 2);
                    }
                    ASSERT_EQ(wire.find_first_of("\r\n\0"s), kNone) << page << " " << wire;
                }
            }
        }
    }
    EXPECT_GT(tables.size(), 100U);
}

/// All that was read, in one line.
std::string describe(const ContentTypeParams& p) {
    std::string out;
    for (const StringBuffer* text :
         {&p.mediaType, &p.name, &p.protocol, &p.micalg, &p.boundary, &p.smimeType, &p.type}) {
        out.append(text->view()).append("|");
    }
    return out.append(p.charset.getName());
}

TEST(ContentTypeParams, ReadsAFieldValue) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", "|||||||"},
        {"TEXT/Plain", "text/plain|||||||"},
        {"text/plain x; charset=UTF-8", "text/plain|||||||"},
        {"text / plain; charset = \"ISO-8859-1\" ", "text|||||||"},
        {"text/plain ;\r\n\tcharset = \"ISO-8859-1\" ", "text/plain|||||||iso-8859-1"},
        {"multipart/signed; boundary=\"a; b=c\"; protocol=\"Application/X\"; micalg=SHA1",
         "multipart/signed||application/x|sha1|a; b=c|||"},
        {"a/b; name=x y; NAME=z\tw", "a/b|zw||||||"},
        {"a/b; name=\"x \\\" y\"; type=\"T\"; smime-type=Signed-Data",
         "a/b|x \" y||||signed-data|t|"},
        {"a/b; name==x;;name;type=y", "a/b|x||||||"},
        {"a/b; name*0*=utf-8''a%20b; name*1*=%C3%A9+; name*2=c", "a/b|a b\xC3\xA9 c||||||"},
        {"a/b; name*0*=iso-8859-1'en'x''%E9; name*1*=%E9", "a/b|\xC3\xA9\xC3\xA9||||||"},
        {"a/b; name*=iso-8859-2''%B1", "a/b|\xC4\x85||||||"},
        {"a/b; name=<[[7]]>; type=\"x\"", "a/b||||||x|"},
        {"a/b; name=<[[99999999999999999999]]>; type=\"x\"", "a/b||||||x|"},
        {"a/b; name=<[[; boundary=\"y\"; type=\"x\"", "a/b|y|||y||x|"},
        {"a/b; name=\"open", "a/b|||||||"},
    };
    for (const auto& [value, result] : cases) {
        ContentTypeParams params;
        params.type.setString("old");
        params.parse(value);
        EXPECT_EQ(describe(params), result) << value;
    }
}

TEST(ContentTypeParams, WritesAFieldValue) {
    ContentTypeParams params;
    params.mediaType.setString("text/RFC822-headers;x=y ");
    EXPECT_EQ(params.format(true).view(), "text/RFC822-headers;x=y");

    params.mediaType.setString("application/pkcs7-mime");
    params.charset.setByName("utf-8");
    params.name.setString("n");
    params.protocol.setString("p");
    params.micalg.setString("m");
    params.boundary.setString("b");
    params.smimeType.setString("s");
    params.type.setString("t");
    EXPECT_EQ(params.format(true).view(),
              "application/pkcs7-mime; charset=\"utf-8\"; type=\"t\";boundary=\"b\";name=\"n\";"
              "protocol=\"p\";micalg=m;smime-type=s");
    params.clear();
    params.mediaType.setString("multipart/related");
    params.type.setString("text/html");
    EXPECT_EQ(params.format(true).view(), "multipart/related");
}

TEST(ContentDispositionParams, ReadsAFieldValue) {
    const std::tuple<std::string_view, std::string_view, std::string_view> cases[] = {
        {"attachment", "attachment", ""},
        {" Attach ment ;; filename = \"a b; c.txt\"", "Attachment", "a b; c.txt"},
        {"attachment; filename*0*=utf-8''a%20b; filename*1*=c.txt", "attachment", "a bc.txt"},
        {"inline; filename*=%zz%4", "inline", "%zz"},
    };
    for (const auto& [value, disposition, filename] : cases) {
        ContentDispositionParams params;
        params.parse(value);
        EXPECT_EQ(params.disposition.view(), disposition);
        EXPECT_EQ(params.filename.view(), filename);
    }
}

TEST(ParamString, MasksQuotedStrings) {
    const std::tuple<const char*, bool, const char*, const char*> cases[] = {
        {R"(a="x y"; b=1)", true, "a=<[[0]]>; b=1", "x y"},
        {R"("a\"b")", true, "<[[0]]>", R"(a"b)"},
        {R"("a\b")", true, "<[[0]]>", R"(a\b)"},
        {R"("a\"b")", false, "<[[0]]>b<[[", R"(a\)"},
        {"\"a\r\nb", true, "<[[0]]>\nb", "a"},
        {R"(a="open)", true, "a=<[[", nullptr},
        {R"("x" y="open\)", true, "<[[0]]> y=<[[", "x"},
        {"", true, "", nullptr},
    };
    for (const auto& [value, allowEscapes, masked, firstString] : cases) {
        ParamString params;
        params.setParamString("\"old\"", true);
        params.setParamString(value, allowEscapes);
        EXPECT_EQ(params.getMaskedString(), masked) << value;
        const auto first = params.getSubstring(0);
        ASSERT_EQ(first.has_value(), firstString != nullptr) << value;
        EXPECT_EQ(first.value_or(""), firstString == nullptr ? "" : firstString);
    }
}

TEST(Rfc822Address, ReadsOneMailbox) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"Hans <h@x>", "Hans", "h@x"},
        {"  \"Hans B\" <h@x> ", "Hans B", "h@x"},
        {"'Hans' <h@x>", "Hans", "h@x"},
        {"\"O'Neil'\" <o@x>", "O'Neil'", "o@x"},
        {R"("a\"b" <h@x>)", R"(a\"b)", "h@x"},
        {"\"\" <h@x>", "", "h@x"},
        {"h@x", "", "h@x"},
        {"<h@x>", "", "h@x"},
        {"h@x <h@x>", "", "h@x"},
        {"Hans h@x", "Hans", "h@x"},
        {"bob", "", "bob"},
        {"b", "", "b"},
        {"a b", "a", "b"},
        {"<>", "", ""},
        {"\"h@x\"", "", "h@x"},
        {"C=de;O=x;S=y", "", "C=de;O=x;S=y"},
        {"\"Hans\" <O=x;S=y>", "Hans", "O=x;S=y"},
        {"CN=a b", "", "CN=a b"},
        {"P=a b", "", "P=a b"},
        {"N=a b", "N=a", "b"},
        {"=a b", "=a", "b"},
        {"J\xC3\xBC,r <j@x>", "J\xC3\xBC,r", "j@x"},
        {"=?8bit?Q?J=C3=BC?= <j@x>", "J\xC3\xBC", "j@x"},
        {"\x1B$BF|\x1B(B <j@x>", "\xE6\x97\xA5", "j@x"},
    };
    for (const auto& [text, wantedName, wantedAddress] : cases) {
        const Rfc822Address mailbox(text);
        std::string name;
        std::string address;
        mailbox.friendlyName(name);
        mailbox.address(address);
        EXPECT_TRUE(mailbox.isValid()) << text;
        EXPECT_EQ(name, wantedName) << text;
        EXPECT_EQ(address, wantedAddress) << text;
    }
    EXPECT_FALSE(Rfc822Address(" \t").isValid());
    EXPECT_FALSE(Rfc822Address("Undisclosed-Recipients:;").isValid());
    EXPECT_FALSE(Rfc822Address("\"undisclosed recipients\" <>").isValid());
}

TEST(Rfc822Address, SplitsLists) {
    const struct {
        std::string list;
        std::vector<std::string> addresses;
    } cases[] = {
        {"\"Doe, Jane\" <j@x>, k@x", {"j@x", "k@x"}},  {"undisclosed-recipients:;", {}},
        {",, a@x ,\r\n\tb@x,", {"a@x", "b@x"}},        {"a@x\t,b@x", {"a@x", "b@x"}},
        {R"(a\,b@x, c@x\)", {R"(a\,b@x)", R"(c@x\)"}}, {"\"open, a@x, b@x", {"a@x,"}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> addresses;
        forEachAddress(c.list, [&addresses](const Rfc822Address& mailbox) {
            mailbox.address(addresses.emplace_back());
        });
        EXPECT_EQ(addresses, c.addresses) << c.list;
    }
}

}  // namespace
}  // namespace borvik
