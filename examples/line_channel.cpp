#include "line_channel.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace loopback {
namespace {

constexpr int kPollMilliseconds = 50;
constexpr std::size_t kReadSize = 64 * 1024;
constexpr std::string_view kLineEnd = "\r\n";

}  // namespace

LineChannel::LineChannel(int socket, SSL* tls, const std::atomic<bool>& stopping)
    : socket_(socket), tls_(tls, SSL_free), stopping_(stopping) {
    ::fcntl(socket_, F_SETFL, O_NONBLOCK);
    // A reply and what follows it are two writes: the second mustn't wait for the peer.
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (tls_) {
        SSL_set_fd(tls_.get(), socket_);
        SSL_set_accept_state(tls_.get());
    }
}

LineChannel::~LineChannel() {
    if (tls_) {
        SSL_shutdown(tls_.get());
        ERR_clear_error();
    }
    ::close(socket_);
}

bool LineChannel::waitFor(short events) {
    while (!stopping_) {
        pollfd entry{socket_, events, 0};
        const int ready = ::poll(&entry, 1, kPollMilliseconds);
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
    return false;
}

/// Waits for what stood in the way of an operation with this result, which is for `events` without
/// TLS. False when the peer is gone.
bool LineChannel::waitAfter(int result, short events) {
    if (!tls_) {
        return result < 0 && (errno == EAGAIN || errno == EINTR) && waitFor(events);
    }
    const int reason = SSL_get_error(tls_.get(), result);
    ERR_clear_error();
    return (reason == SSL_ERROR_WANT_READ && waitFor(POLLIN)) ||
           (reason == SSL_ERROR_WANT_WRITE && waitFor(POLLOUT));
}

bool LineChannel::fill() {
    if (start_ > 0) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    std::array<char, kReadSize> chunk;
    for (;;) {
        const int got = tls_ ? SSL_read(tls_.get(), chunk.data(), int(chunk.size()))
                             : int(::recv(socket_, chunk.data(), chunk.size(), 0));
        if (got > 0) {
            buffer_.append(chunk.data(), static_cast<std::size_t>(got));
            return true;
        }
        if (!waitAfter(got, POLLIN)) {
            return false;
        }
    }
}

std::optional<std::string> LineChannel::readLine() {
    std::size_t scanned = 0;
    for (;;) {
        const std::size_t end = buffer_.find(kLineEnd, start_ + scanned);
        if (end != std::string::npos) {
            std::string line = buffer_.substr(start_, end - start_);
            start_ = end + kLineEnd.size();
            return line;
        }
        const std::size_t pending = buffer_.size() - start_;
        scanned = pending > 0 ? pending - 1 : 0;
        if (!fill()) {
            return std::nullopt;
        }
    }
}

bool LineChannel::send(std::string_view bytes) {
    while (!bytes.empty() && !stopping_) {
        const int sent = tls_ ? SSL_write(tls_.get(), bytes.data(), int(bytes.size()))
                              : int(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
        if (sent > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (!waitAfter(sent, POLLOUT)) {
            return false;
        }
    }
    return bytes.empty();
}

bool LineChannel::sendLine(std::string_view text) {
    std::string line(text);
    line += kLineEnd;
    return send(line);
}

std::optional<std::string> LineChannel::readDotted() {
    std::string text;
    for (;;) {
        const std::optional<std::string> line = readLine();
        if (!line) {
            return std::nullopt;
        }
        if (*line == ".") {
            return text;
        }
        std::string_view content = *line;
        if (content.starts_with('.')) {
            content.remove_prefix(1);
        }
        text.append(content).append(kLineEnd);
    }
}

bool LineChannel::sendDotted(std::string_view text) {
    std::string stuffed;
    stuffed.reserve(text.size() + text.size() / 64 + 8);
    while (!text.empty()) {
        const std::size_t end = text.find(kLineEnd);
        const std::string_view line = text.substr(0, end);
        if (line.starts_with('.')) {
            stuffed += '.';
        }
        stuffed.append(line).append(kLineEnd);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + kLineEnd.size());
    }
    stuffed += ".\r\n";
    return send(stuffed);
}

}  // namespace loopback
