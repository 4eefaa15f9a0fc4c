#include "mime/quoted_printable.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "base/data_buffer.h"
#include "mime/quoted_printable_decoding.h"

namespace borvik {
namespace {

using namespace std::string_literals;

std::string encode(std::string_view bytes) {
    DataBuffer out;
    EXPECT_TRUE(appendQuotedPrintable(bytes, out));
    return std::string(out.view());
}

std::string decode(std::string_view text) {
    DataBuffer out;
    EXPECT_TRUE(appendDecodedQuotedPrintable(text, out));
    return std::string(out.view());
}

/// The coding byte by byte, as the rules tell it.
std::string encodeByByte(std::string_view bytes) {
    std::string out;
    std::size_t column = 0;
    const auto softBreak = [&] {
        out += "=\r\n";
        column = 0;
    };
    const auto coded = [&](char c) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "=%02X", static_cast<unsigned char>(c));
        out += digits;
        column += 3;
    };
    while (!bytes.empty()) {
        const char c = bytes.front();
        bytes.remove_prefix(1);
        const bool lineEndNext = bytes.substr(0, 2) == "\r\n";
        const bool blank = c == ' ' || c == '\t';
        if (column == 0 && (c == '.' || (c == 'F' && bytes.substr(0, 4) == "rom "))) {
            coded(c);
        } else if ((c >= 33 && c <= 126 && c != '=') || (blank && !bytes.empty() && !lineEndNext)) {
            out += c;
            ++column;
        } else if (c == '\r' && bytes.substr(0, 1) == "\n") {
            bytes.remove_prefix(1);
            out += "\r\n";
            column = 0;
        } else {
            if (column >= 73) {
                softBreak();
            }
            coded(c);
        }
        if (column >= 75 && bytes.substr(0, 2) != "\r\n") {
            softBreak();
        }
    }
    return out;
}

TEST(QuotedPrintable, EncodesWhatTheWireMayChange) {
    const std::string a75(75, 'a');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"From me", "=46rom me"},
        {"Fro. From", "Fro. From"},
        {".\r\n..\r\nx.", "=2E\r\n=2E.\r\nx."},
        {std::string(100, 'a'), a75 + "=\r\n" + std::string(25, 'a')},
        {a75, a75 + "=\r\n"},
        {a75 + "\r\n", a75 + "\r\n"},
        {a75 + ".", a75 + "=\r\n=2E"},
        {"a \r\nb", "a=20\r\nb"},
        {"a ", "a=20"},
        {"a\t\t\r\n", "a\t=09\r\n"},
        {" \n", " =0A"},
        {"\n\r", "=0A=0D"},
        {"=\x7F\xE9\0"s, "=3D=7F=E9=00"},
        {std::string(74, 'a') + " \r\n", std::string(74, 'a') + "=\r\n=20\r\n"},
        {std::string(72, 'a') + "\xE9", std::string(72, 'a') + "=E9=\r\n"},
        {std::string(73, 'a') + "\xE9", std::string(73, 'a') + "=\r\n=E9"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(encode(bytes), text);
        EXPECT_EQ(encodeByByte(bytes), text);
    }
}

TEST(QuotedPrintable, EncodesInRunsAsByteByByte) {
    const std::string alphabets[] = {"abc .F\r\n\t=\xE9", "abcdefgh From .\r\n", "\x80\xFF\r\n",
                                     "a\r\n", "aaaaaaaaaaaaaaaaaaaa \t\r\nrom F."};
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 3000; size = size * 5 / 4 + 1) {
        for (const std::string& alphabet : alphabets) {
            std::string bytes;
            while (bytes.size() < size) {
                bytes += random() % 16 == 0 ? "\r\n"s : ""s + alphabet[random() % alphabet.size()];
            }
            EXPECT_EQ(encode(bytes), encodeByByte(bytes)) << bytes;
        }
    }
    // Across the chunks of the output, with the longest output that there can be.
    const std::string high(100'001, '\xE9');
    EXPECT_EQ(encode(high), encodeByByte(high));
}

TEST(QuotedPrintable, DecodesAndMends) {
    const std::string run(40, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a=\r\nb", "ab"},
        {"a= \t\r\nb", "ab"},
        {"a  \r\nb", "a\r\nb"},
        {"a\nb", "a\r\nb"},
        {"a\n\n", "a\r\n\r\n"},
        {"a \t", "a"},
        {"a=", "a"},
        {"=G1", "=G1"},
        {"=4", "=4"},
        {"==41", "=A"},
        {"=e9=E9", "\xE9\xE9"},
        {"=FFFFFFE9", "\xE9"},
        {"=FFFFFFG9",
         "\xFF"
         "FFFFG9"},
        {"=FF", "\xFF"},
        {"a\0b"s, "a"},
        {"\xBD"
         "41=\xB4\xB1",
         "AA"},  // low 7 bits are "=41"
        {"\xBDx", "\xBDx"},
        {"a\xA0\x8D\r\nb", "a\r\nb"},  // and these are blanks
        {run + "=41" + run + "\xE9=\n" + run, run + "A" + run + "\xE9" + run},
    };
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(decode(text), bytes) << text;
    }
}

TEST(QuotedPrintable, DecodesBlocksAsLineByLine) {
    const std::string_view pieces[] = {"a",    "word ", "=41", "=\r\n", "=\n",  " ",         "\r\n",
                                       "\n",   "\r",    "\t",  "=",     "=FF",  "=FFFFFFE9", "\x8D",
                                       "\x8A", "\xBD",  "=\r", "\xA0",  "\x01", "=e",        "F9"};
    const std::string filler(50, 'x');
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        while (text.size() < static_cast<std::size_t>(round)) {
            text += random() % 8 == 0 ? filler.substr(random() % 50)
                                      : pieces[random() % (round % 2 == 0 ? 7 : std::size(pieces))];
        }
        if (round % 5 == 0) {
            text.insert(random() % (text.size() + 1), 1, '\0');
        }
        DataBuffer lines;
        EXPECT_TRUE(scalar::appendDecodedQuotedPrintable(text, lines));
        EXPECT_EQ(decode(text), lines.view()) << text;
        EXPECT_EQ(decode(encode(text)), text);
    }
    EXPECT_EQ(decode(std::string(100'000, '\n')).size(), 200'000U);
}

}  // namespace
}  // namespace borvik
