#include "mime/param_string.h"

#include <gtest/gtest.h>

namespace borvik {
namespace {

TEST(ParamString, MasksQuotedStrings) {
    const std::tuple<const char*, bool, const char*, const char*> cases[] = {
        {R"(a="x y"; b=1)", true, "a=<[[0]]>; b=1", "x y"},
        {R"("a\"b")", true, "<[[0]]>", R"(a"b)"},
        {R"("a\b")", true, "<[[0]]>", R"(a\b)"},
        {R"("a\"b")", false, "<[[0]]>b<[[", R"(a\)"},
        {"\"a\r\nb", true, "<[[0]]>\nb", "a"},
        {R"(a="open)", true, "a=<[[", nullptr},
        {R"("x" y="open\)", true, "<[[0]]> y=<[[", "x"},
        {"", true, "", nullptr},
    };
    for (const auto& [value, allowEscapes, masked, firstString] : cases) {
        ParamString params;
        params.setParamString("\"old\"", true);
        params.setParamString(value, allowEscapes);
        EXPECT_EQ(params.getMaskedString(), masked) << value;
        const auto first = params.getSubstring(0);
        ASSERT_EQ(first.has_value(), firstString != nullptr) << value;
        EXPECT_EQ(first.value_or(""), firstString == nullptr ? "" : firstString);
    }
}

}  // namespace
}  // namespace borvik
