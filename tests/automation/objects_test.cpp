#include <algorithm>
#include <filesystem>

#include "automation/object_calls.h"
#include "platform/code_page.h"
#include "platform/settings_store.h"
#include "support/fake_clock.h"
#include "support/scoped_settings.h"
#include "support/scripted_server.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::ScriptedServer;

constexpr const char* kLocalhost = "127.0.0.1";

/// An object that answers IDispatch and nothing else.
class Alien : public support::DispatchStub {
public:
    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
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
    support::writeSetting("HKLM\\Software\\Merivane\\Tessolt", "Queue", folder_.file("missing"));
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
    support::writeSetting("HKLM\\Software\\Merivane\\Tessolt", "Queue", folder_.path());
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

TEST_F(Session, QueueMapsTheFolderOrFails) {
    support::ScopedEnv settings("TESSOLT_SETTINGS", folder_.file("settings").c_str());
    smtp_->put_LogFile(Text(log_));
    const std::string queue = folder_.file("q:\\\u65e5");
    // In page 932 it ends in the byte of a backslash.
    const std::string doubleByte = folder_.file("\u30bd");
    std::filesystem::create_directory(queue);
    std::filesystem::create_directory(doubleByte);
    std::string backslashed = folder_.file("Q");
    std::filesystem::create_directory(backslashed);
    std::ranges::replace(backslashed, '/', '\\');
    const struct {
        std::string folder;
        std::uint32_t ansiPage;
        LONG result;
    } cases[] = {
        {folder_.file("Q"), 65001, 0},
        {folder_.file("Q/"), 65001, 0},
        {backslashed, 1252, 0},
        {backslashed + "\\", 65001, 0},
        {"C:" + backslashed, 65001, 0},
        {"C:" + backslashed + "\\", 1252, 0},
        {queue, 65001, 0},
        {queue, 1252, 37435},
        {doubleByte, 932, 0},
        {folder_.path() + "/" + std::string(250, '/'), 65001, 37435},
        {"C:\\no folder", 65001, 37435},
    };
    for (const auto& c : cases) {
        const platform::ScopedAnsiCodePage page(c.ansiPage);
        support::writeSetting("HKLM\\Software\\Merivane\\Tessolt", "Queue", c.folder);
        smtp_->Queue(Value(message_), Text("host"), 0, 0, nullptr, nullptr);
        EXPECT_EQ(lastError(smtp_), c.result) << c.folder;
    }
    const auto filesIn = [](const std::string& folder) {
        return std::ranges::distance(std::filesystem::directory_iterator(folder),
                                     std::filesystem::directory_iterator());
    };
    EXPECT_EQ(filesIn(folder_.file("Q")), 6);
    EXPECT_EQ(filesIn(queue), 1);
    EXPECT_EQ(filesIn(doubleByte), 1);

    support::writeSetting("HKLM\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage", "ACP", "500");
    smtp_->Queue(Value(message_), Text("host"), 0, 0, nullptr, nullptr);
    EXPECT_EQ(lastError(smtp_), 37435);
    EXPECT_NE(folder_.read(log_).find(folder_.file("settings") + ": \"ACP\"=\"500\""),
              std::string::npos);
}

TEST_F(Session, SmtpConversation) {
    ScriptedServer server(support::politeSmtp());
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
    const std::string strange = folder_.file("\u65e5");
    for (const std::uint32_t ansiPage : {1252u, 65001u}) {
        const platform::ScopedAnsiCodePage page(ansiPage);
        smtp_->put_LogFile(Text(strange));
        smtp_->put_ActivityFile(Text(strange + "a"));
        smtp_->Send(nullptr);
        EXPECT_EQ(std::filesystem::exists(strange), ansiPage == 65001);
        EXPECT_EQ(std::filesystem::exists(strange + "a"), ansiPage == 65001);
        EXPECT_FALSE(std::filesystem::exists(folder_.file("?")));
    }
    const std::string activity = folder_.write("activity", "old");
    pop3_->put_ActivityFile(Text(activity));
    EXPECT_EQ(text(*pop3_, &IPop3::get_ActivityFile), activity);
    EXPECT_EQ(folder_.read(activity), "[Init]\r\nInitialized=1\r\nNextEntry=0\r\n");
}

class MessageObject : public ::testing::Test {
protected:
    std::string header(const char* name) {
        Text value;
        EXPECT_EQ(m_->GetHeaderValue(Text(name), value.put()), S_OK);
        return value.utf8();
    }
    std::string get(HRESULT (IEMailMessage::*read)(BSTR*)) { return text(*m_, read); }
    LONG get(HRESULT (IEMailMessage::*read)(LONG*)) { return number(*m_, read); }

