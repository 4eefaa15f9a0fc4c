#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail_servers.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::Delivery;

using Session = MailSession<CZnPop3>;

TEST(Pop3, EveryLoginTakesItsPath) {
    struct Case {
        const char* name;
        std::string changes;
        std::int32_t expected;
        std::string lines;  ///< Those of a second connection behind a "#".
        std::int32_t chosen = kPop3AuthAuto;
        const char* account = "mrose";
        std::int32_t count = 2;
    };
    const std::string stamp = ":+OK POP3 <1896.697170952@dbc.mtview.ca.us> ready|";
    const std::string apop = "APOP mrose c4c9334bac560ecc979e58001b3e22fb";
    const std::string user = "USER mrose|PASS tanstaaf";
    const std::string counted = "|CAPA|STAT|QUIT";
    const Case cases[] = {
        {"password", "", 0, user + counted},
        {"password though APOP is wanted", "", 0, user + counted, kPop3AuthApop},
        {"blank lines in front", ":~~+OK|USER:~+ok", 0, user + counted},
        {"no welcome", ":-ERR go away", -2107, "QUIT"},
        {"user refused", "USER:-ERR who", -2111, "USER mrose|QUIT"},
        {"access denied", "PASS:-ERR Access DENIED", -2109, user + "|QUIT"},
        {"invalid password", "PASS:-ERR [AUTH] Invalid password", -2109, user + "|QUIT"},
        {"login failed", "PASS:-err maildrop login failed", -2109, user + "|QUIT"},
        {"locked", "PASS:-ERR Mailbox locked", -2108, user + "|QUIT"},
        {"in use", "PASS:-ERR maildrop in use", -2108, user + "|QUIT"},
        {"unknown refusal", "PASS:-ERR no such thing", -2112, user + "|QUIT"},
        {"odd reply passes", "PASS:hm", 0, user + counted},
        {"APOP", stamp, 0, apop + counted},
        {"APOP chosen", stamp, 0, apop + counted, kPop3AuthApop},
        {"APOP not wanted", stamp, 0, user + counted, kPop3AuthPlain},
        {"no whole stamp", ":+OK <a@b>", 0, user + counted},
        {"APOP locked", stamp + "APOP:-ERR locked", -2108, apop + "|QUIT"},
        {"APOP login failed", stamp + "APOP:-ERR login failed", -2109, apop + "|QUIT"},
        {"APOP falls back", stamp + "APOP:-ERR bad digest", 0, apop + "|QUIT#" + user + counted,
         kPop3AuthApop},
        {"account with a line break", "", -10, "QUIT", kPop3AuthAuto, "u\r\nDELE 1"},
        {"the same with APOP", stamp, -10, "QUIT", kPop3AuthAuto, "u\nDELE 1"},
        {"no capabilities", "CAPA:-ERR|STAT:+OK messages: 12 of 4096", 0, user + counted, 0,
         "mrose", 12},
        {"count clamped", "STAT:+OK 99999999999 1", 0, user + counted, 0, "mrose", 2147483647},
        {"no count", "STAT:-ERR", -2113, user + counted}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Session session(pop3Part(c.changes));
        CZnPop3& pop3 = session.engine;
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
        const auto received = session.server.receivedBy(twice ? 2 : 1);
        EXPECT_EQ(linesOf(received.at(0)) + (twice ? "#" + linesOf(received.at(1)) : ""), c.lines);
        expectUsable(pop3);
    }
}

TEST(Pop3, AnUnansweredApopIsNoFailureWhereTheMessagesCanBeCounted) {
    Session session(pop3Part(":+OK <1.2@x>|APOP:;"));
    session.engine.m_lTimeoutCommand = 300;
    EXPECT_EQ(session.engine.Connect(), 0);
    EXPECT_EQ(session.engine.m_lMessageCount, 2);
}

