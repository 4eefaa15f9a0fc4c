#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "mail/scramble.h"
#include "mail_servers.h"
#include "platform/c_random.h"
#include "platform/code_page.h"
#include "support/fake_clock.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::ScriptedServer;

void compose(CZnMail& mail) {
    mail.m_wstrFromAddress.Assign(u"from@x.test");
    mail.AddTo(u"one@x.test;two@x.test");
    mail.AddCc(u"three@x.test");
    mail.AddBcc(u"four@x.test");
    mail.m_wstrSubject.Assign(u"A subject");
    mail.m_wstrBodyPlainText.Assign(u"first\r\n.\r\n.last\r\n.");
}

/// A connection, with a message to send over it.
struct Session : MailSession<CZnSmtp> {
    explicit Session(const char* changes = "") : MailSession(smtpPart(changes)) {
        EXPECT_EQ(engine.Connect(), 0);
        compose(mail);
    }
    /// The lines of the connection, without greeting and message text.
    std::string commands() {
        std::string text = received();
        const std::string end = "\r\n.\r\n";
        for (std::size_t at = text.find("Reply-To:"); at != std::string::npos;
             at = text.find("Reply-To:")) {
            text.erase(at, text.find(end, at) + end.size() - at);
        }
        return linesOf(text);
    }

    CZnMail mail;
};

const std::string kFrom = "MAIL FROM: <from@x.test>|";
const std::string kOne = "RCPT TO: <one@x.test>|";
const std::string kRest = "RCPT TO: <two@x.test>|RCPT TO: <three@x.test>|RCPT TO: <four@x.test>|";
const std::string kAll = kFrom + kOne + kRest + "DATA|";

TEST(SmtpSend, ATransactionReachesEverybodyOrNobody) {
    struct Case {
        const char* changes;
        std::int32_t first, second;
        std::string lines;
    };
    const Case cases[] = {
        {"", 0, 0, kAll + kAll},
        {"RCPT:251 will forward|MAIL:399 x", 0, 0, kAll + kAll},
        {"MAIL:550 no;250 ok", 550, 0, kFrom + "RSET|" + kAll},
        {"MAIL:199 x;250 ok", 199, 0, kFrom + "RSET|" + kAll},
        {"MAIL:bad code;250 ok", -2004, 0, kFrom + "RSET|" + kAll},
        {"RCPT:250 ok;550 no;250 ok", 550, 0, kFrom + kOne + "RCPT TO: <two@x.test>|RSET|" + kAll},
        {"DATA:250 what;354 go", 250, 0, kAll + "RSET|" + kAll},
        {".:554 spam;250 ok", 554, 0, kAll + kAll},
        {".:251 ok", 251, 251, kAll + kAll},
        {"MAIL:450 no|RSET:500 no", 450, 500, kFrom + "RSET|"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.changes);
        Session session(c.changes);
        EXPECT_EQ(session.engine.Send(session.mail), c.first);
        EXPECT_EQ(session.engine.Send(session.mail), c.second);
        EXPECT_EQ(session.commands(), "EHLO|" + c.lines + "QUIT");
        EXPECT_EQ(session.engine.Send(session.mail), -2008);
    }
}

TEST(SmtpSend, NothingIsSentWhereAnAddressCouldBeMore) {
    Session session;
    session.engine.m_bNeedsReset = true;
    for (const char16_t* address : {u"x@y\r\nQUIT\r\nz", u"x@y> SIZE=1", u"<x@y", u"x y@z", u"x@y ",
                                    u"x\t@y", u"x@y\x7F", u"\x1Bx@y"}) {
        for (RecipientList* list : {&session.mail.m_lstCc, &session.mail.m_lstBcc}) {
            const RecipientList good = *list;
            list->add(u"", address);
            EXPECT_EQ(session.engine.Send(session.mail), -2010);
            *list = good;
        }
        const std::u16string sender(session.mail.m_wstrFromAddress.View());
        session.mail.m_wstrFromAddress.Assign(address);
        EXPECT_EQ(session.engine.Send(session.mail), -2010);
        session.mail.m_wstrFromAddress.Assign(sender);
    }
    EXPECT_EQ(session.engine.Send(session.mail), 0);
    EXPECT_EQ(session.commands(), "EHLO|RSET|" + kAll + "QUIT");
}

TEST(SmtpSend, AMessageThatCannotBeBuiltIsNotBegun) {
    struct Unbuildable : CZnMail {
        std::int32_t Encode() override { return throws ? throw std::bad_alloc() : -1; }
        bool throws = false;
    } mail;
    Session session;
    compose(mail);
    for (const bool throws : {false, true}) {
        mail.throws = throws;
        EXPECT_EQ(session.engine.Send(mail), -2010);
    }
    EXPECT_EQ(session.engine.Send(session.mail), 0);
    const std::string envelope = kFrom + kOne + kRest;
    EXPECT_EQ(session.commands(),
              "EHLO|" + envelope + "RSET|" + envelope + "RSET|" + kAll + "QUIT");
}

