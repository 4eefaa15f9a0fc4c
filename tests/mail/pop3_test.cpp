#include "mail/pop3.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail_servers.h"
#include "message/znmail.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::Delivery;
using support::ScriptedServer;

void aim(CZnPop3& pop3, const ScriptedServer& server) {
    pop3.m_strServer = "localhost";
    pop3.m_lHostPort = server.port();
}

void expectUsable(CZnPop3& pop3) {
    const ScriptedServer healthy(served(pop3Part()));
    aim(pop3, healthy);
    pop3.m_bSecure = false;
    pop3.m_strAccount = "u";
    pop3.m_strPassword = "p";
    EXPECT_EQ(pop3.Connect(), 0);
    pop3.Disconnect();
    EXPECT_FALSE(pop3.IsConnected());
}

ServerPart with(std::map<std::string, std::vector<std::string>> replies) {
    ServerPart part = pop3Part();
    for (auto& [verb, lines] : replies) {
        part.replies[verb] = lines;
    }
    return part;
}

struct LoginCase {
    const char* name;
    std::map<std::string, std::vector<std::string>> replies;
    std::int32_t expected;
    std::string lines;  ///< Those of a second connection behind a "#".
    std::int32_t chosen = kPop3AuthAuto;
    const char* account = "mrose";
    std::int32_t count = 2;
};

const std::string kStamp = "+OK POP3 <1896.697170952@dbc.mtview.ca.us> ready\r\n";
const std::string kApop = "APOP mrose c4c9334bac560ecc979e58001b3e22fb";
const std::string kUser = "USER mrose|PASS tanstaaf";
const std::string kCounted = "|CAPA|STAT|QUIT";

TEST(Pop3, EveryLoginTakesItsPath) {
    const LoginCase cases[] = {
        {"password", {}, 0, kUser + kCounted},
        {"password though APOP is wanted", {}, 0, kUser + kCounted, kPop3AuthApop},
        {"blank lines in front",
         {{"", {"\r\n\r\n+OK\r\n"}}, {"USER", {"\r\n+ok\r\n"}}},
         0,
         kUser + kCounted},
        {"no welcome", {{"", {"-ERR go away\r\n"}}}, -2107, "QUIT"},
        {"user refused", {{"USER", {"-ERR who\r\n"}}}, -2111, "USER mrose|QUIT"},
        {"access denied", {{"PASS", {"-ERR Access DENIED\r\n"}}}, -2109, kUser + "|QUIT"},
        {"invalid password",
         {{"PASS", {"-ERR [AUTH] Invalid password\r\n"}}},
         -2109,
         kUser + "|QUIT"},
        {"login failed", {{"PASS", {"-err maildrop login failed\r\n"}}}, -2109, kUser + "|QUIT"},
        {"locked", {{"PASS", {"-ERR Mailbox locked\r\n"}}}, -2108, kUser + "|QUIT"},
        {"in use", {{"PASS", {"-ERR maildrop in use\r\n"}}}, -2108, kUser + "|QUIT"},
        {"unknown refusal", {{"PASS", {"-ERR no such thing\r\n"}}}, -2112, kUser + "|QUIT"},
        {"odd reply passes", {{"PASS", {"hm\r\n"}}}, 0, kUser + kCounted},
        {"APOP", {{"", {kStamp}}}, 0, kApop + kCounted},
        {"APOP chosen", {{"", {kStamp}}}, 0, kApop + kCounted, kPop3AuthApop},
        {"APOP not wanted", {{"", {kStamp}}}, 0, kUser + kCounted, kPop3AuthPlain},
        {"no whole stamp", {{"", {"+OK <a@b>\r\n"}}}, 0, kUser + kCounted},
        {"APOP locked", {{"", {kStamp}}, {"APOP", {"-ERR locked\r\n"}}}, -2108, kApop + "|QUIT"},
        {"APOP login failed",
         {{"", {kStamp}}, {"APOP", {"-ERR login failed\r\n"}}},
         -2109,
         kApop + "|QUIT"},
        {"APOP falls back",
         {{"", {kStamp}}, {"APOP", {"-ERR bad digest\r\n"}}},
         0,
         kApop + "|QUIT#" + kUser + kCounted,
         kPop3AuthApop},
        {"account with a line break", {}, -10, "QUIT", kPop3AuthAuto, "u\r\nDELE 1"},
        {"the same with APOP", {{"", {kStamp}}}, -10, "QUIT", kPop3AuthAuto, "u\nDELE 1"},
        {"no capabilities",
         {{"CAPA", {"-ERR\r\n"}}, {"STAT", {"+OK messages: 12 of 4096 bytes\r\n"}}},
         0,
         kUser + kCounted,
         0,
         "mrose",
         12},
        {"count clamped",
         {{"STAT", {"+OK 99999999999 1\r\n"}}},
         0,
         kUser + kCounted,
         0,
         "mrose",
         2147483647},
        {"no count", {{"STAT", {"-ERR\r\n"}}}, -2113, kUser + kCounted},
    };
    for (const LoginCase& c : cases) {
        SCOPED_TRACE(c.name);
        const ScriptedServer server(served(with(c.replies)));
        CZnPop3 pop3;
        aim(pop3, server);
        pop3.m_strAccount = c.account;
        pop3.m_strPassword = "tanstaaf";
        pop3.m_lAuthentication = c.chosen;
        EXPECT_EQ(pop3.Connect(), c.expected);
        EXPECT_EQ(pop3.IsConnected(), c.expected == 0);
        EXPECT_EQ(pop3.m_lAuthentication, c.chosen);
        std::int32_t count = -1;
        EXPECT_EQ(pop3.GetMessageCount(count), c.expected == 0 ? 0 : -2110);
        EXPECT_EQ(count, c.expected == 0 ? c.count : -1);
        pop3.Disconnect();
        const bool twice = c.lines.find('#') != std::string::npos;
        const auto received = server.receivedBy(twice ? 2 : 1);
        EXPECT_EQ(linesOf(received.at(0)) + (twice ? "#" + linesOf(received.at(1)) : ""), c.lines);
        expectUsable(pop3);
    }
}