TEST(Pop3, RefusesWhatCannotBeAHost) {
    CZnPop3 pop3;
    CZnMail mail;
    EXPECT_EQ(pop3.Connect(), -2102);
    pop3.m_strServer = "localhost";
    pop3.m_lHostPort = 65536;
    EXPECT_EQ(pop3.Connect(), -2103);
    pop3.m_lHostPort = support::unusedPort();
    EXPECT_EQ(pop3.Connect(), -2104);
    EXPECT_EQ(pop3.SendCommand("NOOP"), -2110);
    EXPECT_EQ(pop3.DeleteMessage(1), -2110);
    EXPECT_EQ(pop3.Retrieve(1, true, mail), -2110);
    expectUsable(pop3);
}

TEST(Pop3, ConnectingTwiceEndsTheConnection) {
    Session session(pop3Part());
    ASSERT_EQ(session.engine.Connect(), 0);
    EXPECT_EQ(session.engine.Connect(), -2101);
    EXPECT_FALSE(session.engine.IsConnected());
    EXPECT_TRUE(session.lines().ends_with("|QUIT"));
}

TEST(Pop3, CapabilitiesAreWholeLines) {
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"CAPA:+OK~TOP~SASL~STLS~USER~UIDL~RESP~.", 63},
        {"CAPA:+OK~top~SASL PLAIN~~RESP-CODES~UIDL~.", 16},
        {"CAPA:+OK~.", 0},
        {"CAPA:-ERR", 0}};
    for (const auto& [changes, bits] : cases) {
        Session session(pop3Part(changes));
        ASSERT_EQ(session.engine.Connect(), 0);
        EXPECT_EQ(session.engine.m_uCapabilities, bits);
    }
}

TEST(Pop3, FetchesAndDeletesByNumber) {
    struct Case {
        std::int32_t id;
        bool full;
        const char* changes;
        std::int32_t expected;
        std::string line;
    };
    const Case cases[] = {
        {1, true, "", 0, "RETR 1|"},           {2, false, "", 0, "TOP 2 1|"},
        {2, false, "CAPA:-ERR", 0, "RETR 2|"}, {0, true, "", 0, "RETR 0|"},
        {-7, true, "", 0, "RETR -7|"},         {3, true, "", -2117, ""},
        {1, true, "STAT:+OK 0 0", -2116, ""},  {1, true, "RETR:-ERR gone", -2118, "RETR 1|"}};
    for (const Case& c : cases) {
        Session session(pop3Part(c.changes));
        ASSERT_EQ(session.engine.Connect(), 0);
        CZnMail mail;
        EXPECT_EQ(session.engine.Retrieve(c.id, c.full, mail), c.expected);
        EXPECT_EQ(mail.m_uID, c.expected == 0 ? static_cast<std::uint32_t>(c.id) : 0u);
        EXPECT_EQ(mail.m_wstrSubject.IsEmpty(), c.expected != 0);
        EXPECT_EQ(session.lines(), "USER |PASS |CAPA|STAT|" + c.line + "QUIT");
    }
    Session session(pop3Part("DELE:+OK;-err no;hm"));
    ASSERT_EQ(session.engine.Connect(), 0);
    EXPECT_EQ(session.engine.DeleteMessage(1), 0);
    EXPECT_EQ(session.engine.DeleteMessage(99), -2115);
    EXPECT_EQ(session.engine.DeleteMessage(-1), 0);
    session.engine.m_lMessageCount = 0;
    EXPECT_EQ(session.engine.DeleteMessage(1), -2114);
    EXPECT_TRUE(session.lines().ends_with("DELE 1|DELE 99|DELE -1|QUIT"));
}