TEST(SmtpSend, LongAddressesAreCutInTheSenderOnly) {
    Session session;
    const std::u16string address(3000, u'a');
    session.mail.m_wstrFromAddress.Assign(address);
    session.mail.m_lstTo.clear();
    session.mail.m_lstTo.add(u"", address);
    session.mail.m_lstCc.clear();
    session.mail.m_lstBcc.clear();
    EXPECT_EQ(session.engine.Send(session.mail), 0);
    EXPECT_EQ(session.commands(), "EHLO|MAIL FROM: <" + std::string(2047 - 12, 'a') +
                                      "|RCPT TO: <" + std::string(3000, 'a') + ">|DATA|QUIT");
}

TEST(SmtpSend, TheMessageGoesOutAsItStandsButForLoneDots) {
    const std::string big(300000, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {".", ".."},
        {"a\r\n.\r\n.\r\n.b\r\n.", "a\r\n..\r\n..\r\n.b\r\n.."},
        {big + "\r\n", big + "\r\n"},
        {big + "\r\n.\r\n" + big + "\n.", big + "\r\n..\r\n" + big + "\n.."}};
    for (const auto& [text, wire] : cases) {
        Session session;
        EXPECT_EQ(session.engine.Data(text), 0);
        EXPECT_TRUE(session.received().ends_with("DATA\r\n" + wire + "\r\n.\r\nQUIT\r\n"));
    }
}

TEST(SmtpSend, UnderUtf8EachPartGoesOutInTheCharsetOfItsLabel) {
    const platform::ScopedAnsiCodePage page(platform::kUtf8Page);
    Session session;
    session.mail.LoadFromText(
        "To: one@x.test\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
        "Content-Type: text/plain; name=n; charset=iso-8859-1\r\n"
        "Content-Transfer-Encoding: 8bit\r\n\r\ncaf\xE9\r\n--b--");
    EXPECT_EQ(session.engine.Send(session.mail), 0);
    EXPECT_NE(session.received().find("\r\n\r\ncaf\xE9\r\n"), std::string::npos);
}

