#include "mail/dot_stuffing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

#include "mail/smtp_envelope.h"

namespace tessolt {
namespace {

/// The text when it comes in pieces of that size, with their transfer form taken back.
std::string undone(std::string_view text, std::size_t pieceSize, bool atStart = false) {
    DotRemoval dots(atStart);
    std::string out;
    for (; !text.empty(); text.remove_prefix(std::min(pieceSize, text.size()))) {
        std::string piece(text.substr(0, pieceSize));
        piece.resize(dots.Remove(piece.data(), piece.size()));
        out += piece;
    }
    return out;
}

TEST(DotStuffing, DoublesWhatCouldEndTheMessage) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {".", ".."},
        {".\r\n", "..\r\n"},
        {"a\r\n.\r\n.\r\n.b\r\n.", "a\r\n..\r\n..\r\n.b\r\n.."},
        {"a\n.\nb\n.\r\nc\r\n.\n", "a\n..\nb\n..\r\nc\r\n..\n"},
        {"a\n.\r\r\nb\r\n.\r\r\r", "a\n..\r\r\nb\r\n..\r\r\r"},
        {"a\r.\r\nb\n.\rx\n.\r", "a\r..\r\nb\n..\rx\n..\r"},
        {".a\r\n..\r\n. \r\n\r.x\n. \r", ".a\r\n..\r\n. \r\n\r.x\n. \r"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(DoubleLoneDots(text, "\r\n.\r\n"), expected + std::string("\r\n.\r\n"));
        EXPECT_EQ(FindLoneDot(text) != std::string_view::npos, text != std::string(expected));
    }
}

TEST(DotStuffing, OfATextInPieces) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ".\r\n"},
        {".", "..\r\n.\r\n"},
        {"a\r\n.b\r\n.\r\n", "a\r\n..b\r\n..\r\n.\r\n"},
        {"a\n.\nb.c", "a\n..\nb.c\r\n.\r\n"}};
    for (const auto& [text, expected] : cases) {
        for (std::size_t size = 1; size < 9; ++size) {
            std::string wire;
            tessolt::DotStuffing stuffing;
            for (std::string_view rest = text; !rest.empty();) {
                stuffing.Append(rest.substr(0, size), wire);
                rest.remove_prefix(std::min(size, rest.size()));
            }
            stuffing.AppendEnd(wire);
            EXPECT_EQ(wire, expected) << size;
        }
    }
}

TEST(DotStuffing, RemovesTheDotsOfAReceivedBody) {
    for (std::size_t size = 1; size < 12; ++size) {
        EXPECT_EQ(undone("..\r\n...x\r\n.\r\n", size), "..\r\n..x\r\n\r\n");
        EXPECT_EQ(undone("..\r\n..\r\n", size, true), ".\r\n.\r\n");
        EXPECT_EQ(undone("a\n.b\r.c\r\n.d", size), "a\n.b\r.c\r\nd");
    }
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
            const bool begins = before.empty() || before.ends_with("\n") || before.ends_with("\r");
            const bool ends = behind.empty() || behind[0] == '\n' || behind[0] == '\r';
            doubled += dot && begins && ends ? ".." : text.substr(i, 1);
            bare += dot && before.ends_with("\r\n") ? "" : text.substr(i, 1);
        }
        ASSERT_EQ(DoubleLoneDots(text, ""), doubled) << text;
        ASSERT_EQ(undone(text, 1 + random() % 24), bare) << text;
    }
}

}  // namespace
}  // namespace tessolt
