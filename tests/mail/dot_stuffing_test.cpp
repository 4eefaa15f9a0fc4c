#include "mail/dot_stuffing.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>
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
        {".a\r\n..\r\n. \r\n\r.\r\n.\rx", ".a\r\n..\r\n. \r\n\r.\r\n.\rx"},
    };
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
    // A multi-line expression would take other characters for line ends too.
    const std::regex lone("(^|\n)\\.(?=\r?\n|$)");
    const std::regex stuffed("(^|\r\n)\\.");
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 24, '\0');
        for (char& c : text) {
            c = "..\r\n\nx"[random() % 6];
        }
        const auto slowly = [&](const std::regex& find, const char* with) {
            std::string result;
            std::string rest = text;
            bool first = true;
            for (std::smatch hit; std::regex_search(rest, hit, find,
                                                    first ? std::regex_constants::match_default
                                                          : std::regex_constants::match_not_bol);) {
                result += hit.prefix().str() + hit[1].str() + with;
                rest = hit.suffix();
                first = false;
            }
            return result + rest;
        };
        ASSERT_EQ(DoubleLoneDots(text, ""), slowly(lone, "..")) << text;
        ASSERT_EQ(undone(text), slowly(stuffed, "")) << text;
    }
}

}  // namespace
}  // namespace tessolt
