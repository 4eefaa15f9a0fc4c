#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail_servers.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::Delivery;

using Session = MailSession<CZnSmtp>;

TEST(SmtpSession, EveryLoginTakesItsPath) {
    struct Case {
        const char* name;
        std::string changes;
        std::int32_t expected;
        std::string lines;
        std::int32_t chosen = 0, chosenAfter = 1;
        const char* account = "tim";
    };
    // The prompts, "tim" and "tanstaaftanstaaf" in base64, and the challenge of RFC 2195.
    const std::string plain = "AUTH PLAIN AHRpbQB0YW5zdGFhZnRhbnN0YWFm";
    const std::string none = "EHLO:250-mail.test~250 ok|";
    const std::string login = "EHLO:250-x~250 AUTH LOGIN|";
    const std::string user = "AUTH:334 VXNlcm5hbWU6|";
    const std::string prompts = user + "DGLT:334 UGFzc3dvcmQ6|";
    const std::string loginLines = "EHLO|AUTH LOGIN|dGlt|dGFuc3RhYWZ0YW5zdGFhZg==";
    const std::string cram = "EHLO:250-x~250-auth login cram-md5~250 x|";
    const std::string challenge =
        "AUTH:334 PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+|";
    const std::string cramLines =
        "EHLO|AUTH CRAM-MD5|dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw";
    const Case cases[] = {
        {"no account", "", 0, "EHLO", 0, 1, ""},
        {"bare code", "EHLO:250", 0, "EHLO", 0, 0, ""},
        {"busy", ":421 busy", -2006, "", 0, 0},
        {"no code", ":hello~abc def", -2005, "", 0, 0},
        {"no code to EHLO", "EHLO:what~how now", -2004, "EHLO", 0, 0},
        {"old server", "EHLO:500 no|HELO:250 hi", 0, "EHLO|HELO|" + plain, 2, 1},
        {"no greeting", "EHLO:500 no|HELO:550 no", -2007, "EHLO|HELO", 0, 0},
        {"plain wins", "EHLO:250-x~250 AUTH LOGIN CRAM-MD5 PLAIN", 0, "EHLO|" + plain, 2, 1},
        {"nothing offered", none, 0, "EHLO|" + plain},
        {"plain unknown", "AUTH:504 no", -2011, "EHLO|" + plain},
        {"plain refused", "AUTH:535 no", -2012, "EHLO|" + plain},
        {"too long", "", -2, "EHLO", 0, 1, "long"},
        {"login", login + prompts + "DGFU:235 in", 0, loginLines, 1, 2},
        {"login by the caller", none + prompts + "DGFU:235 in", 0, loginLines, 2, 2},
        {"login by host", "EHLO:250 login.test|AUTH:504 no", -2011, "EHLO|AUTH LOGIN", 0, 2},
        {"first prompt", login + "AUTH:334 UGFzc3dvcmQ6", -2012, "EHLO|AUTH LOGIN", 0, 2},
        {"no text", login + "AUTH:334", -2012, "EHLO|AUTH LOGIN", 0, 2},
        {"second prompt", login + user + "DGLT:535 no", -2012, "EHLO|AUTH LOGIN|dGlt", 0, 2},
        {"login refused", login + prompts + "DGFU:504 no", -2012, loginLines, 0, 2},
        {"cram", cram + challenge + "DGLT:235 in", 0, cramLines, 0, 3},
        {"cram refused", cram + challenge + "DGLT:535 no", -2012, cramLines, 0, 3},
        {"cram unknown", cram + "AUTH:504 no", -2011, "EHLO|AUTH CRAM-MD5", 0, 3},
        {"cram, other code", cram + "AUTH:454 no", 454, "EHLO|AUTH CRAM-MD5", 0, 3},
        {"unknown mechanism", none, 0, "EHLO", 7, 7},
        {"TLS refused", "EHLO:250-x~250-StartTLS~250 ok|STAR:454 no", 0, "EHLO|STARTTLS|" + plain},
        {"TLS named last", "EHLO:250-x~250 STARTTLS", 0, "EHLO|" + plain},
        {"TLS named first", "EHLO:250-STARTTLS~250 x", 0, "EHLO|" + plain}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Session session(smtpPart(c.changes));
        CZnSmtp& smtp = session.engine;
        smtp.m_strAccount = c.account;
        smtp.m_strPassword = "tanstaaftanstaaf";
        if (c.expected == kSmtpCredentialsTooLong) {
            smtp.m_strPassword.Assign(std::string(2048 - 2 - 4 + 1, 'p'));
        }
        smtp.m_lAuthentication = c.chosen;
        EXPECT_EQ(smtp.Connect(), c.expected);
        EXPECT_EQ(smtp.IsConnected(), c.expected == 0);
        EXPECT_EQ(smtp.m_lAuthentication, c.chosenAfter);
        EXPECT_EQ(session.lines(), c.lines + (c.lines.empty() ? "QUIT" : "|QUIT"));
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
        const char* reply;
        std::int32_t result, code;
        const char* response;
    };
    const Case cases[] = {
        {"250-one~250 two", 0, 250, "250-one 250 two "},
        {"250", 0, 250, "250 "},
        {"12~250-x~~99999999999 x~354 end", 0, 354, "12 250-x  99999999999 x 354 end "},
        {"abc def", -2004, 0, "abc def "},
        {"    9", -2004, 0, "    9 "}};
    for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
        for (const Case& c : cases) {
            Session session(smtpPart(std::string("NOOP:") + c.reply), Tls::kNone, delivery);
            ASSERT_EQ(session.engine.Connect(), 0);
            EXPECT_EQ(session.engine.SendCommand("NOOP"), c.result);
            EXPECT_EQ(session.engine.m_lLastCode, c.code);
            EXPECT_EQ(session.engine.m_strLastResponse, c.response);
        }
    }
}

