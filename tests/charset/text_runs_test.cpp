#include "charset/text_runs.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <string>

#include "base/data_buffer.h"
#include "charset/charset_oracle.h"
#include "charset/code_pages.h"
#include "charset/japanese.h"
#include "charset/text_kernels.h"
#include "charset/utf7.h"

namespace borvik {
namespace {

using testing::converted;
using testing::Outcome;

using Kernel = std::function<bool(const TextRuns&, TextCursor&)>;

/// Runs a loop over the text with `room` bytes of output at a time, and sees that it stays within.
Outcome run(const Kernel& kernel, const TextRuns& runs, std::string_view text, std::size_t room) {
    constexpr char kGuard = 0x55;
    Outcome outcome;
    std::string buffer;
    const auto* in = reinterpret_cast<const std::uint8_t*>(text.data());
    TextCursor c{in, in + text.size(), nullptr, nullptr};
    while (c.in < c.inEnd) {
        buffer.assign(room + TextCursor::kStepRoom, '\0');
        buffer.append(64, kGuard);
        auto* begin = reinterpret_cast<std::uint8_t*>(buffer.data());
        c.out = begin;
        c.outLimit = begin + room;
        outcome.complete = kernel(runs, c) && outcome.complete;
        EXPECT_TRUE(buffer.ends_with(std::string(64, kGuard)));
        outcome.bytes.append(buffer, 0, static_cast<std::size_t>(c.out - begin));
    }
    return outcome;
}

Kernel decode(std::uint32_t page) {
    return [page](const TextRuns& runs, TextCursor& c) {
        const DecodeTable& table = *decodeTable(page);
        return table.isMultiByte() ? kernels::multiByteToUnicode(runs, table, c)
                                   : kernels::singleByteToUnicode(runs, table, c);
    };
}

Kernel encode(std::uint32_t page) {
    return [page](const TextRuns& runs, TextCursor& c) {
        return kernels::unicodeToMultiByte(runs, *encodeTable(page), c);
    };
}

/// Texts that change their kind at every place of a block, and texts that break off or go wrong
/// there.
std::vector<std::string> awkwardTexts() {
    std::vector<std::string> texts;
    const std::string parts[] = {"\xE3\x81\x82", "\xC3\xA9",     "\xF0\x9F\x98\x80",
                                 "\xED\xA0\x80", "\xE0\x9F\xBF", "\xC1\x81",
                                 "\xFF",         "\xE3\x81",     std::string(1, '\0'),
                                 "\x81",         "\x81\x40",     "\xFD"};
    for (const std::string& part : parts) {
        for (std::size_t place = 0; place < 70; place += 7) {
            std::string text(place, 'a');
            text += part;
            while (text.size() < 150) {
                text += text.size() % 4 == 0 ? part
                                             : "\xC3\xA9"
                                               "b\xE3\x81\x82";
            }
            texts.push_back(std::move(text));
        }
    }
    for (unsigned seed = 10; seed < 16; ++seed) {
        texts.push_back(testing::mixedUtf8(seed, 700));
    }
    return texts;
}

void expectEqualLanes(const std::string& name, const Kernel& kernel, const std::string& text,
                      std::size_t unitSize) {
    const TextRuns* lanes = sse42Runs();
    if (lanes == nullptr) {
        GTEST_SKIP() << "there are no lanes for this processor";
    }
    for (std::size_t cut = 0; cut < std::min<std::size_t>(text.size(), 18); cut += unitSize) {
        const auto rest = std::string_view(text).substr(cut);
        const Outcome plain = run(kernel, portableRuns(), rest, 4096);
        EXPECT_TRUE(run(kernel, *lanes, rest, 4096) == plain) << name << testing::hex(rest);
        EXPECT_TRUE(run(kernel, *lanes, rest, cut) == plain) << name << testing::hex(rest);
        EXPECT_TRUE(run(kernel, portableRuns(), rest, cut) == plain) << name;
    }
}

TEST(TextRuns, GiveWhatThePlainLoopsGive) {
    for (const std::string& text : awkwardTexts()) {
        const std::string units = converted(kUtf8, kUtf16Le, text).bytes;
        expectEqualLanes("from UTF-8", kernels::utf8ToUnicode, text, 1);
        expectEqualLanes("to UTF-8", kernels::unicodeToUtf8, units, 2);
        for (const std::uint32_t page : {1252U, 500U, 932U, 936U}) {
            expectEqualLanes("from a page", decode(page), text, 1);
            expectEqualLanes("to a page", encode(page), units, 2);
            const std::string coded = converted(kUtf16Le, page, units).bytes;
            expectEqualLanes("from a page's text", decode(page), coded, 1);
        }
    }
}

TEST(TextRuns, GiveTheSameUtf7) {
    const TextRuns* lanes = sse42Runs();
    if (lanes == nullptr) {
        GTEST_SKIP() << "there are no lanes for this processor";
    }
    std::vector<std::string> texts = awkwardTexts();
    for (const char* piece : {"+AOk-", "+-", "+ZeVnLIqe", "+AOkA6g-", "+AOkB-", "+A-", "+AOk", "+",
                              "-", "+ZeVnLIqeZeVnLIqe-", "a+b/c+d,"}) {
        for (std::size_t place = 0; place < 20; ++place) {
            std::string text(place, 'x');
            for (int i = 0; i < 12; ++i) {
                text += piece;
                text.append(static_cast<std::size_t>(i) * place % 7, i % 3 == 0 ? '+' : 'z');
            }
            texts.push_back(std::move(text));
        }
    }
    for (const std::string& text : texts) {
        for (std::size_t cut = 0; cut < std::min<std::size_t>(text.size(), 20); ++cut) {
            const auto rest = std::string_view(text).substr(cut);
            DataBuffer plain;
            DataBuffer fast;
            EXPECT_EQ(utf7ToUtf16(rest, plain, portableRuns()), utf7ToUtf16(rest, fast, *lanes));
            EXPECT_TRUE(plain.view() == fast.view()) << rest;
            DataBuffer plainText;
            DataBuffer fastText;
            utf16ToUtf7(plain.view(), plainText, portableRuns());
            utf16ToUtf7(plain.view(), fastText, *lanes);
            EXPECT_TRUE(plainText.view() == fastText.view()) << testing::hex(plain.view());
        }
    }
}

TEST(TextRuns, GiveTheSameShiftJis) {
    const std::string_view pieces[] = {
        "\x1B$B",   "\x1B(B", "\x1B$B",       "\x1B(I", "\x1B",
        "\n",       "0!",     "F|K\\F|K\\F|", "a",      "14:00 a longer run",
        "\x79\x21", "\xB1",   "\x81",         "\x1B$",  std::string_view("\0", 1)};
    std::mt19937 random(5);
    for (int i = 0; i < 4000; ++i) {
        std::string text;
        for (int k = 0; k < 30; ++k) {
            // The first ones are the usual ones.
            text += pieces[random() % (random() % 4 == 0 ? std::size(pieces) : 8)];
        }
        DataBuffer plain;
        DataBuffer fast;
        Japanese().iso2022JpToShiftJis(text.data(), text.size(), plain, portableRuns());
        Japanese().iso2022JpToShiftJis(text.data(), text.size(), fast);
        EXPECT_TRUE(plain.view() == fast.view()) << testing::hex(text);
    }
}

TEST(TextRuns, TurnJisIntoShiftJisAsTheTablesDo) {
    const TextRuns* lanes = sse42Runs();
    if (lanes == nullptr) {
        GTEST_SKIP() << "there are no lanes for this processor";
    }
    for (unsigned row = 0x21; row <= 0x7E; ++row) {
        for (unsigned cell = 0x21; cell <= 0x7E; ++cell) {
            const std::string pair = {static_cast<char>(row), static_cast<char>(cell)};
            const std::string jis = pair + pair + pair + pair + pair + pair + pair + pair;
            std::array<std::uint8_t, TextCursor::kStepRoom + 16> out{};
            const auto* in = reinterpret_cast<const std::uint8_t*>(jis.data());
            TextCursor c{in, in + jis.size(), out.data(), out.data()};
            lanes->jisToShiftJis(c);
            EXPECT_EQ(c.in - in, row >= 0x79 && row <= 0x7C ? 0 : 16);
            const std::string viaText = converted(kIso2022Jp, kShiftJis, "\x1B$B" + jis).bytes;
            const std::string made(reinterpret_cast<const char*>(out.data()),
                                   static_cast<std::size_t>(c.out - out.data()));
            EXPECT_TRUE(viaText.starts_with(made));
            const unsigned lead = (row + 1) / 2 + (row >= 0x5F ? 0xB0 : 0x70);
            EXPECT_TRUE(made.empty() || static_cast<unsigned char>(made[0]) == lead);
        }
    }
}

}  // namespace
}  // namespace borvik
