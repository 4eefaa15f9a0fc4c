#include "mail/dot_stuffing.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

namespace tessolt {
namespace {

/// The slow and obvious form of `DoubleLoneDots`.
std::string slowlyDoubled(const std::string& text) {
    std::string result;
    std::string line;
    const auto close = [&](const std::string& end) {
        result += (line == "." ? ".." : line) + end;
        line.clear();
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 2, "\r\n") == 0) {
            close("\r\n"), ++i;
        } else if (text[i] == '\n') {
            close("\n");
        } else {
            line += text[i];
        }
    }
    close("");
    return result;
}

/// The slow and obvious form of `RemoveDotStuffing`.
std::string slowlyUndone(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool atLineStart = i == 0 || (i >= 2 && text.compare(i - 2, 2, "\r\n") == 0);
        if (!atLineStart || text[i] != '.') {
            result += text[i];
        }
    }
    return result;
}

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
        {"no dots", "no dots"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(DoubleLoneDots(text, ""), expected);
        EXPECT_EQ(DoubleLoneDots(text, "\r\n.\r\n"), expected + std::string("\r\n.\r\n"));
        EXPECT_EQ(FindLoneDot(text) != std::string_view::npos, text != std::string(expected));
    }
}

TEST(DotStuffing, RemovesTheDotsOfAReceivedBody) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"a\r\n.\r\n", "a\r\n\r\n"},
        {"..\r\n...x\r\n.\r\n", ".\r\n..x\r\n\r\n"},
        {"a\n.b\r.c\r\n.d", "a\n.b\r.c\r\nd"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(undone(text), expected);
    }
}

TEST(DotStuffing, FastAndSlowFormsAgree) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 24, '\0');
        for (char& c : text) {
            c = "..\r\n\nx"[random() % 6];
        }
        ASSERT_EQ(DoubleLoneDots(text, ""), slowlyDoubled(text));
        ASSERT_EQ(undone(text), slowlyUndone(text));
    }
}

}  // namespace
}  // namespace tessolt
