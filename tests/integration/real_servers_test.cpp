#include <gtest/gtest.h>
#include <tessolt/tessolt.h>

#include <iostream>
#include <random>
#include <string>

#include "integration/mail_servers.h"
#include "support/scoped_env.h"
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

/// The servers, started once for all tests of the program.
const MailServers& servers() {
    static const MailServers instance;
    return instance;
}

/// How a connection is protected.
enum class Channel { kPlain, kStartTls, kTls };

struct Route {
    const char* name;
    Channel smtp;
    bool pop3_tls;
    LONG pop3_authentication;
};

constexpr Route kPlainApop{"PlainAndApop", Channel::kPlain, false, POP3_AUTH_APOP};
constexpr Route kRoutes[] = {
    kPlainApop,
    {"PlainAndUser", Channel::kPlain, false, POP3_AUTH_PLAIN},
    {"StartTlsAndPop3s", Channel::kStartTls, true, POP3_AUTH_AUTO},
    {"SmtpsAndPop3s", Channel::kTls, true, POP3_AUTH_PLAIN},
};

std::string randomBytes(std::size_t count) {
    std::mt19937 generator(static_cast<unsigned>(count));
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

template <typename Interface>
LONG lastError(Interface& object) {
    LONG error = -1;
    object.get_LastError(&error);
    return error;
}

template <typename Interface>
std::string text(Interface& object, HRESULT (Interface::*get)(BSTR*)) {
    Text value;
    (object.*get)(value.put());
    return value.utf8();
}

class RealServersTest : public testing::Test {
protected:
    void SetUp() override {
        if (!servers().problem().empty()) {
            std::cout << "SKIPPED: real mail servers: " << servers().problem() << '\n';
            GTEST_SKIP() << servers().problem();
        }
        servers().emptyMailbox();
        folder_.write("settings",
                      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage]\n"
                      "\"ACP\"=\"65001\"\n");
    }

    ComPtr<ISmtp> connectSmtp(Channel channel, const char* password = MailServers::kPassword) {
        auto smtp = CreateObject<ISmtp>("Tessolt.Smtp");
        smtp->put_TimeoutCommand(kAmpleTime);
        smtp->put_HostPort(channel == Channel::kPlain ? servers().smtpPort()
                                                      : servers().startTlsPort());
        if (channel == Channel::kTls) {
            smtp->SetSecure(servers().smtpsPort());
        }
        smtp->Connect(Text("127.0.0.1"), Text(MailServers::kUser), Text(password));
        return smtp;
    }

    ComPtr<IPop3> connectPop3(const Route& route, const char* password = MailServers::kPassword) {
        auto pop3 = CreateObject<IPop3>("Tessolt.Pop3");
        pop3->put_HostPort(servers().pop3Port());
        pop3->put_Authentication(route.pop3_authentication);
        if (route.pop3_tls) {
            pop3->SetSecure(servers().pop3sPort());
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
        EXPECT_EQ(lastError(*message), 0);
        return message;
    }

    /// Sends the message, fetches the one that arrived and compares them.
    void roundTrip(const Route& route, const std::string& attachment) {
        auto smtp = connectSmtp(route.smtp);
        ASSERT_EQ(lastError(*smtp), 0) << text(*smtp, &ISmtp::get_LastSmtpResponse);
        smtp->Send(Value(compose(attachment)));
        ASSERT_EQ(lastError(*smtp), 0) << text(*smtp, &ISmtp::get_LastSmtpResponse);
        smtp->Disconnect();
        ASSERT_TRUE(servers().waitForMessages(1));

        auto pop3 = connectPop3(route);
        ASSERT_EQ(lastError(*pop3), 0) << text(*pop3, &IPop3::get_LastPop3Response);
        Value value;
        pop3->GetEmailMessage(1, value.put());
        ASSERT_EQ(lastError(*pop3), 0) << text(*pop3, &IPop3::get_LastPop3Response);
        pop3->DeleteMessage(1);
        pop3->Disconnect();
        auto got = value.object<IEMailMessage>();
        EXPECT_EQ(text(*got, &IEMailMessage::get_Subject), kSubject);
        EXPECT_EQ(text(*got, &IEMailMessage::get_BodyPlainText), kPlainBody);
        EXPECT_EQ(text(*got, &IEMailMessage::get_BodyHtml), kHtmlBody);
        const std::string saved = folder_.file("saved.bin");
        got->SaveAttachment(1, Text(saved));
        EXPECT_EQ(lastError(*got), 0);
        EXPECT_TRUE(TemporaryFolder::read(saved) == attachment)
            << "attachment of " << attachment.size();
    }

private:
    TemporaryFolder folder_;
    ScopedEnv settings_{"TESSOLT_SETTINGS", folder_.file("settings").c_str()};
};

class RouteTest : public RealServersTest, public testing::WithParamInterface<Route> {};

TEST_P(RouteTest, AttachmentsOfAnySizeSurviveTheTrip) {
    for (const std::size_t size : {1, 16383, 16384, 16385, 25'000'000}) {
        roundTrip(GetParam(), randomBytes(size));
        servers().emptyMailbox();
    }
}

TEST_P(RouteTest, WrongPasswordIsTold) {
    auto smtp = connectSmtp(GetParam().smtp, "wrong");
    EXPECT_EQ(lastError(*smtp), 37411);
    auto pop3 = connectPop3(GetParam(), "wrong");
    // Dovecot's words for it name neither a mailbox nor a login that failed.
    EXPECT_EQ(lastError(*pop3), 37511);
}

INSTANTIATE_TEST_SUITE_P(Routes, RouteTest, testing::ValuesIn(kRoutes),
                         [](const auto& route) { return route.param.name; });

TEST_F(RealServersTest, RefusedRecipientLeavesTheConnectionUsable) {
    auto smtp = connectSmtp(Channel::kPlain);
    auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
    message->put_FromAddress(Text("ann@example.org"));
    message->AddTo(Text("nobody@elsewhere.invalid@@"), Text());
    smtp->Send(Value(message));
    EXPECT_NE(lastError(*smtp), 0);
    smtp->Send(Value(compose("x")));
    EXPECT_EQ(lastError(*smtp), 0) << text(*smtp, &ISmtp::get_LastSmtpResponse);
    EXPECT_TRUE(servers().waitForMessages(1));
}

TEST_F(RealServersTest, HeaderComesWithoutTheWholeMessage) {
    auto smtp = connectSmtp(Channel::kPlain);
    smtp->Send(Value(compose(randomBytes(100'000))));
    ASSERT_TRUE(servers().waitForMessages(1));
    auto pop3 = connectPop3(kPlainApop);
    Value value;
    pop3->GetEmailHeader(1, value.put());
    ASSERT_EQ(lastError(*pop3), 0);
    pop3->Disconnect();
    auto header = value.object<IEMailMessage>();
    EXPECT_EQ(text(*header, &IEMailMessage::get_Subject), kSubject);
    LONG size = 0;
    header->get_Size(&size);
    EXPECT_LT(size, 10'000);
}

}  // namespace
}  // namespace tessolt::test
