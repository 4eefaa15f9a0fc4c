#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host_identity.h"
#include "line_channel.h"

namespace loopback {

/// The one mailbox that both servers of a LoopbackHost share. Safe for use by several threads.
class Mailbox {
public:
    /// Adds a message as it came behind DATA, with the dot-stuffing undone.
    void deliver(std::string message);

    /// Copies of all messages, in the order of their delivery.
    std::vector<std::string> messages() const;

    /// Removes the message at each of the given positions.
    void remove(const std::vector<std::size_t>& positions);

private:
    mutable std::mutex mutex_;
    std::vector<std::string> messages_;
};

/// A mail host for trying things on: an SMTP server (RFC 5321, with AUTH PLAIN) and a POP3 server
/// (RFC 1939, with APOP, CAPA and TOP) on ephemeral ports of 127.0.0.1 over one mailbox in memory,
/// each on a port in the clear and on one with TLS from the start. Any sender and recipient is
/// taken; the account and password are those given to the constructor.
class LoopbackHost {
public:
    /// Binds the ports and starts serving. Throws std::system_error when a port can't be had.
    LoopbackHost(std::string user, std::string password);

    /// Closes the ports, ends every session and joins the threads.
    ~LoopbackHost();

    LoopbackHost(const LoopbackHost&) = delete;
    LoopbackHost& operator=(const LoopbackHost&) = delete;

    /// Ports of the SMTP server and of the POP3 server, in the clear and with TLS.
    std::uint16_t smtpPort() const { return doors_[0].port; }
    std::uint16_t pop3Port() const { return doors_[1].port; }
    std::uint16_t smtpsPort() const { return doors_[2].port; }
    std::uint16_t pop3sPort() const { return doors_[3].port; }

    /// The certificate that it shows, for those who are to trust it.
    std::string certificatePem() const { return identity_.certificatePem(); }

    /// The mailbox behind both servers.
    Mailbox& mailbox() { return mailbox_; }

private:
    using Session = void (LoopbackHost::*)(LineChannel& channel);

    /// A port that is listened on, and what is spoken there.
    struct Door {
        Session session;
        bool with_tls;
        std::uint16_t port = 0;
        int listener = -1;
        std::thread thread = {};
    };

    void serve(const Door& door);
    void smtpSession(LineChannel& channel);
    void pop3Session(LineChannel& channel);

    std::string user_;
    std::string password_;
    Mailbox mailbox_;
    HostIdentity identity_;
    std::atomic<bool> stopping_{false};
    std::array<Door, 4> doors_;
};

}  // namespace loopback
