// What the front end of include/tessolt/mail.h costs: 1,000 small messages sent through it and
// through the interfaces, in turn in one run, each over one connection to the mail host of the
// examples.

#include <tessolt/mail.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "loopback_host.h"

namespace {

using namespace tessolt;

constexpr int kMessages = 1000;
constexpr int kRuns = 31;

double secondsOf(void (*job)(int), int port) {
    const auto start = std::chrono::steady_clock::now();
    job(port);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void byInterfaces(int port) {
    auto smtp = CreateObject<ISmtp>("Tessolt.Smtp");
    smtp.as<ITransfer>()->UseRules(TESSOLT_RULES_CURRENT);
    smtp->put_HostPort(port);
    smtp->Connect(Text("127.0.0.1"), Text("ann"), Text("secret"));
    for (int i = 0; i < kMessages; ++i) {
        auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
        message.as<IMessageData>()->UseRules(TESSOLT_RULES_CURRENT);
        message->put_FromAddress(Text("ann@example.org"));
        message->put_FromName(Text("Ann"));
        message->AddTo(Text("bob@example.org"), Text("Bob"));
        message->put_Subject(Text("Grüße " + std::to_string(i)));
        message->put_BodyPlainText(Text("Hello.\r\n"));
        smtp->Send(Value(message));
        LONG error = 0;
        smtp->get_LastError(&error);
        if (error != 0) {
            std::fprintf(stderr, "front_bench: %d\n", error);
            std::exit(1);
        }
    }
    smtp->Disconnect();
}

void byFrontEnd(int port) {
    SmtpOptions options;
    options.host = "127.0.0.1";
    options.port = port;
    options.user = "ann";
    options.password = "secret";
    SmtpSession smtp(options);
    for (int i = 0; i < kMessages; ++i) {
        Message message;
        message.from("ann@example.org", "Ann").to("bob@example.org", "Bob");
        message.subject("Grüße " + std::to_string(i)).text("Hello.\r\n");
        smtp.send(message);
    }
}

double best(const std::vector<double>& values) {
    return *std::min_element(values.begin(), values.end());
}

}  // namespace

int main() {
    std::vector<double> plain;
    std::vector<double> front;
    for (int run = 0; run < kRuns; ++run) {
        loopback::LoopbackHost host("ann", "secret");
        plain.push_back(secondsOf(byInterfaces, host.smtpPort()));
        front.push_back(secondsOf(byFrontEnd, host.smtpPort()));
    }
    std::printf("1,000 messages, best of %d runs: interfaces %.4f s, mail.h %.4f s, ratio %.3f\n",
                kRuns, best(plain), best(front), best(front) / best(plain));
}
