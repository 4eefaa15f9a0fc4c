#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include "foundation/base64.h"
#include "foundation/error_catalogue.h"
#include "foundation/md5.h"
#include "foundation/rules_from_settings.h"
#include "foundation/system_utilities.h"
#include "foundation/timeout.h"
#include "platform/c_random.h"
#include "platform/code_page.h"
#include "platform/machine.h"
#include "support/fake_clock.h"
#include "support/scoped_env.h"
#include "support/scoped_settings.h"
#include "support/temporary_folder.h"

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
    const struct {
        std::string key, message, code;
    } cases[] = {{std::string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
                 {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
                 {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
                  "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
                 {"tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>",
                  "b913a602c7eda7a495b4e6e7334d3890"}};
    for (const auto& c : cases) {
        std::uint8_t digest[kMd5DigestBytes];
        HmacMd5(c.key, c.message, digest);
        EXPECT_EQ(HexDigest(digest), c.code);
    }
}

TEST(Timeout, RunsOutAtItsTimeAlsoAcrossTheWrapOfTheCounter) {
    const struct {
        std::uint32_t start, duration, now;
        bool expired;
        std::uint32_t remaining;
    } cases[] = {{1000, 500, 1499, false, 1},          {1000, 500, 1500, true, 0},
                 {0xFFFFFFFF, 0, 0xFFFFFFFF, true, 0}, {0xFFFFF000, 5000, 0xFFFFF000, false, 5000},
                 {0xFFFFF000, 5000, 903, false, 1},    {0xFFFFF000, 5000, 904, true, 0},
                 {0xFFFFFF00, 0xF0, 3, true, 0},       {5, 0xFFFFFFFF, 4, false, 0xFFFFFFFF},
                 {5, 0xFFFFFFFE, 2, false, 1}};
    support::FakeClock clock;
    for (const auto& c : cases) {
        clock.ticks = c.start;
        CZncTimeout timeout(c.duration);
        clock.ticks = c.now;
        EXPECT_EQ(timeout.HasExpired(), c.expired) << c.start << "+" << c.duration;
        EXPECT_EQ(timeout.Remaining(), c.remaining) << c.start << "+" << c.duration;
        timeout.Restart();
        EXPECT_EQ(timeout.Remaining(), c.duration);
    }
}

constexpr std::int32_t kHighestNumber = 40000;
constexpr std::string_view kGeneric = "Generic Error";

/// Rows as one text, to compare a whole table by its count and digest.
struct Digest {
    void add(const std::string& row) {
        MD5Update(&context, row.data(), row.size());
        ++rows;
    }
    std::string finish() {
        MD5Final(&context);
        return std::to_string(rows) + " " + HexDigest(context.digest);
    }
    Digest() { MD5Init(&context); }
    Md5Context context;
    int rows = 0;
};

TEST(ErrorCatalogue, HoldsExactlyItsRows) {
    const std::pair<std::int32_t, const char*> cases[] = {
        {0, "Success"},       {-1, "Generic Error"},        {353, "Generic Error"},
        {1, "Generic Error"}, {INT32_MIN, "Generic Error"}, {36002, "Invalid argument"}};
    CZncString text;
    for (const auto& [number, expected] : cases) {
        EXPECT_EQ(&GetDescription(number, text), &text);
        EXPECT_EQ(text, expected) << number;
    }
    Digest all;
    for (std::int32_t number = 0; number <= kHighestNumber; ++number) {
        if (const std::string_view row = ErrorText(number); row != kGeneric) {
            all.add(std::to_string(number) + "=" + std::string(row) + "\n");
        }
    }
    EXPECT_EQ(all.finish(), "163 80c3e3da995f9148be499d7a44884603");
}

TEST(ErrorMapping, TurnsExactlyTheKnownResultsIntoNumbers) {
    const struct {
        std::int32_t result, smtp, pop3, mail;
    } cases[] = {{0, 0, 0, 0},         {250, -1, -1, -1},     {550, 550, -1, -1},
                 {720, -1, 720, -1},   {-1001, -1, -1, -1},   {-2008, 441, -1, -1},
                 {-2010, 592, -1, -1}, {-2013, -1, -1, -1},   {-1014, 37713, 37713, -1},
                 {-2121, -1, 731, -1}, {-2209, -1, -1, 37612}};
    for (const auto& c : cases) {
        EXPECT_EQ(MapSmtpError(c.result), c.smtp) << c.result;
        EXPECT_EQ(MapPop3Error(c.result), c.pop3) << c.result;
        EXPECT_EQ(MapMailError(c.result), c.mail) << c.result;
    }
    Digest all;
    for (std::int32_t result = -3000; result <= 1000; ++result) {
        const std::string row = std::to_string(MapSmtpError(result)) + "," +
                                std::to_string(MapPop3Error(result)) + "," +
                                std::to_string(MapMailError(result));
        if (row != "-1,-1,-1") {
            all.add(std::to_string(result) + "=" + row + "\n");
        }
    }
    EXPECT_EQ(all.finish(), "338 0c5be2cc83ba7f4e7b055aa3921ea8bb");
}

using support::TemporaryFolder;

std::string nameWith(unsigned random) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%08X65E7261D%04X", platform::threadId(), random);
    return digits;
}

TEST(MakeUniqueName, AvoidsNamesThatExist) {
    const support::FakeClock clock;
    const TemporaryFolder folder;
    CZncString name;
    platform::srand(1);
    MakeUniqueName(folder.path().c_str(), "p", ".znq", name);
    EXPECT_EQ(name.GetString(), folder.file("p" + nameWith(41) + ".znq"));
    EXPECT_EQ(platform::rand(), 6334);  // two numbers were drawn

    folder.write(nameWith(41), "");
    folder.write(nameWith(18467), "");
    platform::srand(1);
    MakeUniqueName((folder.path() + "/").c_str(), nullptr, nullptr, name);
    EXPECT_EQ(name.GetString(), folder.file(nameWith(6334)));

    platform::srand(1);
    MakeUniqueName("", "", ".x", name);
    EXPECT_EQ(name.GetString(), "/" + nameWith(41) + ".x");
    platform::srand(1);
    MakeUniqueName("C:\\Queue\\", "", "", name);
    EXPECT_EQ(name.GetString(), "C:\\Queue\\" + nameWith(41));
}

TEST(RegReadString, GivesTheTextThatFitsOrTheDefault) {
    const TemporaryFolder folder;
    const std::string longText(510, 'x');
    const support::ScopedEnv settings(
        "TESSOLT_SETTINGS",
        folder
            .write("settings",
                   "[HKLM\\K]\n\"a\"=\"1234567\"\n\"accent\"=\"\xC3\xA9\"\n\"long\"=\"" + longText +
                       "\"\n\"longer\"=\"" + longText + "x\"\n")
            .c_str());
    const platform::ScopedAnsiCodePage page(1252);
    const struct {
        const char *key, *value;
        std::size_t size;
        const char* text;
    } cases[] = {{"K\\", "a", 8, "1234567"}, {"K", "a", 7, "dflt"}, {"K", "accent", 3, "\xE9"},
                 {"K", "none", 8, "dflt"},   {"L", "a", 8, "dflt"}, {"K", "none", 3, "df"}};
    for (const auto& c : cases) {
        char buffer[16];
        std::fill(std::begin(buffer), std::end(buffer), '#');
        EXPECT_EQ(RegReadString(kRootLocalMachine, c.key, c.value, "dflt", buffer, c.size, true),
                  buffer);
        EXPECT_STREQ(buffer, c.text) << c.value << " in " << c.size;
        EXPECT_EQ(buffer[c.size - 1], '\0');
        EXPECT_EQ(buffer[c.size], '#');
    }
    CZncString text;
    EXPECT_EQ(RegReadString(kRootLocalMachine, "K", "long", "dflt", text, false).GetString(),
              longText);
    EXPECT_EQ(RegReadString(kRootLocalMachine, "K", "longer", "dflt", text, false), "dflt");
}

TEST(RulesFromSettings, AreClassicUnlessTheSettingsSayOtherwise) {
    const std::string current = "\"Rules\"=\"current\"\n";
    const struct {
        std::string lines;
        bool current, secretsNeedTls, verifyServer;
    } cases[] = {{"", false, false, false},
                 {"\"Rules\"=\"classic\"\n", false, false, false},
                 {"\"VerifyServer\"=\"1\"\n", false, false, true},
                 {"\"Rules\"=\" Current \"\n", true, true, true},
                 {current + "\"AllowPlainText\"=\"1\"\n", true, false, true},
                 {current + "\"AllowPlainText\"=\"yes\"\n", true, true, true},
                 {current + "\"VerifyServer\"=\"no\"\n", true, true, false},
                 {"what is this\n", true, true, true}};
    for (const auto& c : cases) {
        const support::ScopedSettings settings(c.lines);
        const MailRules rules = rulesFromSettings();
        EXPECT_EQ(rules.freshSecureFlag && rules.standardReading, c.current) << c.lines;
        EXPECT_EQ(rules.verifyServer, c.verifyServer) << c.lines;
        EXPECT_EQ(rules.extensions || rules.bccInEnvelopeOnly, c.current) << c.lines;
        EXPECT_EQ(rules.secretsNeedTls, c.secretsNeedTls) << c.lines;
    }
}

}  // namespace
}  // namespace tessolt
