#include "integration/mail_servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "support/scripted_server.h"

namespace tessolt::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uid_t kMailOwner = 5000;
constexpr milliseconds kStartLimit{20000};
constexpr milliseconds kStopLimit{10000};
constexpr milliseconds kPollStep{20};

constexpr const char* kMainCf = R"(compatibility_level = 3.6
queue_directory = @ROOT@/postfix/spool
data_directory = @ROOT@/postfix/data
command_directory = /usr/sbin
daemon_directory = /usr/lib/postfix/sbin
mail_owner = postfix
setgid_group = postdrop
maillog_file = @ROOT@/postfix/maillog
maillog_file_prefixes = @ROOT@
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
myhostname = mail.test
mydestination =
mynetworks =
alias_maps =
local_recipient_maps =
virtual_mailbox_domains = @DOMAIN@
virtual_mailbox_base = @ROOT@/mail
virtual_mailbox_maps = static:box/
virtual_uid_maps = static:@OWNER@
virtual_gid_maps = static:@OWNER@
virtual_minimum_uid = 100
virtual_mailbox_limit = 0
message_size_limit = 104857600
smtpd_sasl_auth_enable = yes
smtpd_sasl_type = dovecot
smtpd_sasl_path = @ROOT@/dovecot/auth
smtpd_sasl_security_options = noanonymous
smtpd_tls_auth_only = no
smtpd_tls_cert_file = @ROOT@/cert.pem
smtpd_tls_key_file = @ROOT@/key.pem
smtpd_tls_security_level = none
smtpd_recipient_restrictions = permit_sasl_authenticated, reject
smtpd_client_connection_count_limit = 0
smtpd_error_sleep_time = 0
)";

constexpr const char* kMasterCf = R"(127.0.0.1:@SMTP@ inet n - n - - smtpd
127.0.0.1:@STARTTLS@ inet n - n - - smtpd
  -o smtpd_tls_security_level=may
127.0.0.1:@SMTPS@ inet n - n - - smtpd
  -o smtpd_tls_wrappermode=yes
postlog unix-dgram n - n - 1 postlogd
cleanup unix n - n - 0 cleanup
qmgr unix n - n 300 1 qmgr
tlsmgr unix - - n 1000? 1 tlsmgr
rewrite unix - - n - - trivial-rewrite
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
retry unix - - n - - error
virtual unix - n n - - virtual
)";

constexpr const char* kDovecotConf = R"(protocols = pop3
listen = 127.0.0.1
base_dir = @ROOT@/dovecot/run
state_dir = @ROOT@/dovecot/state
log_path = @ROOT@/dovecot/log
default_login_user = dovenull
default_internal_user = dovecot
ssl = yes
ssl_cert = <@ROOT@/cert.pem
ssl_key = <@ROOT@/key.pem
disable_plaintext_auth = no
auth_mechanisms = plain login cram-md5 apop
auth_failure_delay = 0
mail_location = maildir:@ROOT@/mail/box
mail_max_userip_connections = 100
first_valid_uid = 100
first_valid_gid = 100
passdb {
  driver = passwd-file
  args = scheme=PLAIN username_format=%u @ROOT@/dovecot/users
}
userdb {
  driver = static
  args = uid=@OWNER@ gid=@OWNER@ home=@ROOT@/mail
}
service pop3-login {
  chroot =
  inet_listener pop3 {
    port = @POP3@
  }
  inet_listener pop3s {
    port = @POP3S@
  }
}
service auth {
  unix_listener @ROOT@/dovecot/auth {
    mode = 0666
  }
}
service anvil {
  chroot =
  unix_listener anvil-auth-penalty {
    mode = 0
  }
}
service stats {
  chroot =
}
)";

using Replacements = std::vector<std::pair<std::string, std::string>>;

void writeFile(const fs::path& path, std::string text, const Replacements& replacements) {
    for (const auto& [name, value] : replacements) {
        for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos;) {
            text.replace(at, name.size(), value);
        }
    }
    std::ofstream(path, std::ios::binary) << text;
}

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
         {&smtp_port_, &starttls_port_, &smtps_port_, &pop3_port_, &pop3s_port_}) {
        *port = support::unusedPort();
    }
    for (const char* folder : {"postfix/etc", "postfix/spool", "postfix/data", "dovecot", "mail"}) {
        fs::create_directories(root_ / folder);
    }
    const bool owned = ::chown((root_ / "mail").c_str(), kMailOwner, kMailOwner) == 0 &&
                       run({"/bin/chown", "postfix", root_ / "postfix/data"});
    writePostfixFiles();
    writeDovecotFiles();
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

void MailServers::writePostfixFiles() const {
    const fs::path folder = root_ / "postfix/etc";
    writeFile(folder / "main.cf", kMainCf,
              {{"@ROOT@", root_}, {"@DOMAIN@", kDomain}, {"@OWNER@", std::to_string(kMailOwner)}});
    writeFile(folder / "master.cf", kMasterCf,
              {{"@SMTP@", std::to_string(smtp_port_)},
               {"@STARTTLS@", std::to_string(starttls_port_)},
               {"@SMTPS@", std::to_string(smtps_port_)}});
}

void MailServers::writeDovecotFiles() const {
    const fs::path folder = root_ / "dovecot";
    writeFile(folder / "users", std::string(kUser) + ":{PLAIN}" + kPassword + "\n", {});
    writeFile(folder / "dovecot.conf", kDovecotConf,
              {{"@ROOT@", root_},
               {"@OWNER@", std::to_string(kMailOwner)},
               {"@POP3@", std::to_string(pop3_port_)},
               {"@POP3S@", std::to_string(pop3s_port_)}});
}

bool MailServers::makeCertificate() const {
    return run({"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout",
                root_ / "key.pem", "-out", root_ / "cert.pem"});
}

bool MailServers::startPostfix() {
    if (!run({"/usr/sbin/postfix", "-c", root_ / "postfix/etc", "start"})) {
        return false;
    }
    const fs::path pid_file = root_ / "postfix/spool/pid/master.pid";
    return waitUntil(kStartLimit, [&] {
        postfix_ = readPid(pid_file);
        return postfix_ > 0 && accepts(smtp_port_) && accepts(smtps_port_);
    });
}

bool MailServers::startDovecot() {
    dovecot_ = spawn({"/usr/sbin/dovecot", "-F", "-c", root_ / "dovecot/dovecot.conf"});
    return dovecot_ > 0 && waitUntil(kStartLimit, [&] {
               return accepts(pop3_port_) && fs::exists(root_ / "dovecot/auth");
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
    std::error_code ignored;
    fs::remove_all(root_ / "mail/box", ignored);
}

}  // namespace tessolt::test
