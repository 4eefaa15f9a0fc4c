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

    /// Starts both. When that can't be done, `problem` says why, in one line.
    MailServers();

    /// Stops both by process id and removes the folder.
    ~MailServers();

    MailServers(const MailServers&) = delete;
    MailServers& operator=(const MailServers&) = delete;

    /// Empty when both servers run.
    const std::string& problem() const { return problem_; }

    std::uint16_t smtpPort() const { return smtp_port_; }          ///< plain, AUTH
    std::uint16_t startTlsPort() const { return starttls_port_; }  ///< STARTTLS and AUTH
    std::uint16_t smtpsPort() const { return smtps_port_; }        ///< implicit TLS, AUTH
    std::uint16_t pop3Port() const { return pop3_port_; }          ///< plain, USER and APOP
    std::uint16_t pop3sPort() const { return pop3s_port_; }        ///< implicit TLS

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
    std::uint16_t smtp_port_ = 0;
    std::uint16_t starttls_port_ = 0;
    std::uint16_t smtps_port_ = 0;
    std::uint16_t pop3_port_ = 0;
    std::uint16_t pop3s_port_ = 0;
};

}  // namespace tessolt::test
