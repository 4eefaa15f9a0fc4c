#include "base/string_buffer.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/ascii_text.h"
#include "base/data_buffer.h"

namespace borvik {
namespace {

using namespace std::string_view_literals;
using Parts = std::vector<std::string>;

Parts taken(ExtPtrArray<StringBuffer>& parts) {
    Parts result;
    for (const StringBuffer* part : parts) {
        result.emplace_back(part->view());
    }
    parts.deleteAll();
    return result;
}

struct Edit {
    const char* name;
    void (*apply)(StringBuffer&);
    std::string_view before;
    std::string_view after;
};

TEST(StringBuffer, EditsInPlace) {
    const Edit edits[] = {
        {"trim", [](StringBuffer& s) { s.trim(); }, " \r\n\t a b\t\n", "a b"},
        {"trimSpaces", [](StringBuffer& s) { s.trimSpaces(); }, "\t a\r\n", "a\r\n"},
        {"collapse", [](StringBuffer& s) { s.collapseWhitespace(); }, "\t\ta \r\n b  ", " a b "},
        {"toCrlf", [](StringBuffer& s) { s.toCrlf(); }, "a\r\nb\nc\rd", "a\r\nb\r\ncd"},
        {"toCrlf at the ends", [](StringBuffer& s) { s.toCrlf(); }, "\n\r\r\n", "\r\n\r\n"},
        {"toLf", [](StringBuffer& s) { s.toLf(); }, "\r\r\na\rb\r", "\r\na\rb\r"},
        {"lower", [](StringBuffer& s) { s.toLowerCase(); }, "aZ[\xC0\xD7\xDF\xE0\xBF"sv,
         "az[\xE0\xF7\xFF\xE0\xBF"sv},
        {"upper", [](StringBuffer& s) { s.toUpperCase(); }, "az{\xE0\xF7\xFF\xDF"sv,
         "AZ{\xC0\xD7\xDF\xDF"sv},
        {"lower to a NUL", [](StringBuffer& s) { s.toLowerCase(); }, "A\0A"sv, "a\0A"sv},
        {"xmlEscape", [](StringBuffer& s) { s.xmlEscape(); }, "<a b=\"&amp;'\">",
         "&lt;a b=&quot;&amp;amp;'&quot;&gt;"},
        {"removeChar", [](StringBuffer& s) { s.removeChar('a'); }, "abaca", "bc"},
        {"removeCharFrom", [](StringBuffer& s) { s.removeCharFrom('a', 2); }, "abaca", "abc"},
        {"removeCharFrom beyond", [](StringBuffer& s) { s.removeCharFrom('a', 9); }, "aa", "aa"},
        {"truncate", [](StringBuffer& s) { s.truncateAtChar(';'); }, "a;b;c", "a"},
        {"replaceAny", [](StringBuffer& s) { s.replaceAnyChar("/\\:*?", '_'); }, "a/b\\c:d*e?f",
         "a_b_c_d_e_f"},
        {"chopEnd", [](StringBuffer& s) { s.chopEnd(2); }, "abc", "a"},
        {"prepend", [](StringBuffer& s) { s.prepend("xy"); }, "abc", "xyabc"},
        {"prepend itself", [](StringBuffer& s) { s.prepend(s.view().substr(1)); }, "abc", "bcabc"},
        {"append itself",
         [](StringBuffer& s) {
             s.append(s.view());
             s.append(s.view());
         },
         "ten bytes!", "ten bytes!ten bytes!ten bytes!ten bytes!"},
        {"set part of itself", [](StringBuffer& s) { s.setString(s.getString() + 2); }, "abcd",
         "cd"},
        {"secureClear", [](StringBuffer& s) { s.secureClear(); }, "secret", ""},
    };
    for (const Edit& edit : edits) {
        StringBuffer text(edit.before);
        edit.apply(text);
        EXPECT_EQ(text.view(), edit.after) << edit.name;
        EXPECT_EQ(text.getString()[text.getSize()], '\0') << edit.name;
    }
}

TEST(StringBuffer, ReplacesTexts) {
    struct Case {
        std::string_view text, after;
        const char *find, *replacement;
        std::size_t count;
    };
    const Case all[] = {
        {"aaa", "aaaaaa", "a", "aa", 3}, {"abab", "xx", "ab", "x", 2},
        {"aaa", "ba", "aa", "b", 1},     {"abc", "abc", "x", "y", 0},
        {"abc", "abc", "", "y", 0},      {"abc", "abc", nullptr, "", 0},
        {"abcb", "ac", "b", nullptr, 2}, {"b\0b"sv, "x\0b"sv, "b", "x", 1},
    };
    for (const Case& c : all) {
        StringBuffer text(c.text);
        EXPECT_EQ(text.replaceAll(c.find, c.replacement), c.count) << c.text;
        EXPECT_EQ(text.view(), c.after) << c.text;
    }
    const Case first[] = {
        {"abcb", "aXYcb", "b", "XY", 1}, {"abcb", "acb", "b", "", 1}, {"abc", "abc", "x", "y", 0},
        {"abc", "abc", "b", nullptr, 1}, {"abc", "abc", "", "y", 0},
    };
    for (const Case& c : first) {
        StringBuffer text(c.text);
        EXPECT_EQ(text.replaceFirst(c.find, c.replacement), c.count == 1) << c.text;
        EXPECT_EQ(text.view(), c.after) << c.text;
    }
}

TEST(StringBuffer, ComparesAndSearches) {
    constexpr bool y = true, n = false;
    const struct {
        std::string_view text;
        const char* other;
        bool equal, equalNoCase, begins, beginsNoCase, ends, contains, containsNoCase;
    } cases[] = {
        {"", nullptr, y, y, n, n, n, n, n},
        {"Hello", nullptr, n, n, n, n, n, n, n},
        {"Hello", "Hello", y, y, y, y, y, y, y},
        {"Hello", "hELLO", n, y, n, y, n, n, y},
        {"Hello", "Hell", n, n, y, y, n, y, y},
        {"Hello", "LL", n, n, n, n, n, n, y},
        {"Hello", "lo", n, n, n, n, y, y, y},
        {"Hello", "xHello", n, n, n, n, n, n, n},
        {"Hello", "", n, n, y, y, y, y, y},
        {"\xC0", "\xE0", n, n, n, n, n, n, n},
        // A length that came in with a NUL stays, while C strings end there.
        {"ab\0cd"sv, "ab", y, y, y, y, n, y, y},
        {"ab\0cd"sv, "cd", n, n, n, n, y, n, n},
    };
    for (const auto& c : cases) {
        const StringBuffer text(c.text);
        SCOPED_TRACE(std::string(c.text) + " and " + (c.other == nullptr ? "null" : c.other));
        EXPECT_EQ(text.equals(c.other), c.equal);
        EXPECT_EQ(text.equalsNoCase(c.other), c.equalNoCase);
        EXPECT_EQ(text.beginsWith(c.other), c.begins);
        EXPECT_EQ(text.beginsWithNoCase(c.other), c.beginsNoCase);
        EXPECT_EQ(text.endsWith(c.other), c.ends);
        EXPECT_EQ(text.contains(c.other), c.contains);
        EXPECT_EQ(text.containsNoCase(c.other), c.containsNoCase);
    }
    EXPECT_LT(StringBuffer("a").compare("\xE0"), 0);
    EXPECT_EQ(StringBuffer("ab").charAt(2), '\0');
    EXPECT_EQ(StringBuffer("ab").lastChar(), 'b');
    EXPECT_EQ(StringBuffer().lastChar(), '\0');
    const StringBuffer late(std::string(40, 'a') + '\x80');
    EXPECT_TRUE(late.isAscii(40) && !late.isAscii(41) && !late.isAscii());
}

TEST(StringBuffer, ReadsNumbers) {
    const std::pair<const char*, int> cases[] = {{"  -7x", -7},
                                                 {"+5", 5},
                                                 {"", 0},
                                                 {"x1", 0},
                                                 {"0x10", 0},
                                                 {"42", 42},
                                                 {"99999999999", 2147483647},
                                                 {"-99999999999", -2147483647 - 1}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(StringBuffer(text).toInt(), number) << text;
    }
}

TEST(StringBuffer, AppendsNumbersAndDumps) {
    StringBuffer text;
    text.appendInt(-9223372036854775807 - 1);
    text.appendChar(' ');
    text.appendUint64(18446744073709551615U);
    text.appendCharN('-', 3);
    text.appendHex(0xBEEF);
    text.appendChar(' ');
    text.appendHexDump("\x00\x01\xAB\xFF", 3);
    EXPECT_EQ(text.view(), "-9223372036854775808 18446744073709551615---beef 0001 AB");
    EXPECT_STREQ(StringBuffer::intToText(-12), "-12");
    text.clear();
    text.appendHexDump("0123456789abcdefg", 17);
    EXPECT_EQ(text.view(), "3031 3233 3435 3637 3839 6162 6364 6566\n67");
}

TEST(StringBuffer, SplitsOnCharacters) {
    const struct {
        std::string_view text;
        bool quotes, backslash;
        Parts parts;
    } cases[] = {
        {"a;\"b;c\";d", true, false, {"a", "\"b;c\"", "d"}},
        {"a;\"b;c\";d", false, false, {"a", "\"b", "c\"", "d"}},
        {"a;", true, false, {"a", ""}},
        {";;", false, false, {"", "", ""}},
        {"", true, true, {}},
        {"a\\;b;c", false, true, {"a\\;b", "c"}},
        {"a\\;b;c", false, false, {"a\\", "b", "c"}},
        {"\"a\\\";b\";c", true, true, {"\"a\\\";b\"", "c"}},
        {"a;b\\", true, true, {"a", "b\\"}},
    };
    for (const auto& c : cases) {
        ExtPtrArray<StringBuffer> parts;
        StringBuffer(c.text).splitOnChar(parts, ';', c.quotes, c.backslash);
        EXPECT_EQ(taken(parts), c.parts) << c.text;
    }
}

TEST(StringBuffer, SplitsOnStrings) {
    const struct {
        const char *text, *delimiter;
        std::size_t maxParts;
        Parts parts;
    } cases[] = {
        {";;a;;b", ";", 0, {"a", "b"}}, {"a--b---c", "--", 0, {"a", "b", "-c"}},
        {"a;b;c", ";", 2, {"a", "b"}},  {";;", ";", 0, {}},
        {"abc", "", 0, {"abc"}},
    };
    for (const auto& c : cases) {
        ExtPtrArray<StringBuffer> parts;
        StringBuffer(c.text).splitOnString(c.delimiter, parts, c.maxParts);
        EXPECT_EQ(taken(parts), c.parts) << c.text;
    }
}

TEST(StringBuffer, SplitsKeysFromValues) {
    const char* const cases[][3] = {
        {" a = \"b c\" ", "a", "b c"},
        {"a", "a", ""},
        {"a=b=c", "a", "b=c"},
        {"a = \" b \"", "a", "b "},
        {"=x", "", "x"},
        {"a=x\"", "a", "x"},
        {"a=\"", "a", ""},
        {" \t", "", ""},
    };
    for (const auto& [text, name, value] : cases) {
        StringBuffer outName("old");
        StringBuffer outValue("old");
        StringBuffer(text).splitKeyValue(outName, outValue);
        EXPECT_EQ(outName.view(), name) << text;
        // Blanks behind an opening quote go with the trimming, those in front of a closing one
        // stay.
        EXPECT_EQ(outValue.view(), std::string_view(value)) << text;
    }
}

TEST(StringBuffer, HandsStorageOverWithoutACopy) {
    const std::string longText(5000, 'x');
    for (const std::string& content : {longText, std::string("short")}) {
        StringBuffer text(content);
        const char* const storage = text.getString();
        std::size_t length = 0;
        const MallocBytes bytes = text.detach(length);
        EXPECT_EQ(bytes.get() == storage, content == longText);
        EXPECT_EQ(std::string_view(bytes.get(), length), content);
        EXPECT_TRUE(text.empty());
    }
    StringBuffer text;
    DataBuffer data;
    data.append(longText);
    data.appendByte('\0');
    const char* const storage = data.getData();
    EXPECT_TRUE(text.takeBytes(data));
    EXPECT_EQ(text.getString(), storage);
    EXPECT_EQ(data.getData(), nullptr);
    text.minimizeMemory();
    EXPECT_EQ(text.view(), longText);
    text.chopEnd(4990);
    text.minimizeMemory();
    EXPECT_EQ(text.view(), longText.substr(0, 10));

    data.borrow("lent", 5);
    EXPECT_TRUE(text.takeBytes(data));
    EXPECT_EQ(text.view(), "lent");
    data.appendByte('x');
    EXPECT_TRUE(text.takeBytes(data));
    EXPECT_TRUE(text.empty()) << "a single byte can only be a terminator";
}

TEST(StringBuffer, MovesCopiesAndSwaps) {
    for (const std::size_t size : {0, 30, 31, 1000}) {
        const std::string content(size, 'c');
        StringBuffer text(content);
        text.setContentMark(2);
        StringBuffer moved(std::move(text));
        EXPECT_TRUE(text.empty());  // NOLINT(bugprone-use-after-move)
        StringBuffer copy(moved);
        EXPECT_EQ(copy.contentMark(), 2);
        copy.setContentMark(7);
        EXPECT_EQ(copy.contentMark(), 0);
        StringBuffer other("other");
        other.swap(moved);
        EXPECT_EQ(moved.view(), "other");
        EXPECT_EQ(other.view(), content);
        copy = std::move(other);
        EXPECT_EQ(copy.view(), content);
    }
}

TEST(StringBuffer, WritesInPlaceAndRefusesTooMuch) {
    StringBuffer text("ab");
    char* const tail = text.grow(100);
    ASSERT_NE(tail, nullptr);
    std::memset(tail, 'x', 100);
    text.setLength(52);
    EXPECT_EQ(text.view(), "ab" + std::string(50, 'x'));
    text.setLength(std::size_t{1} << 40);
    EXPECT_EQ(text.getSize(), text.getCapacity());
    text.setLength(2);
    EXPECT_EQ(text.grow(StringBuffer::kMaxSize), nullptr);
    const volatile std::size_t absurd = ~std::size_t{0};
    EXPECT_FALSE(text.appendCharN('x', absurd));
    EXPECT_FALSE(text.appendBytes("x", absurd));
    EXPECT_EQ(text.view(), "ab");
}

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
