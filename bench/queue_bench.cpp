// Messages a second through the queue runner over one connection, beside Smtp.Send in a loop on one
// connection, against the same server in one run.
//
//     queue_bench PORT [ACCOUNT PASSWORD RECIPIENT]    a server on 127.0.0.1
//
// Without arguments the server is a process of its own that answers at once and keeps nothing.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "mail/smtp.h"
#include "message/znmail.h"
#include "peer_timing.h"
#include "queue/runner.h"

namespace {

using namespace tessolt;

constexpr int kMessages = 1000;
constexpr int kRounds = 5;
constexpr std::size_t kBodyBytes = 2000;

struct Server {
    std::string account;
    std::string password;
    std::string recipient = "b@bench.test";
    int port = 0;
};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "queue_bench: %s\n", what.c_str());
    std::exit(1);
}

void converse(int connection) {
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    FILE* stream = fdopen(connection, "r");
    char line[4096];
    bool isText = false;
    const auto say = [&](const char* reply) {
        [[maybe_unused]] const auto sent = send(connection, reply, std::strlen(reply), 0);
    };
    say("220 bench\r\n");
    while (std::fgets(line, sizeof line, stream) != nullptr) {
        if (isText) {
            isText = std::strcmp(line, ".\r\n") != 0;
            if (!isText) {
                say("250 taken\r\n");
            }
        } else if (strncasecmp(line, "DATA", 4) == 0) {
            isText = true;
            say("354 go\r\n");
        } else if (strncasecmp(line, "QUIT", 4) == 0) {
            say("221 bye\r\n");
            break;
        } else {
            say("250 ok\r\n");
        }
    }
    std::fclose(stream);
}

/// Starts the server; its process ends with this one.
pid_t startServer(int& port) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        listen(listener, 8) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail("no server");
    }
    port = ntohs(address.sin_port);
    const pid_t child = fork();
    while (child == 0) {
        converse(accept(listener, nullptr, nullptr));
    }
    close(listener);
    return child;
}

void compose(CZnMail& mail, const Server& server, int number) {
    mail.m_wstrFromAddress = u"a@bench.test";
    mail.AddTo(CZncStringW(server.recipient.c_str()).View());
    mail.m_wstrSubject = CZncStringW(("bench " + std::to_string(number)).c_str());
    mail.m_wstrBodyPlainText = CZncStringW(std::string(kBodyBytes, 'x').c_str());
}

double elapsed(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void sendInLoop(const Server& server) {
    CZnSmtp smtp;
    smtp.m_strHost = "127.0.0.1";
    smtp.m_lHostPort = server.port;
    smtp.m_strAccount.Assign(std::string_view(server.account));
    smtp.m_strPassword.Assign(std::string_view(server.password));
    if (smtp.Connect() != 0) {
        fail("no connection");
    }
    for (int i = 0; i < kMessages; ++i) {
        CZnMail mail;
        compose(mail, server, i);
        if (smtp.Send(mail) != 0) {
            fail(smtp.m_strLastResponse.GetString());
        }
    }
    smtp.Disconnect();
}

void fillQueue(const Server& server, const std::string& folder) {
    for (int i = 0; i < kMessages; ++i) {
        CZnMail mail;
        compose(mail, server, i);
        if (CZnSmtp().Queue(mail, folder.c_str(), "127.0.0.1", server.port, false,
                            server.account.c_str(), server.password.c_str()) != 0) {
            fail("nothing can be queued in " + folder);
        }
    }
}

void drain(const std::string& folder) {
    queue::RunnerOptions options;
    options.folder = folder;
    queue::Runner runner(options, [](queue::EventKind kind, const std::string& line) {
        if (kind != queue::EventKind::kInfo) {
            fail(line);
        }
    });
    if (runner.drain().sent != kMessages) {
        fail("not all were sent");
    }
}

}  // namespace

int main(int argc, char** argv) {
    Server server;
    pid_t child = 0;
    if (argc == 2 || argc == 5) {
        server.port = std::atoi(argv[1]);
        if (argc == 5) {
            server.account = argv[2];
            server.password = argv[3];
            server.recipient = argv[4];
        }
    } else {
        child = startServer(server.port);
    }
    std::string folder = std::filesystem::temp_directory_path() / "queue-bench-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        fail("no folder");
    }
    std::vector<double> loops;
    std::vector<double> drains;
    for (int round = 0; round < kRounds; ++round) {
        loops.push_back(elapsed([&] { sendInLoop(server); }));
        fillQueue(server, folder);
        drains.push_back(elapsed([&] { drain(folder); }));
    }
    const double loop = bench::median(loops);
    const double queued = bench::median(drains);
    std::printf(
        "queue runner %7.0f messages/s  Smtp.Send in a loop %7.0f messages/s  ratio %5.2f\n",
        kMessages / queued, kMessages / loop, loop / queued);
    std::filesystem::remove_all(folder);
    if (child > 0) {
        kill(child, SIGTERM);
        waitpid(child, nullptr, 0);
    }
    return 0;
}
