#include "mail/dot_stuffing.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

namespace tessolt {
namespace {

std::string undone(std::string text) {
    text.resize(RemoveDotStuffing(text.data(), text.size()));
    return text;
}

TEST(DotStuffing, DoublesWhatCouldEndTheMessage) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {".", ".."},
        {".\r\n", "..\r\n"},
        {"a\r\n.\r\n.\r\n.b\r\n.", "a\r\n..\r\n..\r\n.b\r\n.."},
        {"a\n.\nb\n.\r\nc\r\n.\n", "a\n..\nb\n..\r\nc\r\n..\n"},
        {".a\r\n..\r\n. \r\n\r.\r\n.\rx", ".a\r\n..\r\n. \r\n\r.\r\n.\rx"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(DoubleLoneDots(text, "\r\n.\r\n"), expected + std::string("\r\n.\r\n"));
        EXPECT_EQ(FindLoneDot(text) != std::string_view::npos, text != std::string(expected));
    }
}

TEST(DotStuffing, RemovesTheDotsOfAReceivedBody) {
    EXPECT_EQ(undone("..\r\n...x\r\n.\r\n"), ".\r\n..x\r\n\r\n");
    EXPECT_EQ(undone("a\n.b\r.c\r\n.d"), "a\n.b\r.c\r\nd");
}

TEST(DotStuffing, AgreesWithTheSlowForm) {
    std::mt19937 random(7);
    for (int round = 0; round < 10000; ++round) {
        std::string text(random() % 24, '\0');
        for (char& c : text) {
            c = "..\r\n\nx"[random() % 6];
        }
        std::string doubled;
        std::string bare;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const std::string before = text.substr(0, i);
            const std::string behind = text.substr(i + 1);
            const bool dot = text[i] == '.';
            const bool begins = before.empty() || before.ends_with("\n");
            const bool ends = behind.empty() || behind[0] == '\n' || behind.starts_with("\r\n");
            doubled += dot && begins && ends ? ".." : text.substr(i, 1);
            bare += dot && (before.empty() || before.ends_with("\r\n")) ? "" : text.substr(i, 1);
        }
        ASSERT_EQ(DoubleLoneDots(text, ""), doubled) << text;
        ASSERT_EQ(undone(text), bare) << text;
    }
}

}  // namespace
}  // namespace tessolt
