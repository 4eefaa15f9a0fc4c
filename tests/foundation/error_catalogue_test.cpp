#include "foundation/error_catalogue.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/md5.h"
#include "foundation/reserved_numbers.h"

namespace tessolt {
namespace {

constexpr std::int32_t kHighestNumber = 40000;
constexpr std::string_view kGeneric = "Generic Error";

/// Rows as one text, to compare a whole table by its count and digest.
struct Digest {
    void add(const std::string& row) {
        MD5Update(&context, row.data(), row.size());
        ++rows;
    }
    std::string finish() {
        MD5Final(&context);
        return std::to_string(rows) + " " + HexDigest(context.digest);
    }
    Digest() { MD5Init(&context); }
    Md5Context context;
    int rows = 0;
};

TEST(ErrorCatalogue, HoldsExactlyItsRows) {
    const std::pair<std::int32_t, const char*> cases[] = {
        {0, "Success"},       {-1, "Generic Error"},        {353, "Generic Error"},
        {1, "Generic Error"}, {INT32_MIN, "Generic Error"}, {36002, "Invalid argument"}};
    CZncString text;
    for (const auto& [number, expected] : cases) {
        EXPECT_EQ(&GetDescription(number, text), &text);
        EXPECT_EQ(text, expected) << number;
    }
    Digest all;
    for (std::int32_t number = 0; number <= kHighestNumber; ++number) {
        if (const std::string_view row = ErrorText(number); row != kGeneric) {
            all.add(std::to_string(number) + "=" + std::string(row) + "\n");
        }
    }
    EXPECT_EQ(all.finish(), "163 80c3e3da995f9148be499d7a44884603");
}

TEST(ErrorCatalogue, LeavesTheNumbersOfSiblingComponentsAlone) {
    for (const NumberRange& range : kReservedNumbers) {
        for (std::int32_t number = range.first; number <= range.last; ++number) {
            EXPECT_EQ(ErrorText(number) == kGeneric, number != kErrorNoObject) << number;
        }
    }
}

TEST(ErrorMapping, TurnsExactlyTheKnownResultsIntoNumbers) {
    struct Case {
        std::int32_t result, smtp, pop3, mail;
    };
    const Case cases[] = {{0, 0, 0, 0},         {250, -1, -1, -1},     {550, 550, -1, -1},
                          {720, -1, 720, -1},   {-1001, -1, -1, -1},   {-2008, 441, -1, -1},
                          {-2010, 592, -1, -1}, {-2013, -1, -1, -1},   {-1014, 37713, 37713, -1},
                          {-2121, -1, 731, -1}, {-2209, -1, -1, 37612}};
    for (const Case& c : cases) {
        EXPECT_EQ(MapSmtpError(c.result), c.smtp) << c.result;
        EXPECT_EQ(MapPop3Error(c.result), c.pop3) << c.result;
        EXPECT_EQ(MapMailError(c.result), c.mail) << c.result;
    }
    Digest all;
    for (std::int32_t result = -3000; result <= 1000; ++result) {
        const std::string row = std::to_string(MapSmtpError(result)) + "," +
                                std::to_string(MapPop3Error(result)) + "," +
                                std::to_string(MapMailError(result));
        if (row != "-1,-1,-1") {
            all.add(std::to_string(result) + "=" + row + "\n");
        }
    }
    EXPECT_EQ(all.finish(), "338 0c5be2cc83ba7f4e7b055aa3921ea8bb");
}

}  // namespace
}  // namespace tessolt