TEST(Pop3, AWelcomeIsCutBehindItsStamp) {
    ServerPart part = with({{"", {kStamp}}});
    part.faults["APOP"] = [](auto& c) { c.drop(); };
    const ScriptedServer server(served(part));
    CZnPop3 pop3;
    aim(pop3, server);
    EXPECT_EQ(pop3.Connect(), -2110) << "the count shows that nobody is there";
    EXPECT_EQ(pop3.m_strLastResponse, "");
}

TEST(Pop3, RefusesWhatCannotBeAHost) {
    CZnPop3 pop3;
    EXPECT_EQ(pop3.Connect(), -2102);
    pop3.m_strServer = "localhost";
    pop3.m_lHostPort = 65536;
    EXPECT_EQ(pop3.Connect(), -2103);
    pop3.m_lHostPort = support::unusedPort();
    EXPECT_EQ(pop3.Connect(), -2104);
    EXPECT_EQ(pop3.SendCommand("NOOP"), -2110);
    EXPECT_EQ(pop3.DeleteMessage(1), -2110);
    CZnMail mail;
    EXPECT_EQ(pop3.Retrieve(1, true, mail), -2110);
    expectUsable(pop3);
}

TEST(Pop3, ConnectingTwiceEndsTheConnection) {
    const ScriptedServer server(served(pop3Part()));
    CZnPop3 pop3;
    aim(pop3, server);
    ASSERT_EQ(pop3.Connect(), 0);
    EXPECT_EQ(pop3.Connect(), -2101);
    EXPECT_FALSE(pop3.IsConnected());
    EXPECT_TRUE(linesOf(server.receivedBy(1).at(0)).ends_with("|QUIT"));
}

TEST(Pop3, CapabilitiesAreWholeLines) {
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"+OK\r\nTOP\r\nSASL\r\nSTLS\r\nUSER\r\nUIDL\r\nRESP\r\n.\r\n", 63},
        {"+OK\r\ntop\r\nSASL PLAIN\r\n\r\nRESP-CODES\r\nUIDL\r\n.\r\n", 16},
        {"+OK\r\n.\r\n", 0},
        {"-ERR\r\n", 0},
    };
    for (const auto& [reply, bits] : cases) {
        const ScriptedServer server(served(with({{"CAPA", {reply}}})));
        CZnPop3 pop3;
        aim(pop3, server);
        ASSERT_EQ(pop3.Connect(), 0);
        EXPECT_EQ(pop3.m_uCapabilities, bits);
    }
}

