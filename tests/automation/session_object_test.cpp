#include <filesystem>

#include "automation/object_calls.h"
#include "platform/settings_store.h"
#include "support/fake_clock.h"
#include "support/scoped_env.h"
#include "support/scripted_server.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::ScriptedServer;

constexpr const char* kLocalhost = "127.0.0.1";

/// An object that answers IDispatch and nothing else.
class Alien : public IDispatch {
public:
    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

class Session : public ::testing::Test {
protected:
    /// The lines of the log file without their stamps.
    std::vector<std::string> logLines() const {
        constexpr std::size_t kStampLength = 11;
        std::vector<std::string> lines;
        std::istringstream content(folder_.read(log_));
        for (std::string line; std::getline(content, line);) {
            lines.push_back(line.substr(kStampLength, line.size() - kStampLength - 1));
        }
        return lines;
    }

    support::TemporaryFolder folder_;
    std::string log_ = folder_.file("log");
    ComPtr<ISmtp> smtp_ = make<ISmtp>("Smtp");
    ComPtr<IPop3> pop3_ = make<IPop3>("Pop3");
    ComPtr<IEMailMessage> message_ = make<IEMailMessage>("EMailMessage");
};

/// A server that says yes to whatever a transaction needs.
ScriptedServer::Script politeSmtp() {
    return [](support::ScriptedConnection& peer) {
        peer.send("220 ready\r\n");
        for (std::string line; !(line = peer.readLine()).empty();) {
            if (line.starts_with("DATA")) {
                peer.send("354 go on\r\n");
                peer.readUntil("\r\n.\r\n");
            }
            peer.send("250-fine\r\n250 done\r\n");
        }
    };
}

ScriptedServer::Script mailboxOf(const std::string& message) {
    return support::dialog("+OK ready\r\n", {{"USER", "+OK\r\n"},
                                             {"PASS", "+OK\r\n"},
                                             {"CAPA", "+OK\r\nTOP\r\n.\r\n"},
                                             {"STAT", "+OK 1 100\r\n"},
                                             {"TOP 1 1", "+OK\r\n" + message + "\r\n.\r\n"},
                                             {"RETR 1", "+OK\r\n" + message + "\r\n.\r\n"}});
}

TEST_F(Session, SendWantsOneOfOurMessages) {
    smtp_->put_LogFile(Text(log_));
    Alien alien;
    Value alienValue(&alien);
    Value self(smtp_);
    Value empty;
    Value null(static_cast<IDispatch*>(nullptr));
    Value message(message_);
    Value asUnknown(message_);
    asUnknown.get()->vt = VT_UNKNOWN;
    const struct {
        VARIANT* given;
        LONG sent;
        LONG queued;
    } cases[] = {
        {nullptr, 36002, 36002}, {empty, 15010, 15010},      {null, 15010, 15010},
        {self, 15010, 15010},    {alienValue, 15010, 15010}, {asUnknown, 15010, 15010},
        {message, 37609, 37436},
    };
    support::ScopedEnv settings("TESSOLT_SETTINGS", folder_.file("settings").c_str());
    platform::writeSetting("HKLM\\Software\\Merivane\\Tessolt", "Queue", folder_.file("missing"));
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(smtp_->Send(c.given), S_OK);
        EXPECT_EQ(lastError(smtp_), c.sent);
        EXPECT_EQ(logLines().back(), c.sent == 37609   ? "Send result=[No TO recipients specified]"
                                     : c.sent == 36002 ? "Send result=[Invalid argument]"
                                                       : "Send result=[Internal error: unable to "
                                                         "create new ActiveX object]");
        smtp_->Queue(c.given, Text("h"), 0, 0, nullptr, nullptr);
        EXPECT_NE(lastError(smtp_), 0);
        EXPECT_TRUE(logLines().back().starts_with("Queue result=["));
        if (c.sent != 37609) {
            EXPECT_EQ(lastError(smtp_), c.queued);
        }
    }
    message_->AddTo(Text("a@b"), nullptr);
    smtp_->Send(message);
    EXPECT_EQ(lastError(smtp_), 441);
}

TEST_F(Session, QueueTakesThePortFromTheChannel) {
    support::ScopedEnv settings("TESSOLT_SETTINGS", folder_.file("settings").c_str());
    platform::writeSetting("HKLM\\Software\\Merivane\\Tessolt", "Queue", folder_.path());
    const struct {
        LONG port;
        LONG secure;
        const char* expected;
    } cases[] = {{0, 0, "25"}, {0, 1, "465"}, {0, -1, "465"}, {587, 1, "587"}, {1, 0, "1"}};
    for (const auto& c : cases) {
        smtp_->Queue(Value(message_), Text("host"), c.port, c.secure, nullptr, nullptr);
        EXPECT_EQ(lastError(smtp_), 0);
        Text port;
        message_->GetHeaderValue(Text("X-ZnQueueService-RemoveBeforeSending-Port"), port.put());
        EXPECT_EQ(port.utf8(), c.expected);
    }
}

