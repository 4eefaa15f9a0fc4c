#include "mime/base64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "base/data_buffer.h"
#include "mime/base64_avx2.h"
#include "mime/content_coding.h"

namespace borvik {
namespace {

using namespace std::string_literals;

using Kernel = char* (*)(std::string_view, char*);

std::string run(Kernel kernel, std::string_view input, std::size_t room) {
    std::string out(room, '#');
    out.resize(static_cast<std::size_t>(kernel(input, out.data()) - out.data()));
    return out;
}

std::string encodeMime(std::string_view bytes) {
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::encodeBase64Mime(bytes, out));
    return std::string(out.view());
}

std::string decode(std::string_view text) {
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::decodeBase64(text, out));
    return std::string(out.view());
}

TEST(Base64, BodyLinesEndInCrlfInAnyCase) {
    const std::string line(76, 'Q');
    const std::string bytes57 = decode(line);
    ASSERT_EQ(bytes57.size(), 57U);
    EXPECT_EQ(encodeMime(""), "");
    EXPECT_EQ(encodeMime("A"), "QQ==\r\n");
    EXPECT_EQ(encodeMime("AB"), "QUI=\r\n");
    EXPECT_EQ(encodeMime("ABC"), "QUJD\r\n");
    EXPECT_EQ(encodeMime(bytes57), line + "\r\n\r\n");
    EXPECT_EQ(encodeMime(bytes57 + "A"), line + "\r\nQQ==\r\n");
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
        EXPECT_EQ(decode(text), bytes) << text;
    }
}

/// Every wide form against the plain one, over sizes around the steps and lines of both.
TEST(Base64, WideFormsEqualThePlainOnes) {
    if (!avx2::available()) {
        GTEST_SKIP() << "this processor runs the plain form only";
    }
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 400; ++size) {
        std::string bytes(size, '\0');
        for (char& c : bytes) {
            c = static_cast<char>(random());
        }
        const std::size_t room = base64LinesSize(size) + 64;
        const std::string lines = run(scalar::encodeBase64Lines, bytes, room);
        EXPECT_EQ(lines.size(), base64LinesSize(size));
        EXPECT_EQ(run(avx2::encodeBase64Lines, bytes, room), lines) << size;
        EXPECT_EQ(run(avx2::encodeBase64Run, bytes, room),
                  run(scalar::encodeBase64Run, bytes, room))
            << size;
        EXPECT_EQ(run(avx2::decodeBase64Run, lines, base64DecodeRoom(lines.size())), bytes);
        std::string feeds = lines;
        std::erase(feeds, '\r');
        EXPECT_EQ(run(avx2::decodeBase64Run, feeds, base64DecodeRoom(feeds.size())), bytes);
        // Bytes of every kind at every place of a line end, a group and a vector.
        std::string broken = lines;
        for (std::size_t at = random() % 7; at < broken.size(); at += 1 + random() % 90) {
            broken[at] = static_cast<char>(random());
        }
        EXPECT_EQ(run(avx2::decodeBase64Run, broken, base64DecodeRoom(broken.size())),
                  run(scalar::decodeBase64Run, broken, base64DecodeRoom(broken.size())))
            << broken;
    }
}

}  // namespace
}  // namespace borvik
