#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail/smtp.h"
#include "mail_servers.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::Delivery;
using support::ScriptedServer;

void aim(CZnSmtp& smtp, const ScriptedServer& server) {
    smtp.m_strHost = "localhost";
    smtp.m_lHostPort = server.port();
}

/// Whether the object still does its work.
void expectUsable(CZnSmtp& smtp) {
    const ScriptedServer healthy(served(smtpPart()));
    aim(smtp, healthy);
    smtp.m_bSecure = false;
    smtp.m_strAccount = "";
    EXPECT_EQ(smtp.Connect(), 0);
    EXPECT_TRUE(smtp.IsConnected());
    smtp.Disconnect();
    EXPECT_FALSE(smtp.IsConnected());
}

struct LoginCase {
    const char* name;
    std::map<std::string, std::vector<std::string>> replies;  ///< Over those of a healthy server.
    std::int32_t expected;
    const char* lines;
    std::int32_t chosen = kSmtpAuthAuto;
    std::int32_t chosenAfter = -1;  ///< -1: not looked at.
    const char* account = "tim";
    const char* password = "tanstaaftanstaaf";
};

const char* const kPlain = "AUTH PLAIN AHRpbQB0YW5zdGFhZnRhbnN0YWFm";
const std::string kChallenge = "334 PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+\r\n";
const std::string kNoCapabilities = "250-mail.test\r\n250 ok\r\n";
const std::string kLogin = "250-mail.test\r\n250 AUTH LOGIN\r\n";
const std::string kCram = "250-mail.test\r\n250-auth login cram-md5\r\n250 x\r\n";
// The prompts "Username:" and "Password:", the account and the password of the cases.
const std::string kUserPrompt = "334 VXNlcm5hbWU6\r\n";
const std::string kPasswordPrompt = "334 UGFzc3dvcmQ6\r\n";