    support::TemporaryFolder folder_;
    ComPtr<IEMailMessage> m_ = make<IEMailMessage>("EMailMessage");
};

TEST_F(MessageObject, LastErrorStaysUntilTheNextOperation) {
    m_->AddTo(Text("bad"), nullptr);
    EXPECT_EQ(lastError(m_), 37610);
    m_->put_Subject(Text("s"));
    EXPECT_EQ(get(&IEMailMessage::get_Subject), "s");
    LONG count = 0;
    m_->CountAttachments(&count);
    Text description;
    m_->GetErrorDescription(0, description.put());
    EXPECT_EQ(lastError(m_), 37610);
    EXPECT_EQ(get(&IEMailMessage::get_ToAddress), "");
    m_->AddTo(Text("a@b"), nullptr);
    EXPECT_EQ(lastError(m_), 0);
    EXPECT_EQ(get(&IEMailMessage::get_ToAddress), "a@b");
    m_->AddBcc(Text("bad"), nullptr);
    header("X");
    EXPECT_EQ(lastError(m_), 0) << "set by GetHeaderValue";
}

TEST_F(MessageObject, TheTreeShowsTheLastEncode) {
    EXPECT_EQ(get(&IEMailMessage::get_MessageSource), "\r\n\r\n");
    EXPECT_EQ(get(&IEMailMessage::get_Size), 4);
    EXPECT_EQ(get(&IEMailMessage::get_MessageHeader), "");
    EXPECT_EQ(get(&IEMailMessage::get_Date), "");
    support::FakeClock clock;
    m_->put_Subject(Text("first"));
    m_->AddHeader(Text("X-A"), Text("1"));
    EXPECT_EQ(header("Subject") + header("X-A"), "");
    for (const auto encode : {&IEMailMessage::Encode, &IEMailMessage::Decode}) {
        m_->put_Subject(encode == &IEMailMessage::Encode ? Text("one") : Text("two"));
        ((*m_).*encode)();
        EXPECT_EQ(header("subject"), encode == &IEMailMessage::Encode ? "one" : "two");
    }
    EXPECT_EQ(header("X-A"), "1");
    EXPECT_EQ(header("X-Mailer"), "Tessolt 4.0.1.11129 (x64)");
    EXPECT_EQ(get(&IEMailMessage::get_Date), "Tue, 5 Mar 2024 14:03:09 -0000");
    const std::string source = get(&IEMailMessage::get_MessageSource);
    EXPECT_EQ(get(&IEMailMessage::get_Size), static_cast<LONG>(source.size()));
    EXPECT_TRUE(source.starts_with(get(&IEMailMessage::get_MessageHeader).substr(0, 20)));
}

TEST_F(MessageObject, SavingWantsARecipientAndTrimsTheSender) {
    const Text path(folder_.file("m.eml"));
    m_->put_FromAddress(Text("  a@b  "));
    m_->Encode();
    m_->SaveMIME(path);
    EXPECT_EQ(lastError(m_), 37609);
    EXPECT_EQ(get(&IEMailMessage::get_FromAddress), "a@b");
    EXPECT_FALSE(std::filesystem::exists(path.utf8()));
    m_->AddTo(Text("c@d"), Text("N"));
    m_->SaveMIME(path);
    EXPECT_EQ(lastError(m_), 0);
    EXPECT_EQ(folder_.read(path.utf8()), get(&IEMailMessage::get_MessageSource));
    m_->put_FromAddress(Text("a b"));
    m_->SaveMIME(path);
    EXPECT_EQ(lastError(m_), 37608);
    m_->put_FromAddress(nullptr);
    m_->SaveMIME(Text(folder_.path()));
    EXPECT_EQ(lastError(m_), 37603);
    m_->LoadMIME(path);
    EXPECT_EQ(lastError(m_), 0);
    m_->LoadMIME(Text(folder_.path()));
    EXPECT_EQ(lastError(m_), 37602);
}

TEST_F(MessageObject, APathThatThePageCannotExpressIsNoPath) {
    const Text expressible(folder_.write("m.eml", "Subject: s\r\n\r\nb"));
    const Text unfit(folder_.write("\u65e5\u672c", "Subject: other\r\n\r\nb"));
    folder_.write("??", "Subject: wrong\r\n\r\nb");
    for (const std::uint32_t ansiPage : {1252u, 65001u}) {
        const platform::ScopedAnsiCodePage page(ansiPage);
        const auto expect = [&](LONG failure) {
            EXPECT_EQ(lastError(m_), ansiPage == 1252 ? failure : 0) << failure;
        };
        m_->Clear();
        m_->LoadMIME(unfit);
        expect(37602);
        m_->AddAttachment(unfit);
        expect(37605);
        m_->AddAttachment(expressible);
        m_->SaveAttachment(1, unfit);
        expect(37607);
        m_->AddTo(Text("a@b"), nullptr);
        m_->SaveMIME(unfit);
        expect(37603);
        EXPECT_EQ(folder_.read(folder_.file("??")), "Subject: wrong\r\n\r\nb");
    }
}

TEST_F(MessageObject, APathWithASlashIsTakenAsItStands) {
    for (const char* name : {"1699.M1.host:2,S", "12:30 |*<>\".eml", "a\\b"}) {
        const Text path(folder_.file(name));
        m_->AddTo(Text("a@b"), nullptr);
        m_->SaveMIME(path);
        EXPECT_EQ(lastError(m_), 0) << name;
        EXPECT_TRUE(std::filesystem::exists(path.utf8())) << name;
        m_->LoadMIME(path);
        EXPECT_EQ(lastError(m_), 0) << name;
    }
}

TEST_F(MessageObject, ClearIsANewRecord) {
    m_->LoadMIME(Text(folder_.write("m.eml", "Subject: s\r\n\r\nb\r\n")));
    EXPECT_EQ(get(&IEMailMessage::get_Subject), "s");
    m_->put_Priority(1);
    m_->AddTo(nullptr, nullptr);
    EXPECT_EQ(lastError(m_), 37610);
    m_->Clear();
    EXPECT_EQ(lastError(m_), 0);
    EXPECT_EQ(get(&IEMailMessage::get_Priority), 3);
    EXPECT_EQ(get(&IEMailMessage::get_Encoding), 0);
    EXPECT_EQ(get(&IEMailMessage::get_ID), 0);
    EXPECT_EQ(get(&IEMailMessage::get_Subject) + get(&IEMailMessage::get_BodyPlainText), "");
    m_->Encode();
    EXPECT_EQ(header("X-Mailer"), "Tessolt 4.0.1.11129 (x64)");
}

}  // namespace
}  // namespace tessolt
