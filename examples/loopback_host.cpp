#include "loopback_host.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <set>
#include <system_error>

#include "loopback_port.h"

namespace loopback {
namespace {

constexpr int kBacklog = 16;
constexpr int kAcceptPollMilliseconds = 50;
constexpr std::string_view kApopTimestamp = "<1.1@loopback.example>";

int listenOnLoopback(std::uint16_t& port) {
    const int listener = bindSocket(port);
    if (listener < 0 || ::listen(listener, kBacklog) != 0) {
        throw std::system_error(errno, std::generic_category(), "loopback port");
    }
    return listener;
}

/// The first word in upper case and the rest of the line behind one blank.
struct Command {
    std::string verb;
    std::string argument;
};

Command parseCommand(const std::string& line) {
    const std::size_t blank = line.find(' ');
    Command command{line.substr(0, blank), {}};
    std::transform(command.verb.begin(), command.verb.end(), command.verb.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (blank != std::string::npos) {
        command.argument = line.substr(blank + 1);
    }
    return command;
}

std::string decodeBase64(std::string_view text) {
    std::string out(text.size() / 4 * 3 + 3, '\0');
    const int written =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
    const auto padding = std::count(text.begin(), text.end(), '=');
    out.resize(written < 0 ? 0 : static_cast<std::size_t>(written - padding));
    return out;
}

std::string md5Hex(std::string_view text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_md5(), nullptr);
    static constexpr std::string_view kDigits = "0123456789abcdef";
    std::string out;
    for (unsigned int i = 0; i < size; ++i) {
        out += kDigits[digest[i] >> 4];
        out += kDigits[digest[i] & 15];
    }
    return out;
}

/// Header block and the first `lines` lines of the body (RFC 1939, TOP).
std::string_view topOf(std::string_view message, std::size_t lines) {
    std::size_t at = message.find("\r\n\r\n");
    if (at == std::string_view::npos) {
        return message;
    }
    at += 4;
    for (; lines > 0; --lines) {
        const std::size_t end = message.find("\r\n", at);
        if (end == std::string_view::npos) {
            return message;
        }
        at = end + 2;
    }
    return message.substr(0, at);
}

/// The POP3 dialogue over a snapshot of the mailbox; deletions take effect at QUIT.
class Pop3Dialogue {
public:
    Pop3Dialogue(LineChannel& channel, Mailbox& mailbox, const std::string& user,
                 const std::string& password)
        : channel_(channel),
          mailbox_(mailbox),
          user_(user),
          password_(password),
          messages_(mailbox.messages()) {}

    void run() {
        channel_.sendLine("+OK ready " + std::string(kApopTimestamp));
        while (auto line = channel_.readLine()) {
            const Command command = parseCommand(*line);
            if (command.verb == "QUIT") {
                mailbox_.remove({deleted_.begin(), deleted_.end()});
                channel_.sendLine("+OK bye");
                return;
            }
            if (!(logged_in_ ? transaction(command) : authorization(command))) {
                channel_.sendLine("-ERR unknown command");
            }
        }
    }

private:
    bool authorization(const Command& command) {
        if (command.verb == "USER") {
            given_user_ = command.argument;
            channel_.sendLine("+OK");
        } else if (command.verb == "PASS") {
            login(given_user_ == user_ && command.argument == password_);
        } else if (command.verb == "APOP") {
            login(command.argument ==
                  user_ + " " + md5Hex(std::string(kApopTimestamp) + password_));
        } else {
            return capabilities(command);
        }
        return true;
    }

    void login(bool good) {
        logged_in_ = good;
        channel_.sendLine(good ? "+OK logged in" : "-ERR login failed");
    }

    bool capabilities(const Command& command) {
        if (command.verb != "CAPA") {
            return false;
        }
        return channel_.send("+OK\r\nTOP\r\nUSER\r\nUIDL\r\n.\r\n");
    }

    bool transaction(const Command& command) {
        if (command.verb == "STAT") {
            std::size_t octets = 0;
            for (std::size_t i = 0; i < messages_.size(); ++i) {
                octets += deleted_.contains(i) ? 0 : messages_[i].size();
            }
            channel_.sendLine("+OK " + std::to_string(messages_.size() - deleted_.size()) + " " +
                              std::to_string(octets));
        } else if (command.verb == "RETR" || command.verb == "TOP" || command.verb == "DELE") {
            onMessage(command);
        } else if (command.verb == "LIST" || command.verb == "UIDL") {
            list(command);
        } else if (command.verb == "NOOP" || command.verb == "RSET") {
            if (command.verb == "RSET") {
                deleted_.clear();
            }
            channel_.sendLine("+OK");
        } else {
            return capabilities(command);
        }
        return true;
    }

    /// Sizes or unique ids, of one message or of all.
    void list(const Command& command) {
        const bool sizes = command.verb == "LIST";
        std::string lines;
        for (std::size_t i = 0; i < messages_.size(); ++i) {
            const std::string number = std::to_string(i + 1);
            if (!deleted_.contains(i) && (command.argument.empty() || command.argument == number)) {
                lines += number + " ";
                lines +=
                    sizes ? std::to_string(messages_[i].size()) : md5Hex(number + messages_[i]);
                lines += "\r\n";
            }
        }
        if (command.argument.empty()) {
            channel_.send("+OK\r\n" + lines + ".\r\n");
        } else {
            channel_.send(lines.empty() ? "-ERR no such message\r\n" : "+OK " + lines);
        }
    }