std::vector<LoginCase> loginCases() {
    const std::string plain = std::string("EHLO|") + kPlain + "|QUIT";
    static const std::string kPlainLines = plain;
    static const std::string kHeloLines = std::string("EHLO|HELO|") + kPlain + "|QUIT";
    static const std::string kLoginLines = "EHLO|AUTH LOGIN|dGlt|dGFuc3RhYWZ0YW5zdGFhZg==|QUIT";
    static const std::string kCramLines =
        "EHLO|AUTH CRAM-MD5|dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw|QUIT";
    static const std::string kTlsRefused = std::string("EHLO|STARTTLS|") + kPlain + "|QUIT";
    const char* const plainLines = kPlainLines.c_str();
    return {
        {"no account", {}, 0, "EHLO|QUIT", 0, 1, "", ""},
        {"bare code", {{"EHLO", {"250\r\n"}}}, 0, "EHLO|QUIT", 0, 0, "", ""},
        {"busy", {{"", {"421 busy\r\n"}}}, -2006, "QUIT"},
        {"no code", {{"", {"hello\r\nabc def\r\n"}}}, -2005, "QUIT"},
        {"no code to EHLO", {{"EHLO", {"what\r\nhow now\r\n"}}}, -2004, "EHLO|QUIT"},
        {"old server",
         {{"EHLO", {"500 no\r\n"}}, {"HELO", {"250 hi\r\n"}}},
         0,
         kHeloLines.c_str(),
         2,
         1},
        {"no greeting",
         {{"EHLO", {"500 no\r\n"}}, {"HELO", {"550 no\r\n"}}},
         -2007,
         "EHLO|HELO|QUIT"},
        {"plain", {}, 0, plainLines, 0, 1},
        {"plain wins",
         {{"EHLO", {"250-x\r\n250 AUTH LOGIN CRAM-MD5 PLAIN\r\n"}}},
         0,
         plainLines,
         2,
         1},
        {"nothing offered", {{"EHLO", {kNoCapabilities}}}, 0, plainLines, 0, 1},
        {"plain unknown", {{"AUTH", {"504 no\r\n"}}}, -2011, plainLines},
        {"plain refused", {{"AUTH", {"535 no\r\n"}}}, -2012, plainLines},
        {"credentials too long", {}, -2, "EHLO|QUIT", 0, 1, "u", ""},
        {"login",
         {{"EHLO", {kLogin}},
          {"AUTH", {kUserPrompt}},
          {"DGLT", {kPasswordPrompt}},
          {"DGFU", {"235 in\r\n"}}},
         0,
         kLoginLines.c_str(),
         1,
         2},
        {"login kept by the caller",
         {{"EHLO", {kNoCapabilities}},
          {"AUTH", {kUserPrompt}},
          {"DGLT", {kPasswordPrompt}},
          {"DGFU", {"235 in\r\n"}}},
         0,
         kLoginLines.c_str(),
         2,
         2},
        {"login by the name of the host",
         {{"EHLO", {"250 login.test\r\n"}}, {"AUTH", {"504 no\r\n"}}},
         -2011,
         "EHLO|AUTH LOGIN|QUIT",
         0,
         2},
        {"login, first prompt",
         {{"EHLO", {kLogin}}, {"AUTH", {kPasswordPrompt}}},
         -2012,
         "EHLO|AUTH LOGIN|QUIT"},
        {"login, no text",
         {{"EHLO", {kLogin}}, {"AUTH", {"334\r\n"}}},
         -2012,
         "EHLO|AUTH LOGIN|QUIT"},
        {"login, second prompt",
         {{"EHLO", {kLogin}}, {"AUTH", {kUserPrompt}}, {"DGLT", {"535 no\r\n"}}},
         -2012,
         "EHLO|AUTH LOGIN|dGlt|QUIT"},
        {"login, password",
         {{"EHLO", {kLogin}},
          {"AUTH", {kUserPrompt}},
          {"DGLT", {kPasswordPrompt}},
          {"DGFU", {"504 no\r\n"}}},
         -2012,
         kLoginLines.c_str()},
        {"cram",
         {{"EHLO", {kCram}}, {"AUTH", {kChallenge}}, {"DGLT", {"235 in\r\n"}}},
         0,
         kCramLines.c_str(),
         0,
         3},
        {"cram refused",
         {{"EHLO", {kCram}}, {"AUTH", {kChallenge}}, {"DGLT", {"535 no\r\n"}}},
         -2012,
         kCramLines.c_str()},
        {"cram unknown",
         {{"EHLO", {kCram}}, {"AUTH", {"504 no\r\n"}}},
         -2011,
         "EHLO|AUTH CRAM-MD5|QUIT"},
        {"cram, other code",
         {{"EHLO", {kCram}}, {"AUTH", {"454 later\r\n"}}},
         454,
         "EHLO|AUTH CRAM-MD5|QUIT"},
        {"unknown mechanism", {{"EHLO", {kNoCapabilities}}}, 0, "EHLO|QUIT", 7, 7},
        {"TLS refused",
         {{"EHLO", {"250-x\r\n250-StartTLS\r\n250 ok\r\n"}}, {"STAR", {"454 no\r\n"}}},
         0,
         kTlsRefused.c_str()},
        {"TLS named last", {{"EHLO", {"250-x\r\n250 STARTTLS\r\n"}}}, 0, plainLines},
        {"TLS named first", {{"EHLO", {"250-STARTTLS\r\n250 x\r\n"}}}, 0, plainLines},
    };
}

TEST(SmtpSession, EveryLoginTakesItsPath) {
    const std::string longPassword(2046, 'p');
    for (LoginCase c : loginCases()) {
        SCOPED_TRACE(c.name);
        ServerPart part = smtpPart();
        for (auto& [verb, replies] : c.replies) {
            part.replies[verb] = replies;
        }
        const ScriptedServer server(served(part));
        CZnSmtp smtp;
        aim(smtp, server);
        smtp.m_strAccount = c.account;
        smtp.m_strPassword =
            c.expected == kSmtpCredentialsTooLong ? longPassword.c_str() : c.password;
        smtp.m_lAuthentication = c.chosen;
        EXPECT_EQ(smtp.Connect(), c.expected);
        EXPECT_EQ(smtp.IsConnected(), c.expected == 0);
        if (c.chosenAfter >= 0) {
            EXPECT_EQ(smtp.m_lAuthentication, c.chosenAfter);
        }
        smtp.Disconnect();
        EXPECT_EQ(linesOf(server.receivedBy(1).at(0)), c.lines);
        expectUsable(smtp);
    }
}

