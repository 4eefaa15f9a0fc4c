#include "integration/mail_servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>
#include <utility>
#include <vector>

#include "support/scripted_server.h"
#include "support/temporary_folder.h"

namespace tessolt::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uid_t kMailOwner = 5000;
constexpr milliseconds kStartLimit{20000};
constexpr milliseconds kStopLimit{10000};
constexpr milliseconds kPollStep{20};

bool accepts(std::uint16_t port) {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const bool connected =
        ::connect(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return connected;
}

/// Starts a program with its output thrown away; 0 when that fails.
pid_t spawn(const std::vector<std::string>& words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int failed =
        ::posix_spawn(&child, words[0].c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return failed ? 0 : child;
}

/// Runs a program to its end; true when it exits with 0.
bool run(const std::vector<std::string>& words) {
    const pid_t child = spawn(words);
    int status = 0;
    return child != 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

template <typename Condition>
bool waitUntil(milliseconds limit, Condition condition) {
    const auto end = steady_clock::now() + limit;
    while (!condition()) {
        if (steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(kPollStep);
    }
    return true;
}

pid_t readPid(const fs::path& path) {
    pid_t pid = 0;
    std::ifstream(path) >> pid;
    return pid;
}

void stop(pid_t pid) {
    if (pid <= 0 || ::kill(pid, SIGTERM) != 0) {
        return;
    }
    const auto gone = [pid] {
        ::waitpid(pid, nullptr, WNOHANG);
        return ::kill(pid, 0) != 0;
    };
    if (!waitUntil(kStopLimit, gone)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

}  // namespace

const MailServers& MailServers::shared() {
    static const MailServers instance;
    return instance;
}

MailServers::MailServers() {
    if (::geteuid() != 0) {
        problem_ = "the mail servers can only be started as root";
        return;
    }
    for (const char* program : {"/usr/sbin/postfix", "/usr/sbin/dovecot", "/usr/bin/openssl"}) {
        if (!fs::exists(program)) {
            problem_ = std::string(program) + " is not installed";
            return;
        }
    }
    std::string pattern = fs::temp_directory_path() / "tessolt-mail-XXXXXX";
    root_ = ::mkdtemp(pattern.data());
    // The servers' own accounts must be able to enter it.
    fs::permissions(root_, fs::perms(0755));
    for (std::uint16_t* port :
         {&smtpPort, &startTlsPort, &smtpsPort, &relayPort, &pop3Port, &pop3sPort}) {
        *port = support::unusedPort();
    }
    for (const char* folder : {"etc", "postfix/spool", "postfix/data", "dovecot", "mail"}) {
        fs::create_directories(root_ / folder);
    }
    const bool owned = ::chown((root_ / "mail").c_str(), kMailOwner, kMailOwner) == 0 &&
                       run({"/bin/chown", "postfix", root_ / "postfix/data"});
    writeConfiguration();
    if (!owned || !makeCertificate()) {
        problem_ = "the mail servers' files could not be made";
    } else if (!startDovecot()) {
        problem_ = "Dovecot could not be started";
    } else if (!startPostfix()) {
        problem_ = "Postfix could not be started";
    }
}

MailServers::~MailServers() {
    stop(postfix_);
    stop(dovecot_);
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

void MailServers::writeConfiguration() const {
    const std::pair<std::string, std::string> values[] = {
        {"@ROOT@", root_},
        {"@DOMAIN@", kDomain},
        {"@OWNER@", std::to_string(kMailOwner)},
        {"@SMTP@", std::to_string(smtpPort)},
        {"@STARTTLS@", std::to_string(startTlsPort)},
        {"@SMTPS@", std::to_string(smtpsPort)},
        {"@RELAY@", std::to_string(relayPort)},
        {"@POP3@", std::to_string(pop3Port)},
        {"@POP3S@", std::to_string(pop3sPort)}};
    for (const char* name : {"main.cf", "master.cf", "dovecot.conf"}) {
        std::string text =
            support::TemporaryFolder::read(std::string(TESSOLT_SERVER_CONFIG) + name);
        for (const auto& [placeholder, value] : values) {
            for (std::size_t at = 0; (at = text.find(placeholder, at)) != std::string::npos;) {
                text.replace(at, placeholder.size(), value);
            }
        }
        std::ofstream(root_ / "etc" / name) << text;
    }
    std::ofstream(root_ / "users") << kUser << ":{PLAIN}" << kPassword << '\n';
}

bool MailServers::makeCertificate() const {
    return run({"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout",
                root_ / "key.pem", "-out", root_ / "cert.pem"});
}

bool MailServers::startPostfix() {
    if (!run({"/usr/sbin/postfix", "-c", root_ / "etc", "start"})) {
        return false;
    }
    const fs::path pid_file = root_ / "postfix/spool/pid/master.pid";
    return waitUntil(kStartLimit, [&] {
        postfix_ = readPid(pid_file);
        return postfix_ > 0 && accepts(smtpPort) && accepts(smtpsPort);
    });
}

bool MailServers::startDovecot() {
    dovecot_ = spawn({"/usr/sbin/dovecot", "-F", "-c", root_ / "etc/dovecot.conf"});
    return dovecot_ > 0 && waitUntil(kStartLimit, [&] {
               return accepts(pop3Port) && fs::exists(root_ / "dovecot/auth");
           });
}

bool MailServers::waitForMessages(std::size_t count, int limit) const {
    return waitUntil(milliseconds(limit), [&] {
        std::size_t found = 0;
        for (const char* folder : {"new", "cur"}) {
            std::error_code missing;
            for (fs::directory_iterator entry(root_ / "mail/box" / folder, missing), end;
                 !missing && entry != end; ++entry) {
                ++found;
            }
        }
        return found >= count;
    });
}

void MailServers::emptyMailbox() const {
    // Dovecot may still be tidying up behind the last session.
    waitUntil(kStopLimit, [&] {
        std::error_code ignored;
        fs::remove_all(root_ / "mail/box", ignored);
        return !fs::exists(root_ / "mail/box");
    });
}

}  // namespace tessolt::test