TEST(Pop3, FetchesAndDeletesByNumber) {
    struct Case {
        std::int32_t id;
        bool full;
        std::map<std::string, std::vector<std::string>> replies;
        std::int32_t expected;
        const char* line;
    };
    const Case cases[] = {
        {1, true, {}, 0, "RETR 1"},
        {2, false, {}, 0, "TOP 2 1"},
        {2, false, {{"CAPA", {"-ERR\r\n"}}}, 0, "RETR 2"},
        {0, true, {}, 0, "RETR 0"},
        {-7, true, {}, 0, "RETR -7"},
        {3, true, {}, -2117, ""},
        {1, true, {{"STAT", {"+OK 0 0\r\n"}}}, -2116, ""},
        {1, true, {{"RETR", {"-ERR gone\r\n"}}}, -2118, "RETR 1"},
    };
    for (const Case& c : cases) {
        const ScriptedServer server(served(with(c.replies)));
        CZnPop3 pop3;
        aim(pop3, server);
        ASSERT_EQ(pop3.Connect(), 0);
        CZnMail mail;
        EXPECT_EQ(pop3.Retrieve(c.id, c.full, mail), c.expected);
        EXPECT_EQ(mail.m_uID, c.expected == 0 ? static_cast<std::uint32_t>(c.id) : 0u);
        EXPECT_EQ(mail.m_wstrSubject.IsEmpty(), c.expected != 0);
        pop3.Disconnect();
        const std::string middle = *c.line != '\0' ? std::string("|") + c.line : "";
        EXPECT_EQ(linesOf(server.receivedBy(1).at(0)), "USER |PASS |CAPA|STAT" + middle + "|QUIT");
    }
    const ScriptedServer server(served(with({{"DELE", {"+OK\r\n", "-err no\r\n", "hm\r\n"}}})));
    CZnPop3 pop3;
    aim(pop3, server);
    ASSERT_EQ(pop3.Connect(), 0);
    EXPECT_EQ(pop3.DeleteMessage(1), 0);
    EXPECT_EQ(pop3.DeleteMessage(99), -2115);
    EXPECT_EQ(pop3.DeleteMessage(-1), 0);
    pop3.m_lMessageCount = 0;
    EXPECT_EQ(pop3.DeleteMessage(1), -2114);
    pop3.Disconnect();
    EXPECT_TRUE(linesOf(server.receivedBy(1).at(0)).ends_with("DELE 1|DELE 99|DELE -1|QUIT"));
}

TEST(Pop3, BodiesComeWholeHoweverTheyArrive) {
    const std::string head = "Subject: s\r\n\r\n";
    const std::string big(300000, 'x');
    const std::pair<std::string, std::u16string> cases[] = {
        {head + "one\r\n..\r\n..two\r\n.\r\n", u"one\r\n.\r\n.two\r\n\r\n"},
        {head + "a\n.\nb\r\n.\r\n", u"a\n.\nb\r\n\r\n"},
        {head + "cut" + std::string(1, '\0') + "here\r\n.\r\n", u"cut"},
        {"." + head + "dotted head\r\n.\r\n", u"dotted head\r\n\r\n"},
        {head + big + "\r\n.\r\n", std::u16string(big.begin(), big.end()) + u"\r\n\r\n"},
        {".\r\n", u""},
    };
    for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
        for (const bool secure : {false, true}) {
            for (const auto& [wire, body] : cases) {
                if (delivery == Delivery::kBytes && wire.size() > 1000) {
                    continue;
                }
                const ServerPart part = with({{"RETR", {"+OK\r\n" + wire}}});
                const ScriptedServer server(
                    secure ? servedOverTls(part, support::TlsServerSetup(mailIdentity()))
                           : served(part),
                    delivery);
                CZnPop3 pop3;
                aim(pop3, server);
                pop3.m_bSecure = secure;
                ASSERT_EQ(pop3.Connect(), 0);
                CZnMail mail;
                EXPECT_EQ(pop3.Retrieve(1, true, mail), 0);
                EXPECT_TRUE(mail.m_wstrBodyPlainText.View() == body) << wire.substr(0, 60);
                EXPECT_EQ(pop3.DeleteMessage(1), 0) << "nothing of the body is left over";
                EXPECT_EQ(pop3.m_strLastResponse, "+OK");
            }
        }
    }
}

