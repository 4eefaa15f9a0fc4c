#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace bench {

[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::_Exit(1);
}

/// One connection of the server, plain or TLS. What it says comes `delay` after what it answers.
class Stream {
public:
    Stream(int socket, SSL_CTX* context, std::chrono::milliseconds delay)
        : socket_(socket), delay_(delay) {
        if (context != nullptr) {
            ssl_ = SSL_new(context);
            SSL_set_fd(ssl_, socket);
            open_ = SSL_accept(ssl_) == 1;
        }
    }
    ~Stream() {
        SSL_free(ssl_);
        ::close(socket_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void send(std::string_view text) {
        if (heard_ && delay_.count() > 0) {
            std::this_thread::sleep_for(delay_);
        }
        heard_ = false;
        while (open_ && !text.empty()) {
            const auto count = ssl_ != nullptr
                                   ? SSL_write(ssl_, text.data(), static_cast<int>(text.size()))
                                   : ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
            open_ = count > 0;
            text.remove_prefix(open_ ? static_cast<std::size_t>(count) : 0);
        }
    }
    /// The next command without its end, good until the next call; false at the end.
    bool readLine(std::string_view& line) {
        std::size_t end = std::string::npos;
        while ((end = held_.find("\r\n", at_)) == std::string::npos) {
            if (!fill()) {
                return false;
            }
        }
        line = std::string_view(held_).substr(at_, end - at_);
        at_ = end + 2;
        return true;
    }
    /// Reads a text up to its end mark and forgets it.
    bool skipText() {
        while (!std::string_view(held_).substr(at_).ends_with("\r\n.\r\n")) {
            constexpr std::size_t kTail = 4;  // what a mark may have come of
            at_ = std::max(at_, held_.size() - std::min(held_.size(), kTail));
            if (!fill()) {
                return false;
            }
        }
        at_ = held_.size();
        return true;
    }

private:
    static constexpr std::size_t kReadBytes = 256 * 1024;

    bool fill() {
        held_.erase(0, at_);
        at_ = 0;
        const auto count = ssl_ != nullptr ? SSL_read(ssl_, block_.get(), kReadBytes)
                                           : ::recv(socket_, block_.get(), kReadBytes, 0);
        open_ = open_ && count > 0;
        if (open_) {
            held_.append(block_.get(), static_cast<std::size_t>(count));
            heard_ = true;
        }
        return open_;
    }

    int socket_;
    std::chrono::milliseconds delay_;
    SSL* ssl_ = nullptr;
    bool open_ = true;
    bool heard_ = false;
    std::string held_;
    std::size_t at_ = 0;
    std::unique_ptr<char[]> block_ = std::make_unique_for_overwrite<char[]>(kReadBytes);
};

/// Takes any mail and forgets it.
inline void serveSmtp(Stream& stream) {
    stream.send("220 bench\r\n");
    for (std::string_view line; stream.readLine(line);) {
        if (line.starts_with("EHLO")) {
            stream.send("250-bench\r\n250-PIPELINING\r\n250-SIZE 100000000\r\n250 8BITMIME\r\n");
        } else if (line == "DATA") {
            stream.send("354 go\r\n");
            if (!stream.skipText()) {
                return;
            }
            stream.send("250 taken\r\n");
        } else {
            stream.send(line == "QUIT" ? "221 bye\r\n" : "250 ok\r\n");
        }
    }
}

/// Gives the same message, in its form for the wire, under every number.
inline void servePop3(Stream& stream, const std::string& reply) {
    stream.send("+OK bench\r\n");
    for (std::string_view line; stream.readLine(line);) {
        if (line.starts_with("RETR")) {
            stream.send(reply);
        } else if (line == "STAT") {
            stream.send("+OK 1000 25000000\r\n");
        } else if (line == "CAPA") {
            stream.send("+OK\r\nUSER\r\n.\r\n");
        } else {
            stream.send("+OK\r\n");
        }
    }
}

inline SSL_CTX* makeContext() {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    X509_sign(certificate, key, EVP_sha256());
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    SSL_CTX_use_certificate(context, certificate);
    SSL_CTX_use_PrivateKey(context, key);
    return context;
}

/// A server in a process of its own, on a loopback port. One connection at a time.
class Server {
public:
    Server(bool secure, const std::function<void(Stream&)>& serve,
           std::chrono::milliseconds delay = {}) {
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            ::listen(listener, 8) != 0 ||
            ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
            fail("no port to listen on");
        }
        port_ = ntohs(address.sin_port);
        child_ = ::fork();
        if (child_ == 0) {
            SSL_CTX* const context = secure ? makeContext() : nullptr;
            for (;;) {
                const int accepted = ::accept(listener, nullptr, nullptr);
                const int on = 1;
                ::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
                Stream stream(accepted, context, delay);
                serve(stream);
            }
        }
        ::close(listener);
    }
    ~Server() {
        ::kill(child_, SIGTERM);
        ::waitpid(child_, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    int port() const { return port_; }

private:
    int port_ = 0;
    pid_t child_ = -1;
};

}  // namespace bench
