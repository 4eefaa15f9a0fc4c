#include "automation/object_calls.h"
#include "support/fake_clock.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

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