TEST(SmtpSession, RefusesWhatCannotBeAHost) {
    CZnSmtp smtp;
    EXPECT_EQ(smtp.Connect(), -2001);
    smtp.m_strHost = "localhost";
    for (const std::int32_t port : {-1, 65536}) {
        smtp.m_lHostPort = port;
        EXPECT_EQ(smtp.Connect(), -2002);
    }
    smtp.m_lHostPort = support::unusedPort();
    EXPECT_EQ(smtp.Connect(), -2003);
    EXPECT_EQ(smtp.SendCommand("NOOP"), -2008);
    expectUsable(smtp);
}

TEST(SmtpSession, RepliesAreReadHoweverTheyArrive) {
    struct Case {
        std::string wire;
        std::int32_t result, code;
        std::string response;
    };
    const Case cases[] = {
        {"250-one\r\n250 two\r\n", 0, 250, "250-one 250 two "},
        {"250\r\n", 0, 250, "250 "},
        {"12\r\n250-x\r\n\r\n99999999999 x\r\n354 end\r\n", 0, 354,
         "12 250-x  99999999999 x 354 end "},
        {"2147483648\r\n999 x\r\n", 0, 999, "2147483648 999 x "},
        {"abc def\r\n", -2004, 0, "abc def "},
        {"    9\r\n", -2004, 0, "    9 "},
    };
    for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
        for (const Case& c : cases) {
            ServerPart part = smtpPart();
            part.replies["NOOP"] = {c.wire};
            const ScriptedServer server(served(part), delivery);
            CZnSmtp smtp;
            aim(smtp, server);
            ASSERT_EQ(smtp.Connect(), 0);
            EXPECT_EQ(smtp.SendCommand("NOOP"), c.result);
            EXPECT_EQ(smtp.m_lLastCode, c.code);
            EXPECT_EQ(smtp.m_strLastResponse.GetString(), c.response);
        }
    }
}

TEST(SmtpSession, ACommandIsOneLine) {
    const ScriptedServer server(served(smtpPart()));
    CZnSmtp smtp;
    aim(smtp, server);
    ASSERT_EQ(smtp.Connect(), 0);
    for (const char* address : {"a@b\r\nQUIT", "a@b\nQUIT", "a@b\r"}) {
        smtp.m_bNeedsReset = false;
        EXPECT_EQ(smtp.MailFrom(address), -2010);
        EXPECT_TRUE(smtp.m_bNeedsReset);
    }
    EXPECT_EQ(smtp.SendCommand(std::string_view("NOOP\0", 5)), -2010);
    smtp.Disconnect();
    EXPECT_EQ(linesOf(server.receivedBy(1).at(0)), "EHLO|QUIT");
}

TEST(SmtpSession, TheLogTellsTheConversation) {
    const support::TemporaryFolder folder;
    const ScriptedServer server(served(smtpPart()));
    CZnSmtp smtp;
    aim(smtp, server);
    smtp.m_strAccount = "tim";
    smtp.m_strPassword = "secret";
    smtp.SetLogFile(folder.file("log").c_str());
    ASSERT_EQ(smtp.Connect(), 0);
    ASSERT_EQ(smtp.Connect(), 0);
    ASSERT_EQ(smtp.Data("Subject: x\r\n\r\nbody"), 0);
    smtp.Disconnect();
    std::string log = support::TemporaryFolder::read(folder.file("log"));
    std::string texts;
    for (std::size_t at = 0; at < log.size(); at = log.find("\r\n", at) + 2) {
        const std::string text = log.substr(at + 11, log.find("\r\n", at) - at - 11);
        texts += (text.starts_with("Command: [EHLO ") ? "EHLO" : text) + "\n";
    }
    const std::string connect = "Connect to: [localhost:" + std::to_string(server.port()) + "]\n";
    EXPECT_EQ(texts, connect +
                         "Response: [220 hello ]\nEHLO\n"
                         "Response: [250-mail.test 250-AUTH PLAIN 250 ok ]\n"
                         "Using 'AUTH-PLAIN' SMTP authentication.\n"
                         "Command: [AUTH PLAIN AHRpbQBzZWNyZXQ=]\nResponse: [235 in ]\n" +
                         connect +
                         "Already connected\n"
                         "Command: [DATA]\nResponse: [354 go ]\n"
                         "Command: [<Message data>]\nResponse: [250 taken ]\n"
                         "Command: [QUIT]\nResponse: [221 bye ]\nDisconnected\n");
}