TEST(Pop3, ABodyEndsInTheWayItFails) {
    struct Case {
        const char* name;
        std::function<void(support::ScriptedConnection&)> end;
        std::int32_t expected;
    };
    using namespace std::chrono_literals;
    const Case cases[] = {
        {"no status line", [](auto& c) { c.stall(); }, -2106},
        {"close for a status line", [](auto& c) { c.drop(); }, -2106},
        {"nothing behind it", [](auto& c) { c.send("+OK\r\n"), c.stall(); }, -2121},
        {"stands still", [](auto& c) { c.send("+OK\r\nSubject"), c.stall(); }, -2120},
        {"no line end before the mark", [](auto& c) { c.send("+OK\r\nx.\r\n"), c.stall(); }, -2120},
        {"close", [](auto& c) { c.send("+OK\r\nSubject: x\r\n\r\n"), c.drop(); }, -2119},
        {"reset", [](auto& c) { c.send("+OK\r\n"), c.delay(30ms), c.reset(); }, -2119},
        {"slow but moving",
         [](auto& c) {
             c.send("+OK\r\nSubject: x\r\n\r\n");
             for (int i = 0; i < 8; ++i) {
                 c.delay(50ms), c.send("y");
             }
             c.send("\r\n.\r\n"), c.stall();
         },
         0},
        {"close right behind the mark", [](auto& c) { c.send("+OK\r\nSubject: x\r\n\r\n.\r\n"); },
         0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ServerPart part = pop3Part();
        part.faults["RETR"] = c.end;
        const ScriptedServer server(served(part));
        CZnPop3 pop3;
        aim(pop3, server);
        ASSERT_EQ(pop3.Connect(), 0);
        pop3.m_lTimeoutData = 200;
        pop3.m_lTimeoutCommand = 50;
        CZnMail mail;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(pop3.Retrieve(1, true, mail), c.expected);
        EXPECT_LT(std::chrono::steady_clock::now() - start, c.expected == 0 ? 2000ms : 400ms);
        EXPECT_EQ(mail.m_wstrSubject.IsEmpty(), c.expected != 0);
        pop3.m_lTimeoutCommand = 5000;
        pop3.CloseSecure();
        expectUsable(pop3);
    }
}

TEST(Pop3, TheLogHidesThePassword) {
    const support::TemporaryFolder folder;
    const ScriptedServer server(served(pop3Part()));
    CZnPop3 pop3;
    aim(pop3, server);
    pop3.m_strAccount = "mrose";
    pop3.m_strPassword = "tanstaaf";
    pop3.SetLogFile(folder.file("log").c_str());
    ASSERT_EQ(pop3.Connect(), 0);
    CZnMail mail;
    ASSERT_EQ(pop3.Retrieve(1, true, mail), 0);
    pop3.SendCommand("pass again");
    pop3.Disconnect();
    const std::string log = support::TemporaryFolder::read(folder.file("log"));
    std::string texts;
    for (std::size_t at = 0; at < log.size(); at = log.find("\r\n", at) + 2) {
        texts += log.substr(at + 11, log.find("\r\n", at) - at - 11) + "\n";
    }
    EXPECT_EQ(texts, "Connect to: [localhost:" + std::to_string(server.port()) +
                         "]\nResponse: [+OK hello]\n"
                         "Command: [USER mrose]\nResponse: [+OK]\n"
                         "Command: [PASS xxxxx]\nResponse: [+OK]\n"
                         "Command: [CAPA]\nResponse: [+OK]\nResponse: [TOP]\nResponse: [USER]\n"
                         "Response: [.]\nCommand: [STAT]\nResponse: [+OK 2 600]\n"
                         "Command: [RETR 1]\nResponse: [+OK]\nResponse: [<Message data>] \n"
                         "Command: [PASS xxxxx]\nResponse: [+OK]\n"
                         "Command: [QUIT]\nResponse: [+OK bye]\nDisconnected\n");
}

TEST(Pop3, TlsFailuresHaveTheirNumbers) {
    const ScriptedServer plain(served(pop3Part()));
    CZnPop3 pop3;
    aim(pop3, plain);
    pop3.m_bSecure = true;
    EXPECT_EQ(pop3.Connect(), -2105);
    expectUsable(pop3);

    ServerPart silent = pop3Part();
    silent.faults["STAT"] = [](auto& c) { c.stall(); };
    const ScriptedServer server(servedOverTls(silent, support::TlsServerSetup(mailIdentity())));
    aim(pop3, server);
    pop3.m_bSecure = true;
    pop3.m_lTimeoutCommand = 500;
    EXPECT_EQ(pop3.Connect(), -2122) << "over TLS a time-out is a failed read";
    pop3.m_lTimeoutCommand = 5000;
    expectUsable(pop3);
}

}  // namespace
}  // namespace tessolt