TEST(SmtpSession, ACommandIsOneLine) {
    Session session(smtpPart());
    ASSERT_EQ(session.engine.Connect(), 0);
    for (const char* address : {"a@b\r\nQUIT", "a@b\nQUIT", "a@b\r", "a@b> SIZE=1", "a b"}) {
        session.engine.m_bNeedsReset = false;
        EXPECT_EQ(session.engine.MailFrom(address), -2010);
        EXPECT_TRUE(session.engine.m_bNeedsReset);
    }
    EXPECT_EQ(session.engine.SendCommand(std::string_view("NOOP\0", 5)), -2010);
    EXPECT_EQ(session.lines(), "EHLO|QUIT");
}

TEST(SmtpSession, TheLogTellsTheConversation) {
    const support::TemporaryFolder folder;
    Session session(smtpPart());
    session.engine.m_strAccount = "tim";
    session.engine.m_strPassword = "secret";
    session.engine.SetLogFile(folder.file("log").c_str());
    ASSERT_EQ(session.engine.Connect(), 0);
    ASSERT_EQ(session.engine.Connect(), 0);
    ASSERT_EQ(session.engine.Data("Subject: x\r\n\r\nbody"), 0);
    session.engine.Disconnect();
    std::string log = entriesOf(support::TemporaryFolder::read(folder.file("log")));
    const std::size_t name = log.find("EHLO ") + 5;
    log.erase(name, log.find(']', name) - name);
    const std::string port = std::to_string(session.server.port());
    EXPECT_EQ(log, "Connect to: [localhost:" + port +
                       "]\nResponse: [220 hello ]\nCommand: [EHLO ]\n"
                       "Response: [250-mail.test 250-AUTH PLAIN 250 ok ]\n"
                       "Using 'AUTH-PLAIN' SMTP authentication.\n"
                       "Command: [AUTH PLAIN AHRpbQBzZWNyZXQ=]\nResponse: [235 in ]\n"
                       "Connect to: [localhost:" +
                       port +
                       "]\nAlready connected\nCommand: [DATA]\nResponse: [354 go ]\n"
                       "Command: [<Message data>]\nResponse: [250 taken ]\n"
                       "Command: [QUIT]\nResponse: [221 bye ]\nDisconnected\n");
}

TEST(SmtpSession, SwitchesToTlsWhereItIsOfferedAndWanted) {
    const std::string offer = "EHLO:250-x~250-STARTTLS~250 AUTH PLAIN;";
    Session session(smtpPart(offer + "250 AUTH LOGIN|STAR:220 go|AUTH:504 no"), Tls::kOnCommand);
    session.engine.m_strAccount = "tim";
    EXPECT_EQ(session.engine.Connect(), -2011);
    EXPECT_EQ(session.engine.m_lAuthentication, kSmtpAuthLogin) << "the second reply counts";
    EXPECT_TRUE(session.engine.m_bSecure) << "also for the next connection";
    EXPECT_TRUE(session.received().find("STARTTLS\r\n\x16") != std::string::npos);
    expectUsable(session.engine);

    Session unwanted((smtpPart(offer)));
    unwanted.engine.m_bUseStartTls = 0;
    EXPECT_EQ(unwanted.engine.Connect(), 0);
    EXPECT_EQ(unwanted.lines(), "EHLO|QUIT");
}

}  // namespace
}  // namespace tessolt