TEST(SmtpSession, SwitchesToTlsWhereItIsOffered) {
    ServerPart clear = smtpPart();
    clear.replies["EHLO"] = {"250-x\r\n250-STARTTLS\r\n250 AUTH PLAIN\r\n"};
    clear.replies["STAR"] = {"220 go\r\n"};
    ServerPart secured = smtpPart();
    secured.replies["EHLO"] = {"250-x\r\n250 AUTH LOGIN\r\n"};
    secured.replies["AUTH"] = {"504 no\r\n"};
    const support::TlsServerSetup setup(mailIdentity());
    {
        const ScriptedServer server(servedWithStartTls(clear, smtpPart(), setup));
        CZnSmtp smtp;
        aim(smtp, server);
        smtp.m_strAccount = "tim";
        EXPECT_EQ(smtp.Connect(), 0);
        EXPECT_EQ(smtp.Data(std::string(200000, 'x')), 0);
        EXPECT_TRUE(smtp.m_bSecure) << "and stays so for the next connection";
        smtp.Disconnect();
        EXPECT_TRUE(server.receivedBy(1).at(0).find("AUTH") == std::string::npos);
    }
    {
        const ScriptedServer server(servedWithStartTls(clear, secured, setup));
        CZnSmtp smtp;
        aim(smtp, server);
        smtp.m_strAccount = "tim";
        EXPECT_EQ(smtp.Connect(), -2011);
        EXPECT_EQ(smtp.m_lAuthentication, kSmtpAuthLogin) << "the second reply counts";
        expectUsable(smtp);
    }
    {
        const ScriptedServer server(served(clear));
        CZnSmtp smtp;
        aim(smtp, server);
        smtp.m_bUseStartTls = 0;
        EXPECT_EQ(smtp.Connect(), 0);
        EXPECT_FALSE(smtp.m_bSecure);
    }
    {
        const ScriptedServer server(servedOverTls(smtpPart(), setup));
        CZnSmtp smtp;
        aim(smtp, server);
        smtp.m_bSecure = true;
        EXPECT_EQ(smtp.Connect(), 0);
        EXPECT_EQ(smtp.SendCommand("RSET"), 0);
        smtp.Disconnect();
    }
}

TEST(SmtpSession, AFailedHandshakeEndsTheConnectionInSilence) {
    ServerPart offer = smtpPart();
    offer.replies["EHLO"] = {"250-x\r\n250-STARTTLS\r\n250 ok\r\n"};
    struct Case {
        const char* name;
        std::function<void(support::ScriptedConnection&)> afterStartTls;
        std::int32_t expected;
    };
    const Case cases[] = {
        {"reply lines injected",
         [](auto& c) { c.send("220 go\r\n250 forged\r\n250-x\r\n"), c.stall(); }, -1007},
        {"close", [](auto& c) { c.send("220 go\r\n"), c.readSome(); }, -1005},
        {"silence", [](auto& c) { c.send("220 go\r\n"), c.stall(); }, -1005},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ServerPart part = offer;
        part.faults["STAR"] = c.afterStartTls;
        const ScriptedServer server(served(part));
        CZnSmtp smtp;
        aim(smtp, server);
        smtp.m_lTimeoutConnect = 200;
        smtp.m_strAccount = "tim";
        EXPECT_EQ(smtp.Connect(), c.expected);
        EXPECT_FALSE(smtp.IsConnected());
        const std::string sent = server.receivedBy(1).at(0);
        EXPECT_EQ(sent.find("QUIT"), std::string::npos);
        EXPECT_EQ(sent.find("AUTH"), std::string::npos);
        expectUsable(smtp);
    }
    const ScriptedServer plain(served(smtpPart()));
    CZnSmtp smtp;
    aim(smtp, plain);
    smtp.m_bSecure = true;
    EXPECT_EQ(smtp.Connect(), -2015);
    expectUsable(smtp);
}

}  // namespace
}  // namespace tessolt
