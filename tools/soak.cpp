// What goes on for long has to stay as it began: the memory, descriptors and threads of a process.
//
//   soak loads COUNT FOLDER    loads a message or a file of the folder, by both sets of rules
//   soak messages COUNT        sends so many over one connection, and fetches as many over another
//   soak connections COUNT     a message over each, by SMTP and POP3, every second one over TLS
//   soak threads SECONDS       eight threads that compose, send, fetch and read at once
//
// It prints where it stands ten times. Servers are processes of their own. Ends with 1 where
// something has grown since the first of the ten.

#include <tessolt/message_data.h>
#include <tessolt/tessolt.h>
#include <tessolt/transfer.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "mail_server.h"
#include "support/process_memory.h"

namespace {

using bench::fail;
using bench::Server;
using bench::Stream;
using tessolt::ComPtr;
using tessolt::IEMailMessage;
using tessolt::IMessageData;
using tessolt::IPop3;
using tessolt::ISmtp;
using tessolt::Text;
using tessolt::Value;

constexpr LONG kRules[] = {tessolt::TESSOLT_RULES_CLASSIC, tessolt::TESSOLT_RULES_CURRENT};
constexpr int kSamples = 10;
constexpr int kThreads = 8;
/// What the heap may come to more by another order of the same requests.
constexpr long kMostGrowthKib = 1024;
constexpr const char* kSubject =
    "Gr\xC3\xBC\xC3\x9F"
    "e \xF0\x9F\x91\x8B";

/// What the process uses, ten times on the way.
class Watch {
public:
    void sample(const std::string& place) {
        const Use now{support::memoryKib("VmRSS"), static_cast<long>(support::openFiles()),
                      support::memoryKib("Threads")};
        std::printf("%12s %8ld KiB %4ld descriptors %3ld threads\n", place.c_str(), now.kib,
                    now.files, now.threads);
        std::fflush(stdout);
        samples_.push_back(now);
    }
    /// Called behind each of `count` steps.
    void step(long done, long count) {
        if (done % std::max(count / kSamples, 1L) == 0) {
            sample(std::to_string(done));
        }
    }
    /// But for a session that each thread may have.
    bool isFlat() const {
        const Use& first = samples_.front();
        const Use& last = samples_.back();
        return last.kib <= first.kib + kMostGrowthKib && last.files <= first.files + kThreads &&
               last.threads == first.threads;
    }

private:
    struct Use {
        long kib, files, threads;
    };
    std::vector<Use> samples_;
};

template <class Object>
void require(const ComPtr<Object>& object, const char* what) {
    LONG number = 0;
    object->get_LastError(&number);
    if (number != 0) {
        std::fprintf(stderr, "error %d: ", static_cast<int>(number));
        fail(what);
    }
}

std::string body() {
    std::string text;
    for (int i = 0; i < 40; ++i) {
        text += ".A line of a text, as long as most are.\r\n";
    }
    return text;
}

ComPtr<IEMailMessage> newMessage(LONG rules) {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    message.as<IMessageData>()->UseRules(rules);
    return message;
}

ComPtr<IEMailMessage> composed(LONG rules) {
    static const std::string text = body();
    auto message = newMessage(rules);
    message->put_FromAddress(Text("ann@soak.test"));
    message->put_FromName(Text(kSubject));
    message->AddTo(Text("bob@soak.test"), Text("Bob"));
    message->put_Subject(Text(kSubject));
    message->put_BodyPlainText(Text(text));
    message->put_BodyHtml(Text("<p>" + text + "</p>"));
    message.as<IMessageData>()->AddAttachmentBytes(text.data(), text.size(), Text("text.bin"));
    require(message, "a message can't be composed");
    return message;
}

std::string textOf(const ComPtr<IEMailMessage>& message) {
    tessolt::ByteView bytes{};
    message->Encode();
    message.as<IMessageData>()->GetMimeBytes(&bytes);
    return {bytes.data, bytes.size};
}

/// Reads all that a program would show.
void readWhole(const ComPtr<IEMailMessage>& message) {
    Text text;
    message->get_Subject(text.put());
    message->get_FromAddress(text.put());
    message->get_BodyPlainText(text.put());
    message->get_BodyHtml(text.put());
    LONG count = 0;
    message->CountAttachments(&count);
    for (LONG i = 1; i <= count; ++i) {
        tessolt::ByteView bytes{};
        message->GetAttachmentName(i, text.put());
        message.as<IMessageData>()->GetAttachmentBytes(i, &bytes);
    }
}

void readTheSame(const ComPtr<IEMailMessage>& message) {
    Text subject;
    message->get_Subject(subject.put());
    LONG count = 0;
    message->CountAttachments(&count);
    if (subject.utf8() != kSubject || count != 1) {
        fail("what was fetched isn't what was sent");
    }
    readWhole(message);
}

template <class Session>
ComPtr<Session> opened(const char16_t* name, const Server& server, bool secure, LONG rules) {
    constexpr LONG kPatience = 60'000;
    auto session = tessolt::CreateObject<Session>(name);
    session.template as<tessolt::ITransfer>()->UseRules(rules);
    session->put_HostPort(server.port());
    session->put_TimeoutConnect(kPatience);
    session->put_TimeoutCommand(kPatience);
    session->put_TimeoutData(kPatience);
    if (secure) {
        session->SetSecure(server.port());
    }
    session->Connect(Text("127.0.0.1"), Text(), Text());
    require(session, "no connection");
    return session;
}

void sendOne(const ComPtr<ISmtp>& smtp, LONG rules) {
    smtp->Send(Value(composed(rules)));
    require(smtp, "a message can't be sent");
}

void fetchOne(const ComPtr<IPop3>& pop3) {
    Value value;
    pop3->GetEmailMessage(1, value.put());
    require(pop3, "a message can't be fetched");
    readTheSame(value.object<IEMailMessage>());
}

/// The servers for sending and fetching, in the clear or over TLS.
struct Servers {
    explicit Servers(bool secure)
        : secure(secure), smtp(secure, bench::serveSmtp), pop3(secure, [](Stream& stream) {
              std::string text = textOf(composed(kRules[0]));
              for (std::size_t at = 0; (at = text.find("\n.", at)) != text.npos; at += 3) {
                  text.insert(at + 1, 1, '.');
              }
              bench::servePop3(stream, "+OK\r\n" + text + "\r\n.\r\n");
          }) {}

