#include "base/parse_engine.h"

#include <gtest/gtest.h>

#include <string>

namespace borvik {
namespace {

using namespace std::string_view_literals;

using P = ParseEngine&;
using Out = StringBuffer&;

TEST(ParseEngine, CapturesUpToStops) {
    struct Case {
        const char* name;
        void (*scan)(P, Out);
        std::string_view text, captured, rest;
    };
    const Case cases[] = {
        {"char", [](P p, Out out) { p.captureToChar(';', out); }, "ab;c", "ab", ";c"},
        {"char to the end", [](P p, Out out) { p.captureToChar(';', out); }, "ab", "ab", ""},
        {"char to a NUL", [](P p, Out out) { p.captureToChar(';', out); }, "ab\0;"sv, "ab", ""},
        {"any", [](P p, Out out) { p.captureToAnyOf(",;", out); }, "a\xFF;b,", "a\xFF", ";b,"},
        {"any of none", [](P p, Out out) { p.captureToAnyOf("", out); }, "ab", "", "ab"},
        {"any of four", [](P p, Out out) { p.captureToAny4("wxyz", out); }, "aby", "ab", "y"},
        {"unescaped", [](P p, Out out) { p.captureToAnyUnescaped(";", out); }, "a\\;b;c", "a\\;b",
         ";c"},
        {"unescaped behind the start",
         [](P p, Out out) {
             p.setPosition(1);
             p.captureToAnyUnescaped(";", out);
         },
         "\\;b", "", ";b"},
        {"quoted", [](P p, Out out) { p.captureToCharQuoted(';', out); }, "a=\"x;y\";b",
         "a=\"x;y\"", ";b"},
        {"quoted by the other quote", [](P p, Out out) { p.captureToCharQuoted(';', out); },
         "'\";';b", "'\";'", ";b"},
        {"unbalanced quote", [](P p, Out out) { p.captureToCharQuoted(';', out); }, "a=\"x;y",
         "a=\"x", ";y"},
        {"quoted without a stop", [](P p, Out out) { p.captureToCharQuoted(';', out); }, "\"a\"b",
         "\"a\"b", ""},
        {"skip", [](P p, Out) { p.skipChars(" \t"); }, " \t x ", "", "x "},
        {"skip four", [](P p, Out) { p.skipAny4('a', 'b', 'c', 'd'); }, "dcbae", "", "e"},
        {"skip to", [](P p, Out) { p.skipToChar('x'); }, "aax", "", "x"},
        {"remove behind",
         [](P p, Out) {
             p.skipToChar('b');
             p.removeCharBehind('a');
         },
         "aabaca", "", "bc"},
    };
    for (const Case& c : cases) {
        ParseEngine engine(c.text);
        StringBuffer out;
        c.scan(engine, out);
        EXPECT_EQ(out.view(), c.captured) << c.name;
        EXPECT_EQ(engine.rest(), c.rest) << c.name;
        EXPECT_EQ(engine.atEnd(), c.rest.empty()) << c.name;
    }
}

TEST(ParseEngine, SeeksWithoutRegardToCase) {
    ParseEngine engine("x BEGIN y begin");
    EXPECT_TRUE(engine.seekNoCase("Begin"));
    EXPECT_EQ(engine.position(), 2);
    EXPECT_FALSE(engine.seekNoCase("begins"));
    EXPECT_EQ(engine.position(), 2);
    engine.appendString("s");
    EXPECT_TRUE(engine.seekNoCase("begins"));
    EXPECT_EQ(engine.position(), 10);
    // Long texts take another way.
    const std::string wanted(40, 'w');
    engine.setString("  " + std::string(39, 'W') + "x" + std::string(41, 'W'));
    EXPECT_TRUE(engine.seekNoCase(wanted.c_str()));
    EXPECT_EQ(engine.position(), 42);
}

TEST(ParseEngine, IsAtItsEndOutsideTheText) {
    ParseEngine engine("ab");
    for (const std::ptrdiff_t outside : {-1, 2, 99}) {
        engine.setPosition(outside);
        EXPECT_TRUE(engine.atEnd()) << outside;
        engine.skipToChar('x');
        EXPECT_EQ(engine.position(), outside);
    }
}

}  // namespace
}  // namespace borvik
