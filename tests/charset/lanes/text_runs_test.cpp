#include "charset/lanes/text_runs.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <string>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/charset_oracle.h"
#include "charset/iso2022_jp_reader.h"
#include "charset/japanese.h"
#include "charset/tables/code_pages.h"
#include "charset/text_kernels.h"
#include "charset/utf7.h"
#include "charset/utf_pairs.h"
#include "support/vector_forms.h"

namespace borvik {
namespace {

class TextRunsTest : public testing::VectorForms {};
TESSOLT_FOR_EACH_VECTOR_FORM(TextRunsTest);

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

Kernel decodeToUtf8(std::uint32_t page) {
    return [page](const TextRuns& runs, TextCursor& c) {
        return kernels::singleByteToUtf8(runs, *decodeTable(page), c);
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
                text += text.size() % 4 == 0 ? part : "\xC3\xA9x\xE3\x81\x82";
            }
            texts.push_back(std::move(text));
        }
    }
    for (unsigned seed = 10; seed < 16; ++seed) {
        texts.push_back(mixedUtf8(seed, 700));
    }
    return texts;
}

void expectEqualLanes(const std::string& name, const Kernel& kernel, const std::string& text,
                      std::size_t unitSize) {
    const TextRuns& lanes = nativeRuns();
    for (std::size_t cut = 0; cut < std::min<std::size_t>(text.size(), 18); cut += unitSize) {
        const auto rest = std::string_view(text).substr(cut);
        const Outcome plain = run(kernel, portableRuns(), rest, 4096);
        EXPECT_TRUE(run(kernel, lanes, rest, 4096) == plain) << name << hex(rest);
        EXPECT_TRUE(run(kernel, lanes, rest, cut) == plain) << name << hex(rest);
        EXPECT_TRUE(run(kernel, portableRuns(), rest, cut) == plain) << name;
    }
}

TEST_P(TextRunsTest, GiveWhatThePlainLoopsGive) {
    for (const std::string& text : awkwardTexts()) {
        const std::string units = converted(kUtf8, kUtf16Le, text).bytes;
        expectEqualLanes("from UTF-8", kernels::utf8ToUnicode, text, 1);
        expectEqualLanes("to UTF-8", kernels::unicodeToUtf8, units, 2);
        for (const std::uint32_t page : {1252U, 1251U, 500U, 932U}) {
            expectEqualLanes("from a page", decode(page), text, 1);
            expectEqualLanes("to a page", encode(page), units, 2);
            const std::string coded = converted(kUtf16Le, page, units).bytes;
            expectEqualLanes("from a page's text", decode(page), coded, 1);
        }
    }
}

TEST_P(TextRunsTest, PairSurrogatesAsCharacterByCharacter) {
    std::vector<std::string> texts = awkwardTexts();
    std::mt19937 random(3);
    // Sequences at the edges of what is well-formed, whole and broken.
    const std::string_view edges[] = {"\xF0\x9F\x98\x80",
                                      "\xF0\x90\x80\x80",
                                      "\xF4\x8F\xBF\xBF",
                                      "\xF0\x9F\x8E\x89",
                                      "a",
                                      "\xE2\x9D\xA4",
                                      "\xF0\x8F\xBF\xBF",
                                      "\xF4\x90\x80\x80",
                                      "\xF5\x80\x80\x80",
                                      "\xED\x9F\xBF",
                                      "\xED\xA0\x80",
                                      "\xF0\x9F\x98",
                                      "\x80"};
    for (int i = 0; i < 600; ++i) {
        std::string& text = texts.emplace_back();
        while (text.size() < 200) {
            // The first ones are well-formed, and usual.
            text += edges[random() % (random() % 64 == 0 ? std::size(edges) : 6)];
        }
    }
    for (const std::string& text : texts) {
        std::u16string units;
        for (std::string_view rest = text; !rest.empty();) {
            std::array<char16_t, 2> one;
            // What a lane makes has no room.
            units.append(one.data(), takeUtf8(rest, one.data(), one.size()));
        }
        EXPECT_EQ(utf8ToWidePaired(text), units) << hex(text);
        units.insert(units.size() / 2, 1, static_cast<char16_t>(random()));
        std::string bytes;
        for (std::u16string_view rest = units; !rest.empty();) {
            std::array<char, 4> one;
            bytes.append(one.data(), takeUtf16(rest, one.data(), one.size()));
        }
        EXPECT_EQ(wideToUtf8Paired(units), bytes) << hex(text);
        EXPECT_EQ(utf8Length(units), bytes.size()) << hex(text);
    }
}

// Longer than what a vector counts before it is full.
TEST_P(TextRunsTest, CountLongTexts) {
    std::u16string units(1'200'000, u'a');
    EXPECT_EQ(utf8Length(units), units.size());
    units.replace(units.size() / 2, 4, u"\xE9\x3042\xD83D\xDE00");
    EXPECT_EQ(utf8Length(units), units.size() + 1 + 2 + 2);
}

// Text of a page's own letters, with the others here and there.
TEST_P(TextRunsTest, GiveTheSameForTextOfEveryPage) {
    for (const std::uint32_t page : tablePages(false)) {
        std::mt19937 random(page);
        std::string text;
        for (int i = 0; i < 400; ++i) {
            const unsigned any = random();
            text += static_cast<char>(any % 30 == 0 ? any >> 8 : 0xC0 | (any >> 8 & 0x2F));
        }
        expectEqualLanes("from a page", decode(page), text, 1);
        expectEqualLanes("to a page", encode(page), converted(page, kUtf16Le, text).bytes, 2);
    }
}

