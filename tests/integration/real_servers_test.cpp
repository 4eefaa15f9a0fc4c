#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <string>

#include "automation/object_calls.h"
#include "integration/mail_servers.h"
#include "support/scoped_env.h"
#include "support/scoped_settings.h"
#include "support/temporary_folder.h"

namespace tessolt::test {
namespace {

using support::ScopedEnv;
using support::TemporaryFolder;

constexpr const char* kSubject = "Grüße, Привет, 你好";
constexpr const char* kPlainBody = "Smörgåsbord\r\n.\r\n..\r\n.x\r\nПока\r\n";
constexpr const char* kHtmlBody = "<p>Smörgåsbord</p>";
/// A message of 25 MB takes longer than the five seconds that a command has otherwise.
constexpr LONG kAmpleTime = 120000;

const MailServers& servers() {
    return MailServers::shared();
}

/// How a connection is protected.
enum class Channel { kPlain, kStartTls, kTls };

struct Route {
    const char* name;
    Channel smtp;
    bool pop3_tls;
    LONG pop3_authentication;
    /// By current rules the certificate is checked, and both sides log in by SCRAM, in the clear
    /// because the servers are on a loopback address.
    bool current = false;
};

constexpr Route kPlainApop{"PlainAndApop", Channel::kPlain, false, POP3_AUTH_APOP};
constexpr Route kRoutes[] = {
    kPlainApop,
    {"PlainAndUser", Channel::kPlain, false, POP3_AUTH_PLAIN},
    {"StartTlsAndPop3s", Channel::kStartTls, true, POP3_AUTH_AUTO},
    {"SmtpsAndPop3s", Channel::kTls, true, POP3_AUTH_PLAIN},
    {"CurrentPlainAndStls", Channel::kPlain, false, POP3_AUTH_AUTO, true},
    {"CurrentStartTlsAndStls", Channel::kStartTls, false, POP3_AUTH_AUTO, true},
    {"CurrentSmtpsAndPop3s", Channel::kTls, true, POP3_AUTH_AUTO, true},
};

std::string randomBytes(std::size_t count) {
    std::mt19937 generator(static_cast<unsigned>(count));
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

class RealServersTest : public testing::Test {
protected:
    void SetUp() override {
        if (!servers().problem().empty()) {
            std::cout << "SKIPPED: real mail servers: " << servers().problem() << '\n';
            GTEST_SKIP() << servers().problem();
        }
        servers().emptyMailbox();
        useRules(false);
    }

    /// Sets the rules for the objects that are made from now on.
    void useRules(bool current) {
        folder_.write("settings",
                      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage]\n"
                      "\"ACP\"=\"65001\"\n"
                      "[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n"
                      "\"TrustFile\"=\"" +
                          servers().certificate() + "\"\n\"Rules\"=\"" +
                          (current ? "current" : "classic") + "\"\n");
    }

    /// The logins that the log tells of.
    std::string strongLogins() const {
        std::string found;
        const std::string log = TemporaryFolder::read(folder_.file("log"));
        const std::string mark = "Logged in by ";
        for (std::size_t at = 0; (at = log.find(mark, at)) != std::string::npos; ++at) {
            found += log.substr(at + mark.size(), log.find('\r', at) - at - mark.size()) + " ";
        }
        return found;
    }

    ComPtr<ISmtp> connectSmtp(Channel channel, const char* password = MailServers::kPassword) {
        auto smtp = CreateObject<ISmtp>("Tessolt.Smtp");
        smtp->put_TimeoutCommand(kAmpleTime);
        smtp->put_LogFile(Text(folder_.file("log")));
        smtp->put_HostPort(channel == Channel::kPlain ? servers().smtpPort
                                                      : servers().startTlsPort);
        if (channel == Channel::kTls) {
            smtp->SetSecure(servers().smtpsPort);
        }
        smtp->Connect(Text("127.0.0.1"), Text(MailServers::kUser), Text(password));
        return smtp;
    }

    ComPtr<IPop3> connectPop3(const Route& route, const char* password = MailServers::kPassword) {
        auto pop3 = CreateObject<IPop3>("Tessolt.Pop3");
        pop3->put_HostPort(servers().pop3Port);
        pop3->put_LogFile(Text(folder_.file("log")));
        pop3->put_Authentication(route.pop3_authentication);
        if (route.pop3_tls) {
            pop3->SetSecure(servers().pop3sPort);
        }
        pop3->Connect(Text("127.0.0.1"), Text(MailServers::kUser), Text(password));
        return pop3;
    }

    ComPtr<IEMailMessage> compose(const std::string& attachment) {
        const std::string path = folder_.write("data.bin", attachment);
        auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
        message->put_FromAddress(Text("ann@example.org"));
        message->put_Subject(Text(kSubject));
        message->put_BodyPlainText(Text(kPlainBody));
        message->put_BodyHtml(Text(kHtmlBody));
        message->AddTo(Text(MailServers::kAddress), Text());
        message->AddAttachment(Text(path));
        EXPECT_EQ(lastError(message), 0);
        return message;
    }

    /// Sends the message, fetches the one that arrived and compares them.
    void roundTrip(const Route& route, const std::string& attachment) {
        auto smtp = connectSmtp(route.smtp);
        ASSERT_EQ(lastError(smtp), 0) << text(*smtp, &ISmtp::get_LastSmtpResponse);
        smtp->Send(Value(compose(attachment)));
        ASSERT_EQ(lastError(smtp), 0) << text(*smtp, &ISmtp::get_LastSmtpResponse);
        smtp->Disconnect();
        ASSERT_TRUE(servers().waitForMessages(1));

        auto pop3 = connectPop3(route);
        ASSERT_EQ(lastError(pop3), 0) << text(*pop3, &IPop3::get_LastPop3Response);
        Value header, value;
        pop3->GetEmailHeader(1, header.put());
        pop3->GetEmailMessage(1, value.put());
        ASSERT_EQ(lastError(pop3), 0) << text(*pop3, &IPop3::get_LastPop3Response);
        pop3->DeleteMessage(1);
        pop3->Disconnect();
        const auto top = header.object<IEMailMessage>();
        EXPECT_EQ(text(*top, &IEMailMessage::get_Subject), kSubject);
        EXPECT_LT(number(*top, &IEMailMessage::get_Size), 10'000);
        auto got = value.object<IEMailMessage>();
        EXPECT_EQ(text(*got, &IEMailMessage::get_Subject), kSubject);
        EXPECT_EQ(text(*got, &IEMailMessage::get_BodyPlainText), kPlainBody);
        EXPECT_EQ(text(*got, &IEMailMessage::get_BodyHtml), kHtmlBody);
        const std::string saved = folder_.file("saved.bin");
        got->SaveAttachment(1, Text(saved));
        EXPECT_EQ(lastError(got), 0);
        EXPECT_TRUE(TemporaryFolder::read(saved) == attachment)
            << "attachment of " << attachment.size();
    }

private:
    TemporaryFolder folder_;
    ScopedEnv settings_{"TESSOLT_SETTINGS", folder_.file("settings").c_str()};
};

class RouteTest : public RealServersTest, public testing::WithParamInterface<Route> {};

TEST_P(RouteTest, AttachmentsOfAnySizeSurviveTheTrip) {
    useRules(GetParam().current);
    std::string expected;
    for (const std::size_t size : {1, 16383, 16384, 16385, 25'000'000}) {
        roundTrip(GetParam(), randomBytes(size));
        servers().emptyMailbox();
        expected += GetParam().current ? "SCRAM-SHA-256 SCRAM-SHA-256 " : "";
    }
    EXPECT_EQ(strongLogins(), expected);
}

TEST_P(RouteTest, WrongPasswordIsTold) {
    useRules(GetParam().current);
    auto smtp = connectSmtp(GetParam().smtp, "wrong");
    EXPECT_EQ(lastError(smtp), 37411);
    auto pop3 = connectPop3(GetParam(), "wrong");
    // Dovecot's words for it name neither a mailbox nor a login that failed.
    EXPECT_EQ(lastError(pop3), 37511);
}

INSTANTIATE_TEST_SUITE_P(Routes, RouteTest, testing::ValuesIn(kRoutes),
                         [](const auto& route) { return route.param.name; });

TEST_F(RealServersTest, NoTextEndsItsMessageEarly) {
    const std::string forged =
        "RSET\r\nMAIL FROM:<x@y.test>\r\nRCPT TO:<user@box.test>\r\nDATA\r\nSubject: forged\r\n"
        "\r\nlast words";
    const std::string breaks[] = {"\r\n", "\n", "\r", "\r\r\n", "\r\r\r\n", "\n\r"};
    std::size_t sent = 0;
    // One service takes bare line feeds as line ends, the other in its own way.
    for (const Channel channel : {Channel::kPlain, Channel::kStartTls}) {
        auto smtp = connectSmtp(channel);
        for (const std::string& before : breaks) {
            for (const std::string& behind : breaks) {
                auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
                message->put_FromAddress(Text("ann@example.org"));
                message->AddTo(Text(MailServers::kAddress), Text());
                message->put_BodyPlainText(Text("a" + before + "." + behind + forged));
                smtp->Send(Value(message));
                ASSERT_EQ(lastError(smtp), 0) << text(*smtp, &ISmtp::get_LastSmtpResponse);
                ++sent;
            }
        }
    }
    ASSERT_TRUE(servers().waitForMessages(sent));
    auto pop3 = connectPop3(kPlainApop);
    LONG count = 0;
    pop3->CountMessages(&count);
    EXPECT_EQ(static_cast<std::size_t>(count), sent);
    for (LONG number = 1; number <= count; ++number) {
        Value value;
        pop3->GetEmailMessage(number, value.put());
        const std::string body =
            text(*value.object<IEMailMessage>(), &IEMailMessage::get_BodyPlainText);
        EXPECT_NE(body.find("Subject: forged"), std::string::npos) << body;
        EXPECT_NE(body.find("last words"), std::string::npos) << body;
    }
}

namespace fs = std::filesystem;
constexpr const char* kProgram = TESSOLT_QUEUE_PROGRAM;
/// The long form, with TESSOLT_LONG_TESTS in the environment, also holds the two to their ratio.
const bool kIsLong = std::getenv("TESSOLT_LONG_TESTS") != nullptr;
const int kMessages = kIsLong ? 1000 : 50;
constexpr std::size_t kBigBytes = 25'000'000;

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

ComPtr<IEMailMessage> compose(int number, std::size_t size) {
    std::string body = "number " + std::to_string(number) + "\r\n.\r\n..x\r\n";
    while (body.size() < size) {
        body += ".a line that begins with a dot, as some do in this text of many lines\r\n";
    }
    auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
    message->put_FromAddress(Text("ann@example.org"));
    message->put_Subject(Text("number " + std::to_string(number)));
    message->put_BodyPlainText(Text(body));
    message->AddTo(Text(MailServers::kAddress), Text());
    return message;
}

std::string subjectOf(const std::string& text) {
    const std::size_t at = text.find("\nSubject: ");
    return text.substr(at, text.find_first_of("\r\n", at + 1) - at);
}

/// The text without CRs, without what a server puts on top up to `Message-ID`, which the runner
/// adds in front, and without the queue's fields.
std::string comparable(const std::string& text) {
    std::string kept;
    const std::size_t id = text.find("\nMessage-ID: ");
    for (std::size_t at = id == std::string::npos ? 0 : text.find('\n', id + 1) + 1;
         at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        std::string line = text.substr(at, end - at);
        std::erase(line, '\r');
        kept += line.starts_with("X-ZnQueueService-") ? "" : line;
        at = end;
    }
    return kept;
}

std::map<std::string, std::string> readAll(const fs::path& folder) {
    std::map<std::string, std::string> texts;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string text = TemporaryFolder::read(entry.path());
        texts[subjectOf(text)] = comparable(text);
    }
    return texts;
}

TEST(QueueRunnerTest, EveryByteReachesPostfixAsFastAsBySend) {
    const MailServers& servers = MailServers::shared();
    if (!servers.problem().empty()) {
        GTEST_SKIP() << servers.problem();
    }
    const TemporaryFolder folder;
    // The code page of the process is told once: as the other tests have it.
    const support::ScopedSettings settings(
        "\"Queue\"=\"" + folder.path() +
        "\"\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage]\n"
        "\"ACP\"=\"65001\"\n");
    auto smtp = CreateObject<ISmtp>("Tessolt.Smtp");
    smtp->put_HostPort(servers.smtpPort);
    smtp->Connect(Text("127.0.0.1"), Text(MailServers::kUser), Text(MailServers::kPassword));
    const double loop = secondsOf([&] {
        for (int i = 0; i < kMessages; ++i) {
            smtp->Send(Value(compose(i, 2000)));
        }
    });
    EXPECT_EQ(lastError(smtp), 0);
    smtp->Disconnect();
    ASSERT_TRUE(servers.waitForMessages(kMessages, 120000));
    servers.emptyMailbox();

    const auto queue = [&](int number, std::size_t size) {
        smtp->Queue(Value(compose(number, size)), Text("127.0.0.1"), servers.smtpPort, 0,
                    Text(MailServers::kUser), Text(MailServers::kPassword));
    };
    for (int i = 0; i < kMessages; ++i) {
        queue(i, 2000);
    }
    std::map<std::string, std::string> sent = readAll(folder.path());
    const std::string command = std::string(kProgram) + " run --once 2>/dev/null";
    int status = -1;
    const double run = secondsOf([&] { status = std::system(command.c_str()); });
    EXPECT_EQ(status, 0);
    queue(kMessages, kBigBytes);
    sent.merge(readAll(folder.path()));
    // The last one takes the way over a server that wants no login.
    const std::string relay = std::string(kProgram) +
                              " run --once --relay 127.0.0.1:" + std::to_string(servers.relayPort) +
                              " 2>/dev/null";
    EXPECT_EQ(std::system(relay.c_str()), 0);
    ASSERT_TRUE(servers.waitForMessages(kMessages + 1, 120000));
    EXPECT_EQ(sent.size(), kMessages + 1U);
    EXPECT_TRUE(readAll(servers.mailbox() / "new") == sent);
    EXPECT_TRUE(fs::is_empty(folder.path()));
    servers.emptyMailbox();
    std::cout << kMessages << " messages to Postfix: " << kMessages / run
              << " a second from the queue, " << kMessages / loop << " by Send, ratio "
              << loop / run << '\n';
    EXPECT_TRUE(!kIsLong || loop / run >= 0.8);
}

}  // namespace
}  // namespace tessolt::test