    bool secure;
    Server smtp;
    Server pop3;
};

/// A certificate of the servers' own goes by classic rules alone.
LONG rulesFor(const Servers& servers, long number) {
    return servers.secure ? kRules[0] : kRules[number % 2];
}

void connectOnce(const Servers& servers, long number) {
    const LONG rules = rulesFor(servers, number);
    const auto smtp = opened<ISmtp>(u"Tessolt.Smtp", servers.smtp, servers.secure, rules);
    sendOne(smtp, rules);
    smtp->Disconnect();
    const auto pop3 = opened<IPop3>(u"Tessolt.Pop3", servers.pop3, servers.secure, rules);
    fetchOne(pop3);
    pop3->Disconnect();
}

void soakLoads(Watch& watch, long count, const std::string& folder) {
    std::vector<std::string> texts;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        texts.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    const std::string whole = textOf(composed(kRules[0]));
    for (long i = 1; i <= count; ++i) {
        const std::string& text =
            i % 4 < 2 ? whole : texts[static_cast<std::size_t>(i) % texts.size()];
        const auto message = newMessage(kRules[i % 2]);
        message.as<IMessageData>()->LoadBytes(text.data(), text.size());
        require(message, "a message can't be loaded");
        readWhole(message);
        watch.step(i, count);
    }
}

void soakMessages(Watch& watch, long count) {
    const Servers servers(false);
    const auto smtp = opened<ISmtp>(u"Tessolt.Smtp", servers.smtp, false, kRules[1]);
    const auto pop3 = opened<IPop3>(u"Tessolt.Pop3", servers.pop3, false, kRules[1]);
    for (long i = 1; i <= count; ++i) {
        sendOne(smtp, kRules[i % 2]);
        fetchOne(pop3);
        watch.step(i, count);
    }
}

void soakConnections(Watch& watch, long count) {
    const Servers plain(false);
    const Servers secure(true);
    for (long i = 1; i <= count; ++i) {
        connectOnce(i % 2 == 0 ? secure : plain, i / 2);
        watch.step(i, count);
    }
}

void soakThreads(Watch& watch, long seconds) {
    std::vector<std::unique_ptr<Servers>> servers;
    for (int i = 0; i < kThreads; ++i) {
        servers.push_back(std::make_unique<Servers>(i % 2 == 1));
    }
    std::atomic<bool> isOver = false;
    std::atomic<long> sessions = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (const auto& own : servers) {
        threads.emplace_back([&, own = own.get()] {
            for (long i = 0; !isOver; ++i) {
                connectOnce(*own, i);
                ++sessions;
            }
        });
    }
    for (int i = 1; i <= kSamples; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1000 * seconds / kSamples));
        watch.sample(std::to_string(sessions));
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 2 ? argv[1] : "";
    const long count = argc > 2 ? std::atol(argv[2]) : 0;
    Watch watch;
    if (what == "loads" && argc > 3) {
        soakLoads(watch, count, argv[3]);
    } else if (what == "messages") {
        soakMessages(watch, count);
    } else if (what == "connections") {
        soakConnections(watch, count);
    } else if (what == "threads") {
        soakThreads(watch, count);
    } else {
        fail("soak loads COUNT FOLDER | messages COUNT | connections COUNT | threads SECONDS");
    }
    if (!watch.isFlat()) {
        fail("something has grown");
    }
    return 0;
}
