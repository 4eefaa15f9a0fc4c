#include "mime/rfc822_address.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace borvik {
namespace {

TEST(Rfc822Address, ReadsOneMailbox) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"Hans <h@x>", "Hans", "h@x"},
        {"  \"Hans B\" <h@x> ", "Hans B", "h@x"},
        {"'Hans' <h@x>", "Hans", "h@x"},
        {"\"O'Neil'\" <o@x>", "O'Neil'", "o@x"},
        {R"("a\"b" <h@x>)", R"(a\"b)", "h@x"},
        {"\"\" <h@x>", "", "h@x"},
        {"h@x", "", "h@x"},
        {"<h@x>", "", "h@x"},
        {"h@x <h@x>", "", "h@x"},
        {"Hans h@x", "Hans", "h@x"},
        {"bob", "", "bob"},
        {"b", "", "b"},
        {"a b", "a", "b"},
        {"<>", "", ""},
        {"\"h@x\"", "", "h@x"},
        {"C=de;O=x;S=y", "", "C=de;O=x;S=y"},
        {"\"Hans\" <O=x;S=y>", "Hans", "O=x;S=y"},
        {"J\xC3\xBC,r <j@x>", "J\xC3\xBC,r", "j@x"},
        {"=?8bit?Q?J=C3=BC?= <j@x>", "J\xC3\xBC", "j@x"},
    };
    for (const auto& [text, wantedName, wantedAddress] : cases) {
        const Rfc822Address mailbox(text);
        std::string name;
        std::string address;
        mailbox.friendlyName(name);
        mailbox.address(address);
        EXPECT_TRUE(mailbox.isValid()) << text;
        EXPECT_EQ(name, wantedName) << text;
        EXPECT_EQ(address, wantedAddress) << text;
    }
    EXPECT_FALSE(Rfc822Address(" \t").isValid());
    EXPECT_FALSE(Rfc822Address("Undisclosed-Recipients:;").isValid());
}

TEST(Rfc822Address, SplitsLists) {
    const struct {
        std::string list;
        std::vector<std::string> addresses;
    } cases[] = {
        {"\"Doe, Jane\" <j@x>, k@x", {"j@x", "k@x"}},
        {"undisclosed-recipients:;", {}},
        {",, a@x ,\r\n\tb@x,", {"a@x", "b@x"}},
        {R"(a\,b@x, c@x\)", {R"(a\,b@x)", R"(c@x\)"}},
        {"\"open, a@x, b@x", {"a@x,"}},
    };
    for (const auto& c : cases) {
        std::vector<Rfc822Address> list;
        EXPECT_EQ(parseAddressList(c.list, list), c.addresses.size()) << c.list;
        std::vector<std::string> addresses;
        for (const Rfc822Address& mailbox : list) {
            mailbox.address(addresses.emplace_back());
        }
        EXPECT_EQ(addresses, c.addresses);
    }
}

}  // namespace
}  // namespace borvik
