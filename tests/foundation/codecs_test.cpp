#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "foundation/base64.h"
#include "foundation/md5.h"
#include "foundation/timeout.h"
#include "support/fake_clock.h"

namespace tessolt {
namespace {

TEST(Base64, EncodesWithPadding) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {"a", "YQ=="}, {"ab", "YWI="}, {"abc", "YWJj"}, {"\xFB\xFF\xBE", "+/++"}};
    const CZncBase64 codec;
    for (const auto& [plain, encoded] : cases) {
        CZncString text(plain);
        EXPECT_EQ(codec.EncodeString(text), 0);
        EXPECT_EQ(text, encoded);
        EXPECT_EQ(codec.DecodeString(text), 0);
        EXPECT_EQ(text, plain);
    }
    CZncString text;
    EXPECT_EQ(codec.Encode("a\0b", 3, text), 0);
    EXPECT_EQ(text, "YQBi");
    EXPECT_EQ(codec.DecodeString(text), 0);
    EXPECT_EQ(text, "a");
}

TEST(Base64, DecodesWhateverStandsThere) {
    using namespace std::string_literals;
    const std::pair<const char*, std::string> cases[] = {
        {"YQ==\r\n ", "a"}, {" Y\tW\vJ\aj", "abc"}, {"YQ==YQ==", "aa"},
        {"YW", "a"},        {"YWI", "ab"},          {"\xD9\xD7\xCA\xEA", "abc"},
        {"Y", "`"},         {"YQ=", "a\0"s},        {"==", "\0"s},
        {"====", "\xFF"},   {"YW=j", "a`"},         {"-WJj", "\371bc"}};
    const CZncBase64 codec;
    for (const auto& [encoded, plain] : cases) {
        std::uint8_t bytes[16];
        std::uint32_t length = sizeof bytes;
        EXPECT_EQ(codec.Decode(bytes, length, CZncString(encoded)), 0);
        EXPECT_EQ(std::string(bytes, bytes + length), plain) << encoded;
    }
    std::uint8_t two[2] = {};
    std::uint32_t length = 1;
    EXPECT_EQ(codec.Decode(two, length, CZncString("YWJj")), 0);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(two[1], 0);
    EXPECT_EQ(codec.Decode(nullptr, length, CZncString("YWI=")), 0);
    EXPECT_EQ(length, 2u);
}

std::string md5Of(const std::string& text, std::size_t step) {
    Md5Context context;
    MD5Init(&context);
    for (std::size_t i = 0; i < text.size(); i += step) {
        MD5Update(&context, text.data() + i, std::min(step, text.size() - i));
    }
    MD5Final(&context);
    EXPECT_EQ(context.count[0] | context.state[0] | context.buffer[0], 0u);
    return HexDigest(context.digest);
}

TEST(Md5, GivesThePublishedDigestsInAnyPieces) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {std::string(56, 'x'), md5Of(std::string(56, 'x'), 56)},
        {std::string(1'000'000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"}};
    for (const auto& [text, digest] : cases) {
        for (const std::size_t step : {1, 7, 63, 64, 65, 4096}) {
            EXPECT_EQ(md5Of(text, step), digest) << text.size() << " by " << step;
        }
    }
}

TEST(Md5, AuthenticatesWithKeysOfAnyLength) {
    struct Case {
        std::string key, message, code;
    };
    const Case cases[] = {
        {std::string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
         "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {"tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>",
         "b913a602c7eda7a495b4e6e7334d3890"}};
    for (const Case& c : cases) {
        std::uint8_t digest[kMd5DigestBytes];
        HmacMd5(c.key, c.message, digest);
        EXPECT_EQ(HexDigest(digest), c.code);
    }
}

TEST(Timeout, RunsOutAtItsTimeAlsoAcrossTheWrapOfTheCounter) {
    struct Case {
        std::uint32_t start, duration, now;
        bool expired;
        std::uint32_t remaining;
    };
    const Case cases[] = {
        {1000, 500, 1499, false, 1},          {1000, 500, 1500, true, 0},
        {0xFFFFFFFF, 0, 0xFFFFFFFF, true, 0}, {0xFFFFF000, 5000, 0xFFFFF000, false, 5000},
        {0xFFFFF000, 5000, 903, false, 1},    {0xFFFFF000, 5000, 904, true, 0},
        {0xFFFFFF00, 0xF0, 3, true, 0},       {5, 0xFFFFFFFF, 4, false, 0xFFFFFFFF},
        {5, 0xFFFFFFFE, 2, false, 1}};
    support::FakeClock clock;
    for (const Case& c : cases) {
        clock.ticks = c.start;
        CZncTimeout timeout(c.duration);
        clock.ticks = c.now;
        EXPECT_EQ(timeout.HasExpired(), c.expired) << c.start << "+" << c.duration;
        EXPECT_EQ(timeout.Remaining(), c.remaining) << c.start << "+" << c.duration;
        timeout.Restart();
        EXPECT_EQ(timeout.Remaining(), c.duration);
    }
}

}  // namespace
}  // namespace tessolt
