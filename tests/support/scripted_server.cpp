#include "support/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "loopback_port.h"

namespace support {
namespace {

constexpr int kForever = -1;
constexpr int kLongestWaitMs = 5000;
constexpr std::size_t kReadBytes = 64 * 1024;

}  // namespace

int socketTo(std::uint16_t port) {
    constexpr int kMostDescriptors = 1024;
    for (int fd = 0; fd < kMostDescriptors; ++fd) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sin_family == AF_INET && ntohs(address.sin_port) == port) {
            return fd;
        }
    }
    return -1;
}

void ServerStream::flood(std::string_view piece, std::size_t totalBytes) {
    std::string block;
    while (block.size() < kReadBytes) {
        block.append(piece);
    }
    std::size_t sent = 0;
    while (sent < totalBytes && send(std::string_view(block).substr(0, totalBytes - sent))) {
        sent += block.size();
    }
}

std::string ServerStream::readUntil(std::string_view end) {
    for (std::size_t searched = handedOut_;;) {
        const std::size_t hit = received_.find(end, searched);
        if (hit != std::string::npos) {
            return readBytes(hit + end.size() - handedOut_);
        }
        searched = std::max(handedOut_, received_.size() - std::min(received_.size(), end.size()));
        if (!readMore()) {
            return readBytes(received_.size() - handedOut_);
        }
    }
}

std::string ServerStream::readLine() {
    std::string line = readUntil("\n");
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

std::string ServerStream::readBytes(std::size_t count) {
    while (received_.size() - handedOut_ < count && readMore()) {
    }
    const std::size_t stop = std::min(handedOut_ + count, received_.size());
    const std::size_t start = std::exchange(handedOut_, stop);
    return received_.substr(start, stop - start);
}

std::string ServerStream::readSome() {
    if (handedOut_ == received_.size()) {
        readMore();
    }
    return readBytes(received_.size() - handedOut_);
}

void ServerStream::stall() {
    while (readMore()) {
    }
}

/// True when the socket is ready; false at the limit, or when the server is stopped, which also
/// ends the connection.
bool ScriptedConnection::waitFor(short events, int milliseconds) {
    if (!isOpen()) {
        return false;
    }
    pollfd entries[] = {{socket_, events, 0}, {wake_, POLLIN, 0}};
    while (poll(entries, 2, milliseconds) < 0 && errno == EINTR) {
    }
    if (entries[1].revents != 0) {
        drop();
        return false;
    }
    return entries[0].revents != 0;
}

bool ScriptedConnection::sendPiece(std::string_view piece) {
    while (!piece.empty()) {
        const ssize_t count =
            isOpen() ? ::send(socket_, piece.data(), piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT)
                     : -1;
        if (count > 0) {
            piece.remove_prefix(static_cast<std::size_t>(count));
        } else if (!isOpen() || errno != EAGAIN || !waitFor(POLLOUT, kForever)) {
            drop();
            return false;
        }
    }
    return isOpen();
}

bool ScriptedConnection::send(std::string_view text) {
    while (!text.empty()) {
        std::size_t length = text.size();
        if (delivery_ == Delivery::kBytes) {
            length = 1;
        } else if (delivery_ == Delivery::kLines) {
            length = std::min(text.find('\n'), text.size() - 1) + 1;
        }
        if (!sendPiece(text.substr(0, length))) {
            return false;
        }
        text.remove_prefix(length);
    }
    return isOpen();
}

bool ScriptedConnection::readMore() {
    if (!waitFor(POLLIN, kForever)) {
        return false;
    }
    char buffer[kReadBytes];
    const ssize_t count = ::recv(socket_, buffer, sizeof buffer, 0);
    if (count <= 0) {
        drop();
        return false;
    }
    received_.append(buffer, static_cast<std::size_t>(count));
    return true;
}

void ScriptedConnection::delay(std::chrono::milliseconds time) {
    waitFor(0, static_cast<int>(time.count()));
}

void ScriptedConnection::readNothing() {
    waitFor(0, kForever);
}

void ScriptedConnection::drop() {
    if (isOpen()) {
        ::close(std::exchange(socket_, -1));
    }
}

void ScriptedConnection::reset() {
    if (isOpen()) {
        const linger now{1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        drop();
    }
}

ScriptedServer::ScriptedServer(Script script, Delivery delivery)
    : script_(std::move(script)), delivery_(delivery) {
    listener_ = loopback::bindSocket(port_);
    ::listen(listener_, SOMAXCONN);
    wake_ = eventfd(0, EFD_CLOEXEC);
    thread_ = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
    eventfd_write(wake_, 1);
    thread_.join();
    ::close(listener_);
    ::close(wake_);
}

void ScriptedServer::run() {
    for (;;) {
        pollfd entries[] = {{listener_, POLLIN, 0}, {wake_, POLLIN, 0}};
        if (poll(entries, 2, kForever) < 0 && errno == EINTR) {
            continue;
        }
        if (entries[1].revents != 0) {
            return;
        }
        const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            continue;
        }
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ScriptedConnection connection(socket, wake_);
        connection.setDelivery(delivery_);
        script_(connection);
        const std::lock_guard lock(mutex_);
        received_.push_back(connection.received());
    }
}

std::vector<std::string> ScriptedServer::receivedBy(std::size_t count) const {
    for (int waited = 0;; ++waited) {
        {
            const std::lock_guard lock(mutex_);
            if (received_.size() >= count || waited == kLongestWaitMs) {
                return received_;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

ScriptedServer::Script dialog(std::string greeting, std::vector<DialogStep> steps) {
    return [greeting = std::move(greeting), steps = std::move(steps)](ScriptedConnection& peer) {
        peer.send(greeting);
        for (const DialogStep& step : steps) {
            const std::string line = peer.readLine();
            if (strncasecmp(line.c_str(), step.expect.c_str(), step.expect.size()) != 0) {
                peer.send("500 unexpected\r\n");
                break;
            }
            peer.send(step.reply);
        }
        peer.stall();
    };
}

ScriptedServer::Script politeSmtp(std::string* data) {
    return [data](ScriptedConnection& peer) {
        peer.send("220 ready\r\n");
        for (std::string line; !(line = peer.readLine()).empty();) {
            if (line.starts_with("DATA")) {
                peer.send("354 go on\r\n");
                std::string text = peer.readUntil("\r\n.\r\n");
                data ? data->swap(text) : void();
            }
            peer.send("250-fine\r\n250 done\r\n");
        }
    };
}

std::uint16_t unusedPort() {
    std::uint16_t port = 0;
    ::close(loopback::bindSocket(port));
    return port;
}

}  // namespace support
