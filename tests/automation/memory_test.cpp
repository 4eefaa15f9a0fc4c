// Every allocation of an operation fails once in turn: a failure is told, or the outcome is whole.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "automation/object_calls.h"
#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "support/scoped_settings.h"
#include "support/scripted_server.h"
#include "support/temporary_folder.h"

// A sanitizer has allocation functions of its own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

/// Which allocation of this thread fails from now on; 0 for none.
constinit thread_local long nextToFail = 0;

bool failsNow() {
    return nextToFail > 0 && --nextToFail == 0;
}

}  // namespace

extern "C" {
// What the C library names its own forms.
// NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    return failsNow() ? nullptr : __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
    return failsNow() ? nullptr : __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
    return failsNow() ? nullptr : __libc_realloc(block, size);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace tessolt {
namespace {

constexpr LONG kPatience = 1000;
constexpr const char* kRules[] = {"classic", "current"};
constexpr const char* kQueueField = "X-ZnQueueService-RemoveBeforeSending-";

std::string rulesLine(const std::string& rules) {
    return "\"Rules\"=\"" + rules + "\"\n";
}

class Memory : public ::testing::Test {
protected:
    Memory() {
        folder_.write("a.bin", std::string(100, 'a'));
        compose();
        size_ = number(*message_, &IEMailMessage::get_Size);
        message_->SaveMIME(Text(folder_.file("saved")));
        source_ = folder_.read(folder_.file("saved"));
        const auto loaded = make<IEMailMessage>("EMailMessage");
        loaded->LoadMIME(Text(folder_.file("saved")));
        loadedSize_ = number(*loaded, &IEMailMessage::get_Size);
    }

    /// The message by the rules that hold now.
    void compose() {
        message_ = make<IEMailMessage>("EMailMessage");
        message_->put_FromAddress(Text("a@b.test"));
        message_->AddTo(Text("c@d.test"), Text("\xD0\x96"));
        message_->put_Subject(Text("\xD0\x96"));
        message_->put_BodyPlainText(Text("caf\xC3\xA9 \xE6\x97\xA5"));
        message_->put_BodyHtml(Text("<p>caf\xC3\xA9"));
        message_->AddAttachment(Text(folder_.file("a.bin")));
        message_->Encode();
    }

    /// Runs `attempt` until none of its allocations fails.
    template <class Attempt>
    void failEachOnce(Attempt attempt) {
        nth_ = 0;
        do {
            ++nth_;
            failed_ = false;
            attempt();
            ASSERT_FALSE(HasFailure()) << "allocation " << nth_;
        } while (failed_);
        EXPECT_GT(nth_, 5);
    }

    /// Whether an operation says that it was done. It may only fail with a number.
    template <class Object, class Operation>
    bool isDone(const Object& object, Operation operation) {
        nextToFail = nth_;
        const HRESULT status = operation();
        const bool failed = nextToFail == 0;
        nextToFail = 0;
        failed_ = failed_ || failed;
        const LONG told = lastError(object);
        EXPECT_TRUE(status == S_OK || (status == E_OUTOFMEMORY && told == -1)) << status;
        const bool done = status == S_OK && told == 0;
        EXPECT_TRUE(done || failed) << told;
        return done;
    }

    void expectWhole(IEMailMessage& loaded) {
        LONG attachments = 0;
        loaded.CountAttachments(&attachments);
        EXPECT_EQ(attachments, 1);
        EXPECT_EQ(text(loaded, &IEMailMessage::get_Subject), "\xD0\x96");
        EXPECT_EQ(text(loaded, &IEMailMessage::get_BodyHtml), "<p>caf\xC3\xA9");
        EXPECT_EQ(text(loaded, &IEMailMessage::get_ToAddress), "c@d.test");
        EXPECT_EQ(number(loaded, &IEMailMessage::get_Size), loadedSize_);
    }

    support::TemporaryFolder folder_;
    ComPtr<IEMailMessage> message_ = make<IEMailMessage>("EMailMessage");
    std::string source_;
    LONG size_ = 0;
    LONG loadedSize_ = 0;
    long nth_ = 0;
    bool failed_ = false;
};

TEST_F(Memory, Encode) {
    failEachOnce([&] {
        isDone(message_, [&] { return message_->Encode(); });
        EXPECT_EQ(number(*message_, &IEMailMessage::get_Size), size_);
    });
}

TEST_F(Memory, EncodeLoaded) {
    const support::ScopedSettings settings(rulesLine("current"));
    LONG size = 0;
    failEachOnce([&] {
        const auto loaded = make<IEMailMessage>("EMailMessage");
        loaded->LoadMIME(Text(folder_.file("saved")));
        loaded->put_Subject(Text("\xD0\x97"));
        isDone(loaded, [&] { return loaded->Encode(); });
        loaded->Encode();
        const LONG now = number(*loaded, &IEMailMessage::get_Size);
        EXPECT_EQ(now, size == 0 ? now : size);
        size = now;
    });
}

TEST_F(Memory, SizesAndSources) {
    failEachOnce([&] {
        LONG size = 0;
        Text source;
        // A read of a property leaves the number alone unless memory ends.
        message_->AddHeader(Text("X-A"), Text(""));
        if (isDone(message_, [&] { return message_->get_Size(&size); })) {
            EXPECT_EQ(size, size_);
        }
        message_->AddHeader(Text("X-A"), Text(""));
        if (isDone(message_, [&] { return message_->get_MessageSource(source.put()); })) {
            EXPECT_EQ(source.utf8().size(), static_cast<std::size_t>(size_));
        }
        LONG ofAttachment = 0;
        if (isDone(message_, [&] { return message_->GetAttachmentSize(1, &ofAttachment); })) {
            EXPECT_GT(ofAttachment, 100);
        }
    });
}

TEST_F(Memory, AddAttachment) {
    failEachOnce([&] {
        LONG before = 0;
        LONG after = 0;
        message_->CountAttachments(&before);
        const Text path(folder_.file("a.bin"));
        const bool done = isDone(message_, [&] { return message_->AddAttachment(path); });
        message_->CountAttachments(&after);
        EXPECT_EQ(after, before + (done ? 1 : 0));
    });
}

TEST_F(Memory, SaveMime) {
    const Text path(folder_.file("copy"));
    failEachOnce([&] {
        std::filesystem::remove(folder_.file("copy"));
        if (isDone(message_, [&] { return message_->SaveMIME(path); })) {
            EXPECT_EQ(folder_.read(folder_.file("copy")), source_);
        }
    });
}

TEST_F(Memory, LoadMime) {
    const Text path(folder_.file("saved"));
    failEachOnce([&] {
        const auto loaded = make<IEMailMessage>("EMailMessage");
        if (isDone(loaded, [&] { return loaded->LoadMIME(path); })) {
            expectWhole(*loaded);
        }
    });
}

TEST_F(Memory, Queue) {
    std::filesystem::create_directory(folder_.file("queue"));
    for (const std::string rules : kRules) {
        const support::ScopedSettings settings(rulesLine(rules) + "\"Queue\"=\"" +
                                               folder_.file("queue") + "\"\n");
        compose();
        message_->AddBcc(Text("e@f.test"), nullptr);
        const auto smtp = make<ISmtp>("Smtp");
        Value value(message_);
        const Text host("h");
        failEachOnce([&] {
            const bool done = isDone(
                smtp, [&] { return smtp->Queue(value.get(), host, 0, 0, nullptr, nullptr); });
            int files = 0;
            for (const auto& file : std::filesystem::directory_iterator(folder_.file("queue"))) {
                const std::string queued = folder_.read(file.path());
                EXPECT_TRUE(queued.size() > source_.size() && file.path().extension() == ".znq");
                EXPECT_NE(queued.find("\r\nBcc: "), std::string::npos);
                ++files;
                std::filesystem::remove(file);
            }
            EXPECT_EQ(files, done ? 1 : 0);
            const std::string left = text(*message_, &IEMailMessage::get_MessageSource);
            EXPECT_TRUE(rules == "classic" || (left.find(kQueueField) == std::string::npos &&
                                               left.find("\r\nBcc: ") == std::string::npos));
        });
    }
}

TEST_F(Memory, Send) {
    std::vector<std::string> received;
    const support::ScriptedServer server([&received](support::ScriptedConnection& peer) {
        peer.send("220 ready\r\n");
        for (std::string line; !(line = peer.readLine()).empty();) {
            if (line.starts_with("DATA")) {
                peer.send("354 go on\r\n");
                received.push_back(peer.readUntil("\r\n.\r\n"));
            }
            peer.send(line.starts_with("EHLO") ? "250-h\r\n250 PIPELINING\r\n" : "250 done\r\n");
        }
    });
    for (const std::string rules : kRules) {
        const support::ScopedSettings settings(rulesLine(rules));
        compose();
        Value value(message_);
        failEachOnce([&] {
            const auto smtp = make<ISmtp>("Smtp");
            smtp->put_HostPort(server.port());
            smtp->put_TimeoutCommand(kPatience);
            smtp->Connect(Text("127.0.0.1"), nullptr, nullptr);
            received.clear();
            const bool done = isDone(smtp, [&] { return smtp->Send(value.get()); });
            // The next message goes out whole, or the connection has been given up.
            const bool again = smtp->Send(value.get()) == S_OK && lastError(smtp) == 0;
            smtp->Disconnect();
            const auto whole = std::ranges::count_if(received, [](const std::string& each) {
                return each.ends_with("--\r\n\r\n.\r\n") || each.ends_with("--\r\n.\r\n");
            });
            const auto strange = std::ranges::count_if(received, [](const std::string& each) {
                return !each.empty() && each.find("\r\nSubject: ") == each.npos;
            });
            EXPECT_GE(whole, (done ? 1 : 0) + (again ? 1 : 0));
            EXPECT_EQ(strange, 0);
        });
    }
}

TEST_F(Memory, GetEmailMessage) {
    const support::ScriptedServer server([this](support::ScriptedConnection& peer) {
        peer.send("+OK ready\r\n");
        for (std::string line; !(line = peer.readLine()).empty();) {
            peer.send(line.starts_with("RETR") ? "+OK\r\n" + source_ + "\r\n.\r\n" : "+OK 1 9\r\n");
            if (line.starts_with("CAPA")) {
                peer.send(".\r\n");
            }
        }
    });
    failEachOnce([&] {
        const auto pop3 = make<IPop3>("Pop3");
        pop3->put_HostPort(server.port());
        pop3->put_TimeoutCommand(kPatience);
        pop3->Connect(Text("127.0.0.1"), Text("u"), Text("p"));
        Value value;
        if (isDone(pop3, [&] { return pop3->GetEmailMessage(1, value.put()); })) {
            const auto loaded = ComPtr<IDispatch>(value.get()->pdispVal).as<IEMailMessage>();
            ASSERT_TRUE(loaded);
            expectWhole(*loaded);
        }
        pop3->Disconnect();
    });
}

}  // namespace
}  // namespace tessolt

#endif
