#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace tessolt::test {

/// Postfix and Dovecot from the system's packages over one maildir, with a configuration of their
/// own in a temporary folder and on free ports of 127.0.0.1. Both ask for the account below;
/// Postfix takes any message of a logged-in client for an address in `kDomain`.
class MailServers {
public:
    static constexpr const char* kUser = "user";
    static constexpr const char* kPassword = "secret";
    static constexpr const char* kDomain = "box.test";
    static constexpr const char* kAddress = "user@box.test";

    /// One pair of servers for all tests of the program.
    static const MailServers& shared();

    /// Starts both. When that can't be done, `problem` says why, in one line.
    MailServers();

    /// Stops both by process id and removes the folder.
    ~MailServers();

    MailServers(const MailServers&) = delete;
    MailServers& operator=(const MailServers&) = delete;

    /// Empty when both servers run.
    const std::string& problem() const { return problem_; }

    std::uint16_t smtpPort = 0;      ///< plain, AUTH
    std::uint16_t startTlsPort = 0;  ///< STARTTLS and AUTH
    std::uint16_t smtpsPort = 0;     ///< implicit TLS, AUTH
    std::uint16_t pop3Port = 0;      ///< plain, USER and APOP
    std::uint16_t pop3sPort = 0;     ///< implicit TLS
    std::uint16_t relayPort = 0;     ///< takes mail for `kDomain` from this machine without a login

    /// The certificate of both, signed by itself and made out for 127.0.0.1.
    std::string certificate() const { return root_ / "cert.pem"; }
    /// Where the messages lie, in "new" and "cur".
    std::filesystem::path mailbox() const { return root_ / "mail/box"; }

    /// Waits until the mailbox holds `count` messages; false after the given time.
    bool waitForMessages(std::size_t count, int milliseconds = 30000) const;

    /// Removes every message from the mailbox.
    void emptyMailbox() const;

private:
    void writeConfiguration() const;
    bool makeCertificate() const;
    bool startPostfix();
    bool startDovecot();

    std::filesystem::path root_;
    std::string problem_;
    pid_t postfix_ = 0;
    pid_t dovecot_ = 0;
};

}  // namespace tessolt::test