TEST(Pop3, BodiesComeWholeHoweverTheyArrive) {
    const std::string head = "Subject: s\r\n\r\n";
    const std::string big(300000, 'x');
    const std::pair<std::string, std::u16string> cases[] = {
        {head + "one\r\n..\r\n..two\r\n.\r\n", u"one\r\n.\r\n.two\r\n\r\n"},
        {head + "a\n.\nb\r\n.\r\n", u"a\n.\nb\r\n\r\n"},
        {head + "cut" + std::string(1, '\0') + "here\r\n.\r\n", u"cut"},
        {".x: y\r\n" + head + "dotted head\r\n.\r\n", u"dotted head\r\n\r\n"},
        {head + big + "\r\n.\r\n", std::u16string(big.begin(), big.end()) + u"\r\n\r\n"},
        {".\r\n", u""}};
    for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
        for (const Tls tls : {Tls::kNone, Tls::kFromStart}) {
            for (const auto& [wire, body] : cases) {
                if (delivery == Delivery::kBytes && wire.size() > 1000) {
                    continue;
                }
                ServerPart part = pop3Part();
                part.replies["RETR"] = {"+OK\r\n" + wire};
                Session session(part, tls, delivery);
                ASSERT_EQ(session.engine.Connect(), 0);
                CZnMail mail;
                EXPECT_EQ(session.engine.Retrieve(1, true, mail), 0);
                EXPECT_TRUE(mail.m_wstrBodyPlainText.View() == body) << wire.substr(0, 60);
                EXPECT_EQ(session.engine.DeleteMessage(1), 0) << "nothing of the body is left over";
                EXPECT_EQ(session.engine.m_strLastResponse, "+OK");
            }
        }
    }
}

TEST(Pop3, ABodyMayBeSlowAsLongAsItMoves) {
    using namespace std::chrono_literals;
    const std::pair<std::function<void(support::ServerStream&)>, std::int32_t> cases[] = {
        {[](auto& c) {
             c.send("+OK\r\nSubject: x\r\n\r\n");
             for (int i = 0; i < 8; ++i) {
                 c.delay(50ms), c.send("y");
             }
             c.send("\r\n.\r\n"), c.stall();
         },
         0},
        {[](auto& c) { c.send("+OK\r\nSubject: x\r\n\r\n.\r\n"), c.drop(); }, 0},
        {[](auto& c) { c.send("+OK\r\nx.\r\n"), c.stall(); }, -2120}};
    for (const auto& [reply, expected] : cases) {
        ServerPart part = pop3Part();
        part.faults["RETR"] = reply;
        Session session(part);
        CZnPop3& pop3 = session.engine;
        ASSERT_EQ(pop3.Connect(), 0);
        pop3.m_lTimeoutData = 200;
        pop3.m_lTimeoutCommand = 50;
        CZnMail mail;
        EXPECT_EQ(pop3.Retrieve(1, true, mail), expected);
        EXPECT_EQ(mail.m_wstrSubject.IsEmpty(), expected != 0);
    }
}

TEST(Pop3, TheLogHidesThePassword) {
    const support::TemporaryFolder folder;
    Session session(pop3Part());
    CZnPop3& pop3 = session.engine;
    pop3.m_strAccount = "mrose";
    pop3.m_strPassword = "tanstaaf";
    pop3.SetLogFile(folder.file("log").c_str());
    ASSERT_EQ(pop3.Connect(), 0);
    CZnMail mail;
    ASSERT_EQ(pop3.Retrieve(1, true, mail), 0);
    pop3.SendCommand("pass again");
    pop3.Disconnect();
    EXPECT_EQ(entriesOf(support::TemporaryFolder::read(folder.file("log"))),
              "Connect to: [localhost:" + std::to_string(session.server.port()) +
                  "]\nResponse: [+OK hello]\nCommand: [USER mrose]\nResponse: [+OK]\n"
                  "Command: [PASS xxxxx]\nResponse: [+OK]\n"
                  "Command: [CAPA]\nResponse: [+OK]\nResponse: [TOP]\nResponse: [USER]\n"
                  "Response: [.]\nCommand: [STAT]\nResponse: [+OK 2 600]\n"
                  "Command: [RETR 1]\nResponse: [+OK]\nResponse: [<Message data>] \n"
                  "Command: [PASS xxxxx]\nResponse: [+OK]\n"
                  "Command: [QUIT]\nResponse: [+OK bye]\nDisconnected\n");
}

}  // namespace
}  // namespace tessolt
