#include "foundation/error_catalogue.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/md5.h"
#include "foundation/reserved_numbers.h"

namespace tessolt {
namespace {

constexpr std::int32_t kHighestNumber = 40000;
constexpr std::string_view kGeneric = "Generic Error";

TEST(ErrorCatalogue, AnswersEachNumberWithItsText) {
    const std::pair<std::int32_t, const char*> cases[] = {
        {0, "Success"},
        {-1, "Generic Error"},
        {1, "Generic Error"},
        {353, "Generic Error"},
        {kHighestNumber, "Generic Error"},
        {INT32_MIN, "Generic Error"},
        {354, "Start mail input; end with <CRLF>.<CRLF>"},
        {551, "User not local; please try <forward-path>"},
        {708, "Invalid message indicator; message should start with '+OK <bytes>'."},
        {15010, "Internal error: unable to create new ActiveX object"},
        {36002, "Invalid argument"},
        {37404, "Unexpected response from server"},
        {37405, "Unexpected response from server"},
        {37709, "EncryptMessage failure in SSPI module of the Operating System."},
    };
    CZncString text;
    for (const auto& [number, expected] : cases) {
        EXPECT_EQ(&GetDescription(number, text), &text);
        EXPECT_EQ(text, expected) << number;
    }
}

TEST(ErrorCatalogue, HoldsExactlyItsRows) {
    Md5Context digest;
    MD5Init(&digest);
    int rows = 0;
    for (std::int32_t number = 0; number <= kHighestNumber; ++number) {
        const std::string_view text = ErrorText(number);
        if (text != kGeneric) {
            const std::string row = std::to_string(number) + "=" + std::string(text) + "\n";
            MD5Update(&digest, row.data(), row.size());
            ++rows;
        }
    }
    MD5Final(&digest);
    EXPECT_EQ(rows, 163);
    EXPECT_EQ(HexDigest(digest.digest), "80c3e3da995f9148be499d7a44884603");
}

TEST(ErrorCatalogue, LeavesTheNumbersOfSiblingComponentsAlone) {
    for (const NumberRange& range : kReservedNumbers) {
        for (std::int32_t number = range.first; number <= range.last; ++number) {
            EXPECT_EQ(ErrorText(number) == kGeneric, number != kErrorNoObject) << number;
        }
    }
}

TEST(ErrorMapping, TurnsResultsIntoNumbers) {
    struct Case {
        std::int32_t result, smtp, pop3, mail;
    };
    const Case cases[] = {
        {0, 0, 0, 0},
        {250, -1, -1, -1},
        {354, 354, -1, -1},
        {550, 550, -1, -1},
        {592, 592, -1, -1},
        {593, -1, -1, -1},
        {700, -1, 700, -1},
        {720, -1, 720, -1},
        {733, -1, -1, -1},
        {-2, -1, -1, -1},
        {-1000, 37700, 37700, -1},
        {-1001, -1, -1, -1},
        {-1002, 37701, 37701, -1},
        {-1003, 37702, 37702, -1},
        {-1008, 37707, 37707, -1},
        {-1013, 37712, 37712, -1},
        {-1014, 37713, 37713, -1},
        {-1015, -1, -1, -1},
        {-2001, 37400, -1, -1},
        {-2007, 37406, -1, -1},
        {-2008, 441, -1, -1},
        {-2009, 37408, -1, -1},
        {-2010, 592, -1, -1},
        {-2011, 37410, -1, -1},
        {-2012, 37411, -1, -1},
        {-2013, -1, -1, -1},
        {-2014, -1, -1, -1},
        {-2015, 37414, -1, -1},
        {-2016, 37435, -1, -1},
        {-2017, 37436, -1, -1},
        {-2101, -1, 37500, -1},
        {-2105, -1, 37504, -1},
        {-2106, -1, 715, -1},
        {-2107, -1, 37506, -1},
        {-2108, -1, 710, -1},
        {-2110, -1, 707, -1},
        {-2114, -1, 713, -1},
        {-2115, -1, 716, -1},
        {-2116, -1, 711, -1},
        {-2119, -1, 37518, -1},
        {-2120, -1, 732, -1},
        {-2121, -1, 731, -1},
        {-2122, -1, 37521, -1},
        {-2201, -1, -1, 37604},
        {-2209, -1, -1, 37612},
        {-2210, -1, -1, 37601},
        {-2212, -1, -1, 37603},
        {-2214, -1, -1, 37614},
        {-2215, -1, -1, -1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MapSmtpError(c.result), c.smtp) << c.result;
        EXPECT_EQ(MapPop3Error(c.result), c.pop3) << c.result;
        EXPECT_EQ(MapMailError(c.result), c.mail) << c.result;
    }
}

}  // namespace
}  // namespace tessolt
