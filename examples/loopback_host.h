#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

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
/// (RFC 1939, with APOP, CAPA and TOP) on ephemeral ports of 127.0.0.1 over one mailbox in memory.
/// Any sender and recipient is taken; the account and password are those given to the constructor.
class LoopbackHost {
public:
    /// Binds both ports and starts serving. Throws std::system_error when a port can't be had.
    LoopbackHost(std::string user, std::string password);

    /// Closes both ports, ends every session and joins the threads.
    ~LoopbackHost();

    LoopbackHost(const LoopbackHost&) = delete;
    LoopbackHost& operator=(const LoopbackHost&) = delete;

    /// Port of the SMTP server.
    std::uint16_t smtpPort() const { return smtp_port_; }

    /// Port of the POP3 server.
    std::uint16_t pop3Port() const { return pop3_port_; }

    /// The mailbox behind both servers.
    Mailbox& mailbox() { return mailbox_; }

private:
    using Session = void (LoopbackHost::*)(int socket);

    void serve(int listener, Session session);
    void smtpSession(int socket);
    void pop3Session(int socket);

    std::string user_;
    std::string password_;
    Mailbox mailbox_;
    std::atomic<bool> stopping_{false};
    // The listeners fill the ports in, and the threads use both.
    std::uint16_t smtp_port_ = 0;
    std::uint16_t pop3_port_ = 0;
    int smtp_listener_;
    int pop3_listener_;
    std::thread smtp_thread_;
    std::thread pop3_thread_;
};

}  // namespace loopback
