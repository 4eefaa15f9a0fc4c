#include "mime/mime_field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "charset/code_pages.h"

namespace borvik {
namespace {

using namespace std::string_literals;

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
        {"Subject", "\xE3\x81\x82", kIso2022Jp, "Subject: \x1B$B$\"\x1B(B"},
        {"Subject", repeated("abcd ", 30), kIso2022Jp, "Subject: " + repeated("abcd ", 30)},
        {"X-A", "plain", kUtf8, "X-A: plain"},
        {"Return-Path", eAcute, kNoCodePage, "Return-Path: " + eAcute},
        {"Received", eAcute, kNoCodePage, "Received: " + eAcute},
        // Addresses: names are coded, addresses are not, and each ends its line.
        {"To", "\"J\xC3\xBCrgen X\" <j@x.de>", kNoCodePage,
         "To: =?utf-8?Q?J=C3=BCrgen_X?= <j@x.de>"},
        {"To", "a@x, Bob <b@x>, \xC3\xA9 <e@x>, c@x", kNoCodePage,
         "To: a@x, \r\n\t=?utf-8?Q?Bob?= <b@x>, \r\n\t=?utf-8?Q?=C3=A9?= <e@x>, \r\n\tc@x"},
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

}  // namespace
}  // namespace borvik