TEST_F(Session, SmtpConversation) {
    ScriptedServer server(politeSmtp());
    smtp_->put_LogFile(Text(log_));
    smtp_->put_ActivityFile(Text(folder_.file("activity")));
    smtp_->put_HostPort(server.port());
    smtp_->Connect(Text(kLocalhost), nullptr, nullptr);
    EXPECT_EQ(lastError(smtp_), 0);
    EXPECT_EQ(logLines().front(), "Tessolt : [Queltx64.dll 4.0.1.11129 (x64)]");
    EXPECT_EQ(logLines().back(), "Connect result=[0]");
    smtp_->SetSecure(465);
    EXPECT_EQ(lastError(smtp_), 37712);
    EXPECT_EQ(number(*smtp_, &ISmtp::get_HostPort), server.port());
    message_->AddTo(Text("a@b"), nullptr);
    smtp_->Send(Value(message_));
    EXPECT_EQ(lastError(smtp_), 0);
    EXPECT_EQ(text(*smtp_, &ISmtp::get_LastSmtpResponse), "250-fine 250 done ");
    EXPECT_EQ(logLines().back(), "Send result=[Success]");
    const std::size_t lines = logLines().size();
    smtp_->Clear();
    EXPECT_EQ(number(*smtp_, &ISmtp::get_HostPort), 25);
    EXPECT_EQ(text(*smtp_, &ISmtp::get_LogFile), log_);
    EXPECT_EQ(server.receivedBy(1).at(0).find("QUIT"), std::string::npos);
    smtp_->put_HostPort(support::unusedPort());
    smtp_->Connect(Text(kLocalhost), nullptr, nullptr);
    EXPECT_EQ(lastError(smtp_), 37402);
    EXPECT_EQ(logLines().size(), lines + 2) << "only the object's own lines after Clear";
    EXPECT_NE(folder_.read(folder_.file("activity")).find("NextEntry="), std::string::npos);
}

TEST_F(Session, Pop3Conversation) {
    ScriptedServer server(mailboxOf("Subject: s\r\n\r\nbody\r\n"));
    pop3_->put_LogFile(Text(log_));
    pop3_->put_HostPort(server.port());
    pop3_->put_Authentication(POP3_AUTH_PLAIN);
    pop3_->Connect(Text(kLocalhost), Text("u"), Text("p"));
    EXPECT_EQ(lastError(pop3_), 0);
    EXPECT_EQ(logLines().front(), "Tessolt: [Queltx64.dll 4.0.1.11129 (x64)]");
    EXPECT_EQ(logLines().back(), "Connect result=[Success]");
    pop3_->SetSecure(995);
    EXPECT_EQ(lastError(pop3_), 36500);
    VARIANT_BOOL connected = 0;
    pop3_->IsConnected(&connected);
    EXPECT_EQ(connected, VARIANT_TRUE);
    LONG count = 0;
    pop3_->CountMessages(&count);
    EXPECT_EQ(count, 1);
    Value header;
    Value whole;
    pop3_->GetEmailHeader(1, header.put());
    pop3_->GetEmailMessage(1, whole.put());
    EXPECT_EQ(lastError(pop3_), 0);
    Value none;
    EXPECT_EQ(pop3_->GetEmailMessage(2, none.put()), S_OK);
    EXPECT_EQ(lastError(pop3_), 37516);
    EXPECT_EQ(none.get()->vt, VT_UNKNOWN);
    EXPECT_EQ(none.get()->punkVal, nullptr);
    EXPECT_EQ(pop3_->GetEmailHeader(1, nullptr), E_POINTER);
    EXPECT_EQ(lastError(pop3_), 15010);
    pop3_->Clear();
    pop3_->IsConnected(&connected);
    EXPECT_EQ(connected, VARIANT_FALSE);
    EXPECT_EQ(lastError(pop3_), 0);
    pop3_.reset();
    EXPECT_EQ(server.receivedBy(1).at(0).find("QUIT"), std::string::npos);
    for (Value* value : {&header, &whole}) {
        auto message = value->object<IEMailMessage>();
        ASSERT_TRUE(message);
        EXPECT_EQ(text(*message, &IEMailMessage::get_Subject), "s");
        EXPECT_EQ(number(*message, &IEMailMessage::get_ID), 1);
        EXPECT_EQ(message->AddRef(), 3u) << "the variant has the only other one";
        message->Release();
        Text mailer;
        message->Encode();
        message->GetHeaderValue(Text("X-Mailer"), mailer.put());
        EXPECT_EQ(mailer.utf8(), "");
    }
}

TEST_F(Session, TimesAreUnsigned) {
    support::FakeClock clock;
    const std::uint64_t before = clock.slept;
    smtp_->Sleep(5);
    pop3_->Sleep(0);
    EXPECT_EQ(clock.slept - before, 5u);
    smtp_->Sleep(-1);
    EXPECT_EQ(clock.slept - before, 5u + std::uint64_t{0xFFFFFFFF}) << "for ever, to the clock";
    for (const LONG time : {0, 1, -1, -2}) {
        smtp_->put_TimeoutData(time);
        EXPECT_EQ(number(*smtp_, &ISmtp::get_TimeoutData), time);
    }
}

TEST_F(Session, LogFilesAreKeptAsGiven) {
    for (const char* path : {"C:\\Logs\\a.txt", "", "/tmp/\xC3\xBC"}) {
        smtp_->put_LogFile(Text(path));
        EXPECT_EQ(text(*smtp_, &ISmtp::get_LogFile), path);
    }
    const std::string activity = folder_.write("activity", "old");
    pop3_->put_ActivityFile(Text(activity));
    EXPECT_EQ(text(*pop3_, &IPop3::get_ActivityFile), activity);
    EXPECT_EQ(folder_.read(activity), "[Init]\r\nInitialized=1\r\nNextEntry=0\r\n");
}

}  // namespace
}  // namespace tessolt
