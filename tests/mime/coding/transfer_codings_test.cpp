#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "base/data_buffer.h"
#include "mime/coding/base64.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/quoted_printable.h"
#include "mime/coding/quoted_printable_decoding.h"
#include "support/vector_forms.h"

namespace borvik {
namespace {

using namespace std::string_literals;

class QuotedPrintableTest : public testing::VectorForms {};
TESSOLT_FOR_EACH_VECTOR_FORM(QuotedPrintableTest);

std::string encode(std::string_view bytes) {
    DataBuffer out;
    EXPECT_TRUE(appendQuotedPrintable(bytes, out));
    return std::string(out.view());
}

std::string encodePlainly(std::string_view bytes) {
    DataBuffer out;
    EXPECT_TRUE(scalar::appendQuotedPrintable(bytes, out));
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

TEST_P(QuotedPrintableTest, EncodesWhatTheWireMayChange) {
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

TEST_P(QuotedPrintableTest, EncodesInRunsAsByteByByte) {
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

// At every place of a line, of a block and of what the vector code takes at a time.
TEST_P(QuotedPrintableTest, EncodesLineEndsAtEveryPlace) {
    const std::string_view ends[] = {"\r\n", " \r\n",    "\t\r\n.",           "\r",   "\n",
                                     " ",    "\r\n\r\n", "\r\nFrom \r\nFrom", "\r\n."};
    for (const std::string_view filler : {"a", "\xE9", "b\xE9."}) {
        for (const std::string_view end : ends) {
            for (const std::size_t from : {0, 1920}) {
                for (std::size_t place = from; place < from + 200; ++place) {
                    std::string bytes;
                    while (bytes.size() < place) {
                        bytes += filler;
                    }
                    bytes.resize(place);
                    bytes += end;
                    EXPECT_EQ(encode(bytes), encodePlainly(bytes)) << bytes;
                    bytes.append(place % 90, 'c').append(end).append(filler);
                    EXPECT_EQ(encode(bytes), encodePlainly(bytes)) << bytes;
                }
            }
        }
    }
}

TEST_P(QuotedPrintableTest, DecodesAndMends) {
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

TEST_P(QuotedPrintableTest, DecodesBlocksAsLineByLine) {
    const std::string_view pieces[] = {"a",    "word ", "=41", "=\r\n", "=\n",  " ",         "\r\n",
                                       "\n",   "\r",    "\t",  "=",     "=FF",  "=FFFFFFE9", "\x8D",
                                       "\x8A", "\xBD",  "=\r", "\xA0",  "\x01", "=e",        "F9"};
    const std::string_view coded[] = {"=41", "=e9", "=C3=A9", "=00", "=\r\n", "a", "=D0=B6 "};
    const std::string filler(50, 'x');
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        while (text.size() < static_cast<std::size_t>(round)) {
            const bool dense = round % 3 == 0 && random() % 16 != 0;
            text += dense ? coded[random() % std::size(coded)]
                    : random() % 8 == 0
                        ? filler.substr(random() % 50)
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

using Kernel = char* (*)(std::string_view, char*);

std::string run(Kernel kernel, std::string_view input, std::size_t room) {
    std::string out(room, '#');
    out.resize(static_cast<std::size_t>(kernel(input, out.data()) - out.data()));
    return out;
}

std::string toBase64(std::string_view bytes) {
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::encodeBase64Mime(bytes, out));
    return std::string(out.view());
}

std::string fromBase64(std::string_view text) {
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::decodeBase64(text, out));
    return std::string(out.view());
}

TEST(Base64, BodyLinesEndInCrlfInAnyCase) {
    const std::string line(76, 'Q');
    const std::string bytes57 = fromBase64(line);
    ASSERT_EQ(bytes57.size(), 57U);
    EXPECT_EQ(toBase64("") + toBase64("A") + toBase64("AB"), "QQ==\r\nQUI=\r\n");
    EXPECT_EQ(toBase64(bytes57), line + "\r\n\r\n");
    EXPECT_EQ(toBase64(bytes57 + "ABC"), line + "\r\nQUJD\r\n");
}

TEST(Base64, DecodingMendsWhatIsNotOfTheAlphabet) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"QUJD", "ABC"},
        {"QUJD====", "ABC"},
        {"QU JD", "ABC"},
        {"Q\tU\r\nJ\nD", "ABC"},
        {"\x80Q~U{J}D\xFF", "ABC"},  // outside "+" to "z": skipped
        {"QUJDQUI=QUJD", "ABCAB"},   // "=" ends the text
        {"QUJD\0QUJD"s, "ABC"},      // and so does a zero byte
        {"Q", ""},
        {"QU", "A"},
        {"QUJ", "AB"},
        {"-AAA", "\xFC\x00\x00"s},  // 127 << 2, cut to 8 bits
        {"A-AA", "\x07\xF0\x00"s},  // 127 >> 4 and 127 << 4
        {"AA-A", "\x00\x1F\xC0"s},  // 127 >> 2 and 127 << 6
        {"AAA-", "\x00\x00\x7F"s},
    };
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(fromBase64(text), bytes) << text;
    }
}

class Base64Test : public testing::VectorForms {};
TESSOLT_FOR_EACH_VECTOR_FORM(Base64Test);

/// Every form against the plain one, over sizes around the steps and lines of all.
TEST_P(Base64Test, GivesWhatThePlainFormGives) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 400; ++size) {
        std::string bytes(size, '\0');
        for (char& c : bytes) {
            c = static_cast<char>(random());
        }
        const std::size_t room = base64LinesSize(size) + 64;
        const std::string lines = run(scalar::encodeBase64Lines, bytes, room);
        EXPECT_EQ(lines.size(), base64LinesSize(size));
        EXPECT_EQ(run(encodeBase64Lines, bytes, room), lines) << size;
        EXPECT_EQ(run(encodeBase64Run, bytes, room), run(scalar::encodeBase64Run, bytes, room))
            << size;
        EXPECT_EQ(run(decodeBase64Run, lines, base64DecodeRoom(lines.size())), bytes);
        std::string feeds = lines;
        std::erase(feeds, '\r');
        EXPECT_EQ(run(decodeBase64Run, feeds, base64DecodeRoom(feeds.size())), bytes);
        // Bytes of every kind at every place of a line end, a group and a vector.
        std::string broken = lines;
        for (std::size_t at = random() % 7; at < broken.size(); at += 1 + random() % 90) {
            broken[at] = static_cast<char>(random());
        }
        EXPECT_EQ(run(decodeBase64Run, broken, base64DecodeRoom(broken.size())),
                  run(scalar::decodeBase64Run, broken, base64DecodeRoom(broken.size())))
            << broken;
    }
}

}  // namespace
}  // namespace borvik
