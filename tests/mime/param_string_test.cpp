#include "mime/param_string.h"

#include <gtest/gtest.h>

namespace borvik {
namespace {

TEST(ParamString, MasksQuotedStrings) {
    const struct {
        const char* value;
        bool allowEscapes;
        const char* masked;
        const char* firstString;  // null when there is none
    } cases[] = {
        {R"(a="x y"; b=1)", true, "a=<[[0]]>; b=1", "x y"},
        {R"("a\"b")", true, "<[[0]]>", R"(a"b)"},
        {R"("a\b")", true, "<[[0]]>", R"(a\b)"},
        {R"("a\"b")", false, "<[[0]]>b<[[", R"(a\)"},
        {"\"a\r\nb", true, "<[[0]]>\nb", "a"},
        {R"(a="open)", true, "a=<[[", nullptr},
        {R"("x" y="open\)", true, "<[[0]]> y=<[[", "x"},
        {"", true, "", nullptr},
    };
    for (const auto& c : cases) {
        ParamString params;
        params.setParamString("\"old\"", true);
        params.setParamString(c.value, c.allowEscapes);
        EXPECT_EQ(params.getMaskedString(), c.masked) << c.value;
        const auto first = params.getSubstring(0);
        ASSERT_EQ(first.has_value(), c.firstString != nullptr) << c.value;
        EXPECT_EQ(first.value_or(""), c.firstString == nullptr ? "" : c.firstString);
    }
}

TEST(ParamString, ResolvesMarks) {
    ParamString params;
    params.setParamString(R"(a="x";b="";c="z")", true);
    const struct {
        const char* part;
        const char* text;
    } cases[] = {{"<[[0]]>", "x"},
                 {"<[[1]]>", ""},
                 {"<[[2]]>", "z"},
                 {"<[[", "x"},
                 {"<[[3]]>", ""},
                 {"plain", "plain"},
                 {"<[[99999999999999999999]]>", ""}};
    for (const auto& c : cases) {
        EXPECT_EQ(params.resolve(c.part), c.text) << c.part;
    }
}

}  // namespace
}  // namespace borvik