TEST(SmtpSend, AServerThatTakesNothingIsGivenUp) {
    std::string text;
    text.resize(30'000'000, 'x');
    // By the limit of the command, or when nothing moves for three seconds.
    for (const auto& [limit, least] : {std::pair(200U, 199), std::pair(600'000U, 2999)}) {
        const ScriptedServer server([](support::ScriptedConnection& c) {
            c.send("220 hi\r\n"), c.readLine(), c.send("250 ok\r\n");
            c.readLine(), c.send("354 go\r\n"), c.readNothing();
        });
        CZnSmtp smtp;
        smtp.m_strHost = "localhost";
        smtp.m_lHostPort = server.port();
        ASSERT_EQ(smtp.Connect(), 0);
        smtp.m_lTimeoutCommand = limit;
        smtp.m_lTimeoutQuit = 1;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(smtp.Data(text), -2010);
        const auto time = std::chrono::steady_clock::now() - start;
        EXPECT_GE(time, std::chrono::milliseconds(least));
        EXPECT_LT(time, std::chrono::milliseconds(300'000));
        smtp.CloseSecure();
    }
}

TEST(Scramble, WritesTheFormOfTheQueue) {
    // The key bytes 29 23 BE, each byte of the text and a zero with one of them added in turn, and
    // whole random numbers up to 28 digits.
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"a", "2923BE8A2367844AE13D6C2CD672AE"},
        {"secret", "2923BE9C88219B88322967844AE1"},
        {"a password of some length", "2923BE8A432E8A9631A092308D432D8F4331989023498F23978A329123"},
        {"\xFF\xE9", "2923BE280CBE67844AE13D6C2CD6"}};
    for (const auto& [clear, expected] : cases) {
        CZncString text(clear);
        Scramble(text);
        EXPECT_EQ(text, expected);
    }
}

class SmtpQueue : public testing::Test {
protected:
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }
    std::int32_t queue(const std::string& folder, const char* host = "mail.test") {
        return smtp_.Queue(mail_, folder.c_str(), host, 587, true, "tim", "secret");
    }

    support::TemporaryFolder folder_;
    CZnSmtp smtp_;
    CZnMail mail_;
};

TEST_F(SmtpQueue, WritesACompleteFile) {
    compose(mail_);
    ASSERT_EQ(queue(folder_.path()), 0);
    ASSERT_EQ(names().size(), 1u);
    const std::string name = names().front();
    EXPECT_EQ(name.size(), 24u);
    EXPECT_TRUE(name.ends_with(".znq"));
    struct stat info {};
    ASSERT_EQ(stat(folder_.file(name).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07u, 0u) << "nobody else may read it";
    const std::string text = support::TemporaryFolder::read(folder_.file(name));
    CZncString source;
    EXPECT_EQ(text, mail_.GetSource(source).GetString());
    const std::string prefix = "X-ZnQueueService-RemoveBeforeSending-";
    for (const char* header : {"Host: mail.test", "Port: 587", "Secure: True", "Account: tim",
                               "Password: 2923BE9C8821"}) {
        EXPECT_NE(text.find("\r\n" + prefix + header), std::string::npos) << header;
    }
    EXPECT_NE(text.find("\r\nTo: "), std::string::npos);
}

TEST_F(SmtpQueue, ASecondTimeReplacesTheHeadersAndMakesAnotherFile) {
    ASSERT_EQ(queue(folder_.path(), "first.test"), 0);
    const std::string first = names().front();
    ASSERT_EQ(
        smtp_.Queue(mail_, folder_.path().c_str(), "second.test", -5, false, nullptr, nullptr), 0);
    ASSERT_EQ(names().size(), 2u);
    for (const std::string& name : names()) {
        const std::string text = support::TemporaryFolder::read(folder_.file(name));
        EXPECT_EQ(text.find(name == first ? "second.test" : "first.test"), std::string::npos);
        EXPECT_EQ(text.find("-Port: -5") != std::string::npos, name != first);
        EXPECT_EQ(text.find("-Secure: False") != std::string::npos, name != first);
    }
}

TEST_F(SmtpQueue, ProcessesShareAFolder) {
    constexpr int kProcesses = 4;
    constexpr int kMessages = 25;
    compose(mail_);
    for (int i = 0; i < kProcesses; ++i) {
        if (fork() == 0) {
            int failed = 0;
            for (int k = 0; k < kMessages; ++k) {
                failed += queue(folder_.path()) == 0 ? 0 : 1;
            }
            _exit(failed);
        }
    }
    int status = 0;
    while (wait(&status) > 0) {
        EXPECT_EQ(status, 0);
    }
    const std::vector<std::string> found = names();
    EXPECT_EQ(found.size(), std::size_t{kProcesses * kMessages});
    for (const std::string& name : found) {
        EXPECT_TRUE(name.ends_with(".znq"));
        const std::string text = support::TemporaryFolder::read(folder_.file(name));
        EXPECT_TRUE(text.starts_with("Reply-To:") && text.ends_with("\r\n.last\r\n."));
    }
}

TEST_F(SmtpQueue, AValueCannotAddAHeader) {
    ASSERT_EQ(queue(folder_.path(), "h\r\nBcc: evil@x.test"), 0);
    const std::string text = support::TemporaryFolder::read(folder_.file(names().front()));
    EXPECT_EQ(text.find("\nBcc:"), std::string::npos);
}

TEST_F(SmtpQueue, WhatStandsInTheWayIsLeftAlone) {
    EXPECT_EQ(queue(folder_.file("missing")), -2016);
    // With the time standing still and the random numbers begun anew, names come again.
    const support::FakeClock clock;
    const auto again = [&] { return queue(folder_.path()); };
    ASSERT_EQ(again(), 0);
    const std::string name = names().front();
    std::filesystem::remove(folder_.file(name));
    folder_.write("target", "precious");
    std::filesystem::create_symlink(folder_.file("target"), folder_.file(name + "_"));
    EXPECT_EQ(again(), 0) << "a link in the place of the file being written";
    std::filesystem::remove(folder_.file(name + "_"));
    // A dangling link doesn't count as a file of that name, but must not be replaced.
    std::filesystem::create_symlink(folder_.file("nowhere"), folder_.file(name));
    EXPECT_EQ(again(), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.file(name)));
    EXPECT_EQ(support::TemporaryFolder::read(folder_.file("target")), "precious");
    EXPECT_EQ(names().size(), 4u) << "two messages, and nothing half done";
}

TEST_F(SmtpQueue, SettingsThatCannotBeUsedQueueNothing) {
    const support::ScopedEnv settings("TESSOLT_SETTINGS", folder_.file("none").c_str());
    const support::TemporaryFolder logs;
    smtp_.SetLogFile(logs.file("log").c_str());
    EXPECT_EQ(queue(folder_.path()), -2016);
    EXPECT_TRUE(names().empty());
    EXPECT_EQ(
        entriesOf(support::TemporaryFolder::read(logs.file("log"))),
        "The settings can't be used: " + folder_.file("none") + ": No such file or directory\n");
}

}  // namespace
}  // namespace tessolt
