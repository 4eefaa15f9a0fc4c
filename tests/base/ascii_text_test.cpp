#include "base/ascii_text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace borvik {
namespace {

std::string lowered(std::string text) {
    for (char& c : text) {
        c = asciiLower(c);
    }
    return text;
}

TEST(AsciiText, FindsAsThePlainSearchDoes) {
    std::mt19937 random(1);
    const std::string alphabet = "aAbB-@`\xE1";  // "@" and "`" differ in the bit of the letter case
    for (int round = 0; round < 20'000; ++round) {
        std::string text(random() % 70, ' ');
        for (char& c : text) {
            c = alphabet[random() % alphabet.size()];
        }
        std::string wanted = text.substr(random() % (text.size() + 1), random() % 40);
        if (random() % 4 == 0) {
            wanted += alphabet[random() % alphabet.size()];
        }
        const std::size_t from = random() % (text.size() + 2);
        EXPECT_EQ(borvik::find(text, wanted, from), text.find(wanted, from))
            << text << ' ' << wanted;
        EXPECT_EQ(findNoCase(text, wanted, from), lowered(text).find(lowered(wanted), from))
            << text << ' ' << wanted;
    }
}

TEST(AsciiText, TrimsAndTests) {
    const char* const cases[][2] = {
        {"", ""}, {" \t\r\n", ""}, {"a", "a"}, {" a b\n", "a b"}, {"\va\f", "\va\f"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(trimmed(text), expected);
    }
    for (std::size_t at = 0; at < 100; ++at) {
        std::string text(100, '\x7F');
        EXPECT_TRUE(isAscii(text));
        text[at] = '\x80';
        EXPECT_FALSE(isAscii(text)) << at;
    }
}

}  // namespace
}  // namespace borvik