TEST_P(TextRunsTest, WriteUtf8AsByWayOfUtf16) {
    constexpr std::size_t kLeastRoom = 1600;
    const std::vector<std::string> awkward = awkwardTexts();
    for (const std::uint32_t page : tablePages(false)) {
        if (decodeTable(page)->isMultiByte()) {
            continue;
        }
        std::mt19937 random(page);
        std::vector<std::string> texts = {awkward[page % awkward.size()]};
        for (const unsigned rare : {2U, 64U, 512U}) {
            std::string& text = texts.emplace_back(page % 64, 'a');
            for (int i = 0; i < 3000; ++i) {
                const unsigned any = random();
                // Letters of the upper half, ASCII, and now and then anything at all.
                const unsigned usual = any % 3 == 0 ? 0xC0 | (any >> 8 & 0x2F) : 0x61;
                text += static_cast<char>((any >> 16) % rare == 0 ? any >> 8 : usual);
            }
            text.append(500, 'a').append(100, '\xE9');
        }
        for (const std::string& text : texts) {
            const Outcome units = run(decode(page), portableRuns(), text, 4096);
            Outcome wanted = run(kernels::unicodeToUtf8, portableRuns(), units.bytes, 4096);
            wanted.complete = units.complete;
            for (const std::size_t room : {kLeastRoom, std::size_t{4096}}) {
                EXPECT_TRUE(run(decodeToUtf8(page), nativeRuns(), text, room) == wanted) << page;
                EXPECT_TRUE(run(decodeToUtf8(page), portableRuns(), text, room) == wanted) << page;
            }
        }
    }
}

TEST_P(TextRunsTest, GiveTheSameUtf7) {
    std::vector<std::string> texts = awkwardTexts();
    for (const char* piece : {"+AOk-", "+-", "+ZeVnLIqe", "+AOkA6g-", "+AOkB-", "+A-", "+AOk", "+",
                              "-", "+ZeVnLIqeZeVnLIqe-", "a+b/c+d,"}) {
        for (std::size_t place = 0; place < 20; ++place) {
            std::string& text = texts.emplace_back(place, 'x');
            for (std::size_t i = 0; i < 24; ++i) {
                text += piece;
                text.append(i * place % 7, i % 3 == 0 ? '+' : 'z');
            }
        }
    }
    for (const std::string& text : texts) {
        for (std::size_t cut = 0; cut < std::min<std::size_t>(text.size(), 20); ++cut) {
            const auto rest = std::string_view(text).substr(cut);
            DataBuffer plain, fast, plainText, fastText;
            EXPECT_EQ(utf7ToUtf16(rest, plain, portableRuns()),
                      utf7ToUtf16(rest, fast, nativeRuns()));
            EXPECT_TRUE(plain.view() == fast.view()) << rest;
            utf16ToUtf7(plain.view(), plainText, portableRuns());
            utf16ToUtf7(plain.view(), fastText, nativeRuns());
            EXPECT_TRUE(plainText.view() == fastText.view()) << hex(plain.view());
        }
    }
}

TEST_P(TextRunsTest, ReadTheSameIso2022Jp) {
    // By every pair of bytes, and by escapes and odd bytes in the midst of text.
    std::vector<std::string> texts;
    for (int row = 0x20; row <= 0x7F; ++row) {
        std::string text = "\x1B$B";
        for (int cell = 0x20; cell <= 0x80; ++cell) {
            text += {static_cast<char>(row), static_cast<char>(cell)};
        }
        texts.push_back(std::move(text));
    }
    const std::string_view pieces[] = {
        "\x1B$B",   "\x1B(B", "\x1B$B",       "\x1B(I", "\x1B",
        "\n",       "0!",     "F|K\\F|K\\F|", "a",      "14:00 a longer run",
        "\x79\x21", "\xB1",   "\x81",         "\x1B$",  std::string_view("\0", 1)};
    std::mt19937 random(5);
    for (int i = 0; i < 2000; ++i) {
        std::string& text = texts.emplace_back();
        while (text.size() < static_cast<std::size_t>(i % 1000)) {
            // The first ones are the usual ones.
            text += pieces[random() % (random() % 4 == 0 ? std::size(pieces) : 8)];
        }
    }
    const PageOracle oracle(kShiftJis);
    for (const std::string& text : texts) {
        DataBuffer shiftJis;
        Japanese().iso2022JpToShiftJis(text.data(), text.size(), shiftJis);
        const Outcome wanted = oracle.decode(shiftJis.view());
        for (const TextRuns* runs : {&portableRuns(), &nativeRuns()}) {
            for (const std::size_t room : {2 * Iso2022JpReader::kFewestUnits, std::size_t{4096}}) {
                Iso2022JpReader reader(*runs, *decodeTable(kShiftJis));
                const auto read = [&reader](const TextRuns&, TextCursor& c) { return reader(c); };
                EXPECT_TRUE(run(read, *runs, text, room) == wanted) << hex(text);
            }
        }
    }
}

}  // namespace
}  // namespace borvik
