#include "mime/coding/content_coding.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "charset/tables/code_pages.h"

namespace borvik {
namespace {

using namespace std::string_literals;

TEST(EncodedWords, OneWordOfEitherKind) {
    std::string words;
    ContentCoding::bEncodeWord("a\xC3\xA9", "x", words);
    ContentCoding::bEncodeWord("a", "", words);
    ContentCoding().qEncodeWord("=?_,\t\x7F\xE9~^` b", "", words);
    ContentCoding(true).qEncodeWord("a,b", "x", words);
    EXPECT_EQ(words,
              "=?x?B?YcOp?==?utf-8?B?YQ==?="
              "=?utf-8?Q?=3D=3F=5F,=09=7F=E9~^`_b?==?x?Q?a=2Cb?=");
}

TEST(EncodedWords, LongTextIsSplitAtBlanksOnly) {
    const std::string five = "word word word word word";
    const std::string words = five + ' ' + five + ' ' + five + ' ' + five;
    std::string out;
    ContentCoding().encodeQValue(words, kUtf8, "utf-8", out);
    // A piece has 30 characters and goes on to the next blank, which opens the next piece.
    EXPECT_EQ(out,
              "=?utf-8?Q?word_word_word_word_word_word_word?=\r\n\t"
              "=?utf-8?Q?_word_word_word_word_word_word?=\r\n\t"
              "=?utf-8?Q?_word_word_word_word_word_word?=\r\n\t"
              "=?utf-8?Q?_word?=");
    for (const char* tail : {"\u00e9", "\U0001F600", " \U0001F600 ", " \xFF"}) {
        for (const std::size_t letters : {26, 27, 28, 29, 58, 59}) {
            std::string text = std::string(letters, 'x') + tail;
            text += text + text;
            std::string b;
            ContentCoding::encodeBValue(text, kNoCodePage, "utf-8", b);
            EXPECT_TRUE(b.starts_with("=?utf-8?B?")) << b;
            ContentCoding::decodeEncodedWords(b);
            for (std::size_t fold; (fold = b.find("\r\n\t")) != std::string::npos;) {
                b.erase(fold, 3);
            }
            EXPECT_EQ(b, text);
        }
    }
}

TEST(EncodedWords, WhatGoesOutAsItIs) {
    std::string out;
    ContentCoding::encodeBValue("", kUtf8, "utf-8", out);
    ContentCoding::encodeBValue(" \t", kUtf8, "utf-8", out);
    ContentCoding::encodeBValue("a$[\x1B", kUtf8, "utf-8", out);
    ContentCoding::encodeBValue("a(]", kIso2022Jp, "iso-2022-jp", out);
    ContentCoding().encodeQValue("  ", kUtf8, "utf-8", out);
    EXPECT_EQ(out,
              " \ta$[\x1B"
              "a(]  ");
    for (const std::string coded : {"$", "[", "\x1B", "\x80"}) {
        std::string word;
        ContentCoding::encodeBValue(coded, kIso2022Kr, "iso-2022-kr", word);
        EXPECT_TRUE(word.starts_with("=?iso-2022-kr?B?")) << word;
    }

    const std::tuple<std::string, std::string, std::string> automatic[] = {
        {"", "utf-8", ""},
        {"a =?x?q?b?=", "utf-8", "a =?x?q?b?="},
        {"a", "Shift_JIS", "=?Shift_JIS?B?YQ==?="},
        {"a", "WINDOWS-1254", "=?WINDOWS-1254?B?YQ==?="},
        {"a", "windows-1252", "=?windows-1252?Q?a?="},
    };
    for (const auto& [text, charset, expected] : automatic) {
        std::string word;
        ContentCoding().encodeWordAuto(text, charset, word);
        EXPECT_EQ(word, expected);
    }
    std::string word;
    ContentCoding().encodeWordAuto(std::string(98, 'a') + "?B?", "utf-8", word);
    EXPECT_EQ(word.substr(0, 12), "=?utf-8?Q?aa");  // only the first 100 bytes are looked at
}

TEST(EncodedWords, DecodingToUtf8) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain = ? =", "plain = ? ="},
        {"=?utf-8?B?YQ==?= b", "a b"},
        {"=?utf-8?Q?a?= =?UTF-8?b?Yg==?=", "a b"},  // the blank between words stays
        {"=?utf-8?Q?a?==?utf-8?Q?b?=", "ab"},
        {"=?iso-8859-1?Q?=E9_=e8?=", "\xC3\xA9 \xC3\xA8"},
        {"=?windows-1252?X?=80?=", "\xE2\x82\xAC"},  // any other letter means Q
        {"=?8bit?Q?=C3=A9?=", "\xC3\xA9"},
        {"=?no-such-charset?Q?=E9?=", "\xE9"},
        {"x=?utf-8?Q?"
         "?=y",
         "xy"},
        {"x =?utf-8?Q?a", "x "},
        {"x =?utf-8", "x "},
        {"x =?utf-8?Q", "x "},
        {"x =?utf-8?Q?", "x "},
        {"x =?utf-8?Qz?a?= y", "x "},
        {"=?utf-8?Q?a?= =?broken", "a "},
    };
    for (const auto& [expected, text] : cases) {
        std::string value = expected;
        ContentCoding::decodeEncodedWords(value);
        EXPECT_EQ(value, text) << expected;
    }
}

TEST(EncodedWords, DecodingForAddressesAndRaw) {
    std::string list = "=?utf-8?Q?Doe=2C_Jane?= <j@x>, =?utf-8?Q?k?= <k@x>";
    EXPECT_TRUE(ContentCoding::decodeEncodedWordsForAddress(list));
    EXPECT_EQ(list, "Doe_COMMA_ Jane <j@x>, k <k@x>");
    std::string plain = "=?utf-8?Q?Jane?= <j@x>, k@x";
    EXPECT_FALSE(ContentCoding::decodeEncodedWordsForAddress(plain));
    EXPECT_EQ(plain, "Jane <j@x>, k@x");

    std::string raw;
    ContentCoding::decodeEncodedWordsRaw("a =?iso-8859-1?Q?=E9?= b =?broken", raw);
    EXPECT_EQ(raw, "a \xE9 b ");
}

TEST(EncodedWords, BytesOfQText) {
    const std::pair<std::string, std::string> cases[] = {
        {"a_b c", "a b c"},
        {"=41=4a=4G=", "AJ=4G="},
        {"?\t\x7F\x9F\xA0\xFF", "\xA0\xFF"},
        {"=\xB4\xB1", "=\xB4\xB1"},
    };
    for (const auto& [text, expected] : cases) {
        std::string bytes;
        ContentCoding::qDecode(text, bytes);
        EXPECT_EQ(bytes, expected) << text;
    }
}

}  // namespace
}  // namespace borvik
