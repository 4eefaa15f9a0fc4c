#include <tessolt/message_data.h>
#include <tessolt/transfer.h>

#include "automation/object_calls.h"
#include "support/scripted_server.h"

namespace tessolt {
namespace {

using support::ScriptedServer;

// Both ways, alone and inside another object, by the rules of QueryInterface.
TEST(FurtherInterfaces, AreReachedFromTheOthersAndBack) {
    const auto message = make<IEMailMessage>("EMailMessage");
    const auto outer = make<ISmtp>("Smtp");
    ComPtr<IUnknown> inner;
    ASSERT_EQ(CoCreateInstance(CLSID_Pop3, outer.get(), 0, IID_IUnknown, inner.putVoid()), S_OK);
    ComPtr<ITransfer> contained;
    EXPECT_EQ(inner->QueryInterface(IID_ITransfer, contained.putVoid()), S_OK);
    contained.reset();
    EXPECT_EQ(message.as<IMessageData>().as<IUnknown>().get(), message.as<IUnknown>().get());
    EXPECT_EQ(outer.as<ITransfer>().as<IDispatch>().get(), outer.as<IDispatch>().get());
    EXPECT_FALSE(message.as<ITransfer>() || outer.as<IMessageData>());
    EXPECT_FALSE(make<IEMailConstants>("EMailConstants").as<ITransfer>());
}

TEST(FurtherInterfaces, ARuleHoldsUpToClear) {
    const auto message = make<IEMailMessage>("EMailMessage");
    const auto data = message.as<IMessageData>();
    const std::string source = "Subject: s\n\nb";
    for (const auto& [rules, kept] : {std::pair{TESSOLT_RULES_CURRENT, source.size()},
                                      std::pair{TESSOLT_RULES_CLASSIC, std::size_t{0}}}) {
        EXPECT_EQ(data->UseRules(rules), S_OK);
        EXPECT_EQ(data->LoadBytes(source.data(), source.size()), S_OK);
        ByteView view = {};
        EXPECT_EQ(data->GetLoadedBytes(&view), S_OK);
        EXPECT_EQ(view.size, kept);
        EXPECT_EQ(data->GetMimeBytes(&view), S_OK);
        EXPECT_NE(view.size, 0U);
        message->Clear();
    }
    EXPECT_EQ(data->UseRules(2), E_INVALIDARG);
    EXPECT_EQ(make<IPop3>("Pop3").as<ITransfer>()->UseRules(-1), E_INVALIDARG);
}

std::string mimeOf(IMessageData& data) {
    ByteView view = {};
    EXPECT_EQ(data.GetMimeBytes(&view), S_OK);
    return {view.data, view.size};
}

// By both rules: composed, loaded, and loaded and changed since; what is done to one stays there.
TEST(FurtherInterfaces, ACopyIsAMessageOfItsOwn) {
    const std::string source =
        "From mbox\nFrom: A <a@b>\nBcc: x@y\nX-Own: 1\nContent-Type: multipart/mixed; "
        "boundary=b\n\n--b\nContent-Type: text/plain\n\nT\xC3\xBCr\n--b\nContent-Type: text/x; "
        "name=n.bin\n\n\x01\xFF\n--b--\n";
    for (const LONG rules : {TESSOLT_RULES_CLASSIC, TESSOLT_RULES_CURRENT}) {
        for (const bool isLoaded : {false, true}) {
            const auto message = make<IEMailMessage>("EMailMessage");
            const auto data = message.as<IMessageData>();
            data->UseRules(rules);
            if (isLoaded) {
                data->LoadBytes(source.data(), source.size());
            }
            message->put_Subject(Text("Gr\xC3\xBC\xC3\x9F"));
            message->put_BodyHtml(Text("<p>\xF0\x9F\x91\x8B"));
            message->put_Priority(1);
            message->AddTo(Text("t@u"), Text("T"));
            message->AddBcc(Text("secret@u"), Text("S"));
            data->SetField(Text("X-Two"), Text("2"));
            data->AddAttachmentBytes("a\0b", 3, Text("a.png"));
            data->SetInline(isLoaded ? 2 : 1, Text("id"));
            for (const bool isEncoded : {false, true}) {
                if (isEncoded) {
                    message->Encode();
                }
                const std::string before = mimeOf(*data);
                ComPtr<IEMailMessage> copy;
                ASSERT_EQ(data->Copy(copy.put()), S_OK);
                const auto copied = copy.as<IMessageData>();
                EXPECT_EQ(mimeOf(*copied), before);
                EXPECT_EQ(text(*copy, &IEMailMessage::get_BccAddress),
                          isLoaded ? "x@y;secret@u" : "secret@u");
                ByteView view = {};
                copied->GetAttachmentBytes(isLoaded ? 2 : 1, &view);
                EXPECT_EQ(std::string(view.data, view.size), std::string("a\0b", 3));
                copied->SetInline(isLoaded ? 2 : 1, Text("other"));
                copy->put_Subject(Text("other"));
                copy->AddTo(Text("o@p"));
                copy->Encode();
                for (const char* kept : {"o@p", "X-Two: 2", "8J+Riw=="}) {
                    EXPECT_NE(mimeOf(*copied).find(kept), std::string::npos) << kept;
                }
                EXPECT_EQ(mimeOf(*data), before);
                Text type, id, disposition;
                data->GetAttachmentType(isLoaded ? 2 : 1, type.put(), id.put(), disposition.put());
                EXPECT_EQ(id, u"id");
                EXPECT_EQ(text(*message, &IEMailMessage::get_ToAddress), "t@u");
            }
        }
    }
    EXPECT_EQ(make<IEMailMessage>("EMailMessage").as<IMessageData>()->Copy(nullptr), E_POINTER);
}

TEST(FurtherInterfaces, RefuseWhatHasNoPlace) {
    const auto message = make<IEMailMessage>("EMailMessage");
    const auto data = message.as<IMessageData>();
    const auto transfer = make<ISmtp>("Smtp").as<ITransfer>();
    Text text;
    LONG number = 0;
    ByteView view = {};
    for (const HRESULT status :
         {data->GetMimeBytes(nullptr), data->LoadBytes(nullptr, 1), data->CountFields(nullptr),
          data->AddAttachmentBytes(nullptr, 1, nullptr, nullptr),
          data->GetField(1, text.put(), nullptr, &view), transfer->IsOpen(nullptr),
          transfer->GetLastReply(&number, text.put(), nullptr), transfer->GetMechanism(nullptr),
          transfer->GetTls(nullptr, text.put(), text.put()), transfer->ListMessages(nullptr),
          transfer->GetWelcome(nullptr)}) {
        EXPECT_EQ(status, E_POINTER);
    }
    EXPECT_EQ(data->GetField(1, text.put(), text.put(), &view), E_INVALIDARG);
    constexpr std::int64_t kYear10000 = 253402300800;
    EXPECT_EQ(data->SetDate(kYear10000, 0), E_INVALIDARG);
    EXPECT_EQ(data->SetDate(0, 1440), E_INVALIDARG);
    data->GetAttachmentBytes(1, &view);
    EXPECT_EQ(lastError(message), 37613);
}

// By current rules the recipients' replies stay, as does the reply that decided, after the leave.
TEST(FurtherInterfaces, TheReplyThatDecidedStays) {
    const ScriptedServer server(support::dialog("220 hi\r\n", {{"EHLO", "250-x\r\n250 SIZE 9\r\n"},
                                                               {"MAIL", "250 ok\r\n"},
                                                               {"RCPT", "550 5.1.1 no\r\n"},
                                                               {"QUIT", "221 bye\r\n"}}));
    const auto smtp = make<ISmtp>("Smtp");
    const auto transfer = smtp.as<ITransfer>();
    transfer->UseRules(TESSOLT_RULES_CURRENT);
    smtp->put_HostPort(server.port());
    smtp->Connect(Text("127.0.0.1"));
    EXPECT_EQ(text(*transfer, &ITransfer::GetCapabilities), "SIZE 9");
    const auto message = make<IEMailMessage>("EMailMessage");
    message->AddTo(Text("a@b"));
    for (const LONG wanted : {552, 550}) {
        if (wanted == 550) {
            transfer->UseRules(TESSOLT_RULES_CLASSIC);
        }
        smtp->Send(Value(message));
        EXPECT_EQ(lastError(smtp), wanted);
        if (wanted == 550) {
            smtp->Disconnect();
        }
        LONG code = 0;
        Text enhanced;
        Text words;
        EXPECT_EQ(transfer->GetLastReply(&code, enhanced.put(), words.put()), S_OK);
        EXPECT_EQ(code, wanted);
        EXPECT_EQ(enhanced, wanted == 550 ? u"5.1.1" : u"5.3.4");
    }
}

}  // namespace
}  // namespace tessolt
