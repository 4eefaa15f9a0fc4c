#include <cstdlib>
#include <thread>

#include "automation/object_calls.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

constexpr int kThreads = 200;
constexpr int kUsualMessages = 3;

/// How many messages each thread works on; the environment asks for a long run.
int messagesPerThread() {
    const char* asked = std::getenv("TESSOLT_SOAK_MESSAGES");
    return asked ? std::atoi(asked) : kUsualMessages;
}

/// Composes, encodes, saves and loads; returns what went wrong.
std::string workOn(const std::string& path, int thread, int count) {
    auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
    auto loaded = CreateObject<IEMailMessage>("Tessolt.EMailMessage.1");
    for (int i = 0; i < count; ++i) {
        const std::string subject =
            "\xD0\x9F\xD0\xB8" + std::to_string(thread) + "/" + std::to_string(i);
        message->Clear();
        message->put_Subject(Text(subject));
        message->put_Encoding(i % 2 ? EMAIL_MESSAGE_ENCODING_JAPANESE
                                    : EMAIL_MESSAGE_ENCODING_RUSSIAN);
        message->put_BodyPlainText(Text("\xD0\x9F\xD1\x80\xD0\xB8 \xE6\x97\xA5\xE6\x9C\xAC"));
        message->put_BodyHtml(Text("<b>x</b>"));
        message->AddTo(Text("a@b"), Text("Name"));
        message->Encode();
        message->SaveMIME(Text(path));
        loaded->LoadMIME(Text(path));
        LONG error = 0;
        Text found;
        loaded->get_LastError(&error);
        loaded->get_Subject(found.put());
        if (error != 0 || found.utf8() != subject) {
            return found.utf8() + " instead of " + subject;
        }
    }
    return {};
}

TEST(Threads, WorkSideBySideWithObjectsOfTheirOwn) {
    support::TemporaryFolder folder;
    const int count = messagesPerThread();
    std::vector<std::string> failures(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            auto smtp = make<ISmtp>("Smtp");
            auto pop3 = make<IPop3>("Pop3");
            ComPtr<ITypeInfo> info;
            smtp->GetTypeInfo(0, 0, info.put());
            failures[i] = workOn(folder.file(std::to_string(i)), i, count);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::erase(failures, "");
    EXPECT_EQ(failures.size(), 0u) << failures.front();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace tessolt