    void onMessage(const Command& command) {
        std::size_t number = 0;
        std::size_t lines = 0;
        const char* end = command.argument.data() + command.argument.size();
        const auto [rest, error] = std::from_chars(command.argument.data(), end, number);
        if (error != std::errc() || number < 1 || number > messages_.size() ||
            deleted_.contains(number - 1)) {
            channel_.sendLine("-ERR no such message");
            return;
        }
        if (command.verb == "DELE") {
            deleted_.insert(number - 1);
            channel_.sendLine("+OK");
            return;
        }
        const std::string& message = messages_[number - 1];
        channel_.sendLine("+OK " + std::to_string(message.size()) + " octets");
        if (command.verb == "TOP") {
            std::from_chars(std::min(rest + 1, end), end, lines);
            channel_.sendDotted(topOf(message, lines));
        } else {
            channel_.sendDotted(message);
        }
    }

    LineChannel& channel_;
    Mailbox& mailbox_;
    const std::string& user_;
    const std::string& password_;
    std::vector<std::string> messages_;
    std::set<std::size_t> deleted_;
    std::string given_user_;
    bool logged_in_ = false;
};

}  // namespace

void Mailbox::deliver(std::string message) {
    const std::lock_guard lock(mutex_);
    messages_.push_back(std::move(message));
}

std::vector<std::string> Mailbox::messages() const {
    const std::lock_guard lock(mutex_);
    return messages_;
}

void Mailbox::remove(const std::vector<std::size_t>& positions) {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < messages_.size(); ++i) {
        if (std::find(positions.begin(), positions.end(), i) == positions.end()) {
            kept.push_back(std::move(messages_[i]));
        }
    }
    messages_ = std::move(kept);
}

LoopbackHost::LoopbackHost(std::string user, std::string password)
    : user_(std::move(user)),
      password_(std::move(password)),
      doors_({{{&LoopbackHost::smtpSession, false},
               {&LoopbackHost::pop3Session, false},
               {&LoopbackHost::smtpSession, true},
               {&LoopbackHost::pop3Session, true}}}) {
    for (Door& door : doors_) {
        door.listener = listenOnLoopback(door.port);
    }
    for (Door& door : doors_) {
        door.thread = std::thread([this, &door] { serve(door); });
    }
}

LoopbackHost::~LoopbackHost() {
    stopping_ = true;
    for (Door& door : doors_) {
        door.thread.join();
        ::close(door.listener);
    }
}

void LoopbackHost::serve(const Door& door) {
    // TLS writes without asking for no signal. The threads of the sessions have this too.
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::vector<std::thread> sessions;
    while (!stopping_) {
        pollfd entry{door.listener, POLLIN, 0};
        if (::poll(&entry, 1, kAcceptPollMilliseconds) <= 0) {
            continue;
        }
        const int peer = ::accept4(door.listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (peer >= 0) {
            sessions.emplace_back([this, &door, peer] {
                LineChannel channel(peer, door.with_tls ? identity_.newSession() : nullptr,
                                    stopping_);
                (this->*door.session)(channel);
            });
        }
    }
    for (std::thread& one : sessions) {
        one.join();
    }
}

void LoopbackHost::smtpSession(LineChannel& channel) {
    channel.sendLine("220 loopback.example ready");
    bool in_transaction = false;
    bool has_recipient = false;
    while (auto line = channel.readLine()) {
        const Command command = parseCommand(*line);
        if (command.verb == "EHLO") {
            channel.send("250-loopback.example\r\n250-8BITMIME\r\n250 AUTH PLAIN\r\n");
        } else if (command.verb == "HELO" || command.verb == "NOOP") {
            channel.sendLine("250 loopback.example");
        } else if (command.verb == "AUTH") {
            const std::string wanted = std::string(1, '\0') + user_ + '\0' + password_;
            const bool good = command.argument.starts_with("PLAIN ") &&
                              decodeBase64(command.argument.substr(6)) == wanted;
            channel.sendLine(good ? "235 welcome" : "535 authentication failed");
        } else if (command.verb == "MAIL" || command.verb == "RSET") {
            in_transaction = command.verb == "MAIL";
            has_recipient = false;
            channel.sendLine("250 ok");
        } else if (command.verb == "RCPT") {
            has_recipient = in_transaction;
            channel.sendLine(in_transaction ? "250 ok" : "503 MAIL first");
        } else if (command.verb == "DATA" && has_recipient) {
            channel.sendLine("354 go on");
            auto message = channel.readDotted();
            if (!message) {
                return;
            }
            mailbox_.deliver(std::move(*message));
            in_transaction = has_recipient = false;
            channel.sendLine("250 taken");
        } else if (command.verb == "QUIT") {
            channel.sendLine("221 bye");
            return;
        } else {
            channel.sendLine("503 not now");
        }
    }
}

void LoopbackHost::pop3Session(LineChannel& channel) {
    Pop3Dialogue(channel, mailbox_, user_, password_).run();
}

}  // namespace loopback
