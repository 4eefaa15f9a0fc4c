#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "message/record_text.h"
#include "platform/code_page.h"

namespace tessolt {
namespace {

using support::sourceOf;
using support::utf8;

TEST(HeaderText, IsOneEncodedWord) {
    const std::tuple<std::uint32_t, std::int32_t, const char16_t*, std::string> cases[] = {
        {1252, 0, u"", ""},
        {1252, 28595, u"a\"\x7f", "a\"\x7f"},
        {1252, 0, u"caf\u00e9", "=?windows-1252?B?Y2Fm6Q==?="},
        {1252, 28595, u"\u00ffa", "=?iso-8859-5?B?/2E=?="},
        {1252, 50221, u"caf\u00e9", "=?iso-2022-jp?B?Y2Fm6Q==?="},
        {1252, 12345, u"caf\u00e9", "=??B?Y2Fm6Q==?="},
        {1252, 28595, u"\u0100", "=?utf-8?B?xIA=?="},
        {1252, 0, u"\u00e9\U0001F600", "=?utf-8?B?w6nwn5iA?="},
        {1251, 0, u"caf\u00e9", "=?windows-1251?B?Y2FmPw==?="},
        {932, 0, u"\u00a7", "=?shift_jis?B?gZg=?="},
        {65001, 0, u"caf\u00e9", "=?utf-8?B?Y2Fmw6k=?="},
        {65001, 1252, u"caf\u00e9", "=?windows-1252?B?Y2Fm6Q==?="},
        {65001, 28595, u"caf\u00e9", "=?utf-8?B?Y2Fmw6k=?="},
        {65001, 12345, u"caf\u00e9", "=?utf-8?B?Y2Fmw6k=?="},
    };
    for (const auto& [ansiPage, encoding, text, expected] : cases) {
        const platform::ScopedAnsiCodePage page(ansiPage);
        CZnMail mail;
        mail.m_nEncoding = encoding;
        EXPECT_EQ(mail.EncodeHeaderText(text, false), expected);
        EXPECT_EQ(mail.EncodeHeaderText(text, true), '"' + expected + '"');
    }
}

TEST(TextBody, IsLabelledByClassAndEncoding) {
    const platform::ScopedAnsiCodePage page(1252);
    const std::tuple<std::int32_t, const char16_t*, const char16_t*, const char*> cases[] = {
        {28595, u"a", u"", "text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\na"},
        {28595, u"caf\u00e9", u"",
         "charset=iso-8859-5\r\nContent-Transfer-Encoding: base64\r\n\r\nY2Fm6Q=="},
        {936, u"caf\u00e9", u"", "\r\n\r\nY2Fm6Q=="},
        {12345, u"\u00e9", u"", "text/plain; charset=\r\n"},
        {28595, u"\u20ac", u"", "charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n4oKs"},
        // A part is written and read when it joins its parent, so its bytes must fit the label.
        {28595, u"caf\u00e9", u"h", "\r\n\r\nY2Fm6Q=="},
        {936, u"caf\u00e9", u"h", "\r\n\r\nY2Fm\r\n"},
    };
    for (const auto& [encoding, text, html, expected] : cases) {
        CZnMail mail;
        mail.m_nEncoding = encoding;
        mail.m_wstrBodyPlainText = text;
        mail.m_wstrBodyHtml = html;
        mail.Encode();
        EXPECT_THAT(sourceOf(mail), testing::HasSubstr(expected)) << encoding;
    }
}

TEST(RoundTrip, KeepsWhatTheAnsiPageCanHold) {
    const std::tuple<std::uint32_t, const char*, const char*, const char*> cases[] = {
        {1252, "caf\u00e9 \u20ac", "caf\u00e9 \u20ac", "caf\u00e9 \u20ac"},
        {1252, "a\u65e5b", "ab", "a\u65e5b"},
        {1251, "\u041f\u0440\u0438", "\u041f\u0440\u0438", "\u041f\u0440\u0438"},
        {1251, "caf\u00e9", "caf?", "caf?"},
        {932, "\u65e5\u672c", "\u65e5\u672c", "\u65e5\u672c"},
        {65001, "\u00e9\u041f\u65e5\U0001F600", "\u00e9\u041f\u65e5\U0001F600",
         "\u00e9\u041f\u65e5\U0001F600"},
    };
    for (const auto& [ansiPage, text, body, name] : cases) {
        const platform::ScopedAnsiCodePage page(ansiPage);
        CZnMail mail;
        Utf8ToWide(text, mail.m_wstrBodyPlainText);
        mail.m_wstrFromName = mail.m_wstrBodyPlainText;
        mail.m_wstrFromAddress = u"a@b";
        mail.Encode();
        CZnMail loaded;
        ASSERT_EQ(loaded.LoadFromText(sourceOf(mail).c_str()), 0);
        EXPECT_EQ(utf8(loaded.m_wstrBodyPlainText), body) << ansiPage;
        EXPECT_EQ(utf8(loaded.m_wstrFromName), name) << ansiPage;
        EXPECT_EQ(utf8(loaded.m_wstrFromAddress), "a@b");
    }
}

}  // namespace
}  // namespace tessolt
