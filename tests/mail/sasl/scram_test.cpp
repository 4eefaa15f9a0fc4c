#include "mail/sasl/scram.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail/sasl/sasl_base64.h"
#include "mail/sasl/sasl_dialog.h"

namespace tessolt {
namespace {

/// The logins of the examples in RFC 5802, 5 and RFC 7677, 3.
struct Example {
    platform::Digest digest;
    const char* nonce;
    std::string first, serverFirst, proof, verdict;
};
const Example kExamples[] = {
    {platform::Digest::kSha1, "fyko+d2lbbFgONRv9qkxdawL", "n,,n=user,r=fyko+d2lbbFgONRv9qkxdawL",
     "r=fyko+d2lbbFgONRv9qkxdawL3rfcNHYJY1ZVvWVs7j,s=QSXCR+Q6sek8bf92,i=4096",
     "c=biws,r=fyko+d2lbbFgONRv9qkxdawL3rfcNHYJY1ZVvWVs7j,p=v0X8v3Bz2T0CJGbJQyF0X+HI4Ts=",
     "v=rmF9pqV8S7suAoZWja4dJRkFsKQ="},
    {platform::Digest::kSha256, "rOprNGfwEbeRWgbNEkqO", "n,,n=user,r=rOprNGfwEbeRWgbNEkqO",
     "r=rOprNGfwEbeRWgbNEkqO%hvYDpWUa2RaTCAfuxFIlj)hNlF$k0,s=W22ZaJ0SNY7soEsUEjb6gQ==,i=4096",
     "c=biws,r=rOprNGfwEbeRWgbNEkqO%hvYDpWUa2RaTCAfuxFIlj)hNlF$k0,"
     "p=dHzbZapWIk4jUhN+Ute9ytag9zjfMHgsqmmiz7AndVQ=",
     "v=6rriTRBi23WpRR/wtup+mMhUZUn/dB5nLTJRsjl95G4="}};

ScramMechanism begun(const Example& e) {
    return {"SCRAM", e.digest, {.account = "user", .secret = "pencil"}, e.nonce};
}

TEST(Scram, FollowsTheExamplesAndRefusesEveryOtherServer) {
    for (const Example& e : kExamples) {
        ScramMechanism login = begun(e);
        std::string answer;
        EXPECT_TRUE(login.Answer("", answer));
        EXPECT_EQ(answer, e.first);
        EXPECT_TRUE(login.Answer(e.serverFirst, answer));
        EXPECT_EQ(answer, e.proof);
        EXPECT_FALSE(login.IsSatisfied()) << "the server hasn't proved anything yet";
        EXPECT_TRUE(login.Answer(e.verdict, answer));
        EXPECT_EQ(answer, "");
        EXPECT_TRUE(login.IsSatisfied());
        EXPECT_FALSE(login.Answer(e.verdict, answer)) << "a word too many";

        const std::string rest = e.serverFirst.substr(e.serverFirst.find(",s="));
        const std::string sane = e.serverFirst.substr(0, e.serverFirst.find(",i="));
        const std::string own = e.nonce;
        for (const std::string& bad :
             {"r=other" + rest, "r=" + own + rest, "r=x" + own + rest, "m=ext," + e.serverFirst,
              sane, sane + ",i=4095", sane + ",i=2000001", sane + ",i=4096x",
              sane + ",i=99999999999", std::string(), e.verdict, std::string("e=other-error")}) {
            ScramMechanism fooled = begun(e);
            fooled.Answer("", answer);
            EXPECT_FALSE(fooled.Answer(bad, answer)) << bad;
        }
        for (const std::string& bad : {std::string("v=AAAA"), e.verdict.substr(0, 9),
                                       std::string("e=invalid-proof"), std::string()}) {
            ScramMechanism fooled = begun(e);
            fooled.Answer("", answer);
            fooled.Answer(e.serverFirst, answer);
            EXPECT_FALSE(fooled.Answer(bad, answer)) << bad;
            EXPECT_FALSE(fooled.IsSatisfied());
        }
    }
    std::string answer;
    EXPECT_FALSE(ScramMechanism("SCRAM", platform::Digest::kSha1, {}, "").Answer("", answer));
    EXPECT_EQ(ScramName("a=b,c"), "a=3Db=2Cc");
    EXPECT_NE(ScramNonce(), ScramNonce());
}

/// What a client says to a server that answers with these lines: "+text" is a challenge, "." yes,
/// "-" no, "" silence.
std::string talked(const char* mechanism, std::vector<std::string> replies, bool token = false,
                   std::size_t longest = 500) {
    const SaslCredentials credentials = {"u=", "p", token, "h.test", 25};
    const auto chosen = ChooseMechanism({{"x", mechanism}, ""}, credentials);
    if (!chosen) {
        return "none";
    }
    std::string said;
    std::size_t at = 0;
    const SaslEnd end = RunSaslDialog(
        *chosen, longest, [&](const std::string& line, const std::string& logged) -> SaslReply {
            const std::size_t blank = line.rfind(' ');
            const std::string words = blank == std::string::npos ? line : line.substr(blank + 1);
            said += (blank == std::string::npos ? "" : line.substr(0, blank + 1)) +
                    (line == "*" || blank == 4 ? words : Base64Decoded(words)) + "|";
            EXPECT_TRUE(words.empty() || logged == line || logged.find(words) == std::string::npos)
                << logged;
            const std::string reply = at < replies.size() ? replies[at++] : "";
            return {reply.empty()     ? SaslReply::kLost
                    : reply[0] == '+' ? SaslReply::kChallenge
                    : reply == "."    ? SaslReply::kDone
                                      : SaslReply::kRefused,
                    Base64Encoded(reply.empty() ? "" : reply.substr(1))};
        });
    return said + (end == SaslEnd::kLoggedIn ? "in" : end == SaslEnd::kLost ? "lost" : "refused");
}

TEST(SaslDialog, EachMechanismSaysItsWordsAndNoMore) {
    using namespace std::string_literals;
    EXPECT_EQ(talked("plain", {"."}), "AUTH PLAIN \0u=\0p|in"s);
    EXPECT_EQ(talked("PLAIN", {"+", "."}, false, 12), "AUTH PLAIN|\0u=\0p|in"s);
    EXPECT_EQ(talked("PLAIN", {"+more"}), "AUTH PLAIN \0u=\0p|*|refused"s);
    EXPECT_EQ(talked("LOGIN", {"+Who", "+What", "."}), "AUTH LOGIN|u=|p|in");
    EXPECT_EQ(talked("LOGIN", {"+Who", "+What", "+More"}), "AUTH LOGIN|u=|p|*|refused");
    EXPECT_EQ(talked("CRAM-MD5", {"+", "-"}), "AUTH CRAM-MD5|*|refused");
    EXPECT_EQ(talked("SCRAM-SHA-1", {"."}).substr(0, 26), "AUTH SCRAM-SHA-1 n,,n=u=3D");
    EXPECT_TRUE(talked("SCRAM-SHA-1", {"."}).ends_with("|refused")) << "nothing was proved";
    EXPECT_TRUE(talked("SCRAM-SHA-256", {"+r=x,s=AA==,i=4096", "-"}).ends_with("|*|refused"));
    EXPECT_EQ(talked("XOAUTH2", {"+{}", "-"}, true),
              "AUTH XOAUTH2 user=u=\1auth=Bearer p\1\1||refused");
    EXPECT_EQ(talked("OAUTHBEARER", {"+{}", "-"}, true),
              "AUTH OAUTHBEARER n,a=u=3D,\1host=h.test\1port=25\1auth=Bearer p\1\1|\1|refused");
    EXPECT_EQ(talked("PLAIN", {}), "AUTH PLAIN \0u=\0p|lost"s);
    EXPECT_EQ(talked("PLAIN", {}, true), "none") << "a token is no password";
    EXPECT_EQ(talked("XOAUTH2", {}), "none");
}

}  // namespace
}  // namespace tessolt
