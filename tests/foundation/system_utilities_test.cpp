#include "foundation/system_utilities.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/c_random.h"
#include "platform/code_page.h"
#include "platform/machine.h"
#include "support/fake_clock.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

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
    const std::string longText(511, 'x');
    const support::ScopedEnv settings(
        "TESSOLT_SETTINGS",
        folder
            .write("settings",
                   "[HKLM\\K]\n\"a\"=\"1234567\"\n\"accent\"=\"\xC3\xA9\"\n\"long\"=\"" + longText +
                       "\"\n\"longer\"=\"" + longText + "x\"\n")
            .c_str());
    const platform::ScopedAnsiCodePage page(1252);
    struct Case {
        const char *key, *value;
        std::size_t size;
        const char* text;
    };
    const Case cases[] = {{"K\\", "a", 8, "1234567"}, {"K", "a", 7, "dflt"},
                          {"K", "accent", 3, "\xE9"}, {"K", "none", 8, "dflt"},
                          {"L", "a", 8, "dflt"},      {"K", "none", 3, "df"}};
    for (const Case& c : cases) {
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

}  // namespace
}  // namespace tessolt
