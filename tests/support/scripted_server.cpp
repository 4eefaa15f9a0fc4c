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

namespace support {
namespace {

constexpr int kForever = -1;
constexpr std::size_t kReadBytes = 64 * 1024;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int boundSocket(std::uint16_t& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0) {
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }
    return fd;
}

bool beginsWith(const std::string& line, const std::string& start) {
    return line.size() >= start.size() &&
           strncasecmp(line.c_str(), start.c_str(), start.size()) == 0;
}

}  // namespace

ScriptedConnection::~ScriptedConnection() {
    drop();
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

bool ScriptedConnection::flood(std::string_view piece, std::size_t totalBytes) {
    std::string block;
    while (block.size() < kReadBytes) {
        block.append(piece);
    }
    for (std::size_t sent = 0; sent < totalBytes; sent += block.size()) {
        if (!sendPiece(std::string_view(block).substr(0, totalBytes - sent))) {
            return false;
        }
    }
    return true;
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

std::string ScriptedConnection::readUntil(std::string_view end) {
    std::size_t searched = handedOut_;
    for (;;) {
        const std::size_t hit = received_.find(end, searched);
        if (hit != std::string::npos) {
            const std::size_t stop = hit + end.size();
            const std::size_t start = std::exchange(handedOut_, stop);
            return received_.substr(start, stop - start);
        }
        searched = std::max(handedOut_, received_.size() - std::min(received_.size(), end.size()));
        if (!readMore()) {
            return received_.substr(std::exchange(handedOut_, received_.size()));
        }
    }
}

std::string ScriptedConnection::readLine() {
    std::string line = readUntil("\n");
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

std::string ScriptedConnection::readSome() {
    if (handedOut_ == received_.size()) {
        readMore();
    }
    return received_.substr(std::exchange(handedOut_, received_.size()));
}

void ScriptedConnection::delay(std::chrono::milliseconds time) {
    waitFor(0, static_cast<int>(time.count()));
}

void ScriptedConnection::stall(bool readNothing) {
    if (readNothing) {
        waitFor(0, kForever);
        return;
    }
    while (readMore()) {
    }
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
    listener_ = boundSocket(port_);
    ::listen(listener_, SOMAXCONN);
    wake_ = eventfd(0, EFD_CLOEXEC);
    thread_ = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
    stop();
    ::close(listener_);
    ::close(wake_);
}

void ScriptedServer::stop() {
    if (thread_.joinable()) {
        eventfd_write(wake_, 1);
        thread_.join();
    }
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

std::vector<std::string> ScriptedServer::received() const {
    const std::lock_guard lock(mutex_);
    return received_;
}

std::vector<std::string> ScriptedServer::receivedBy(std::size_t count,
                                                    std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (received().size() < count && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return received();
}

ScriptedServer::Script dialog(std::string greeting, std::vector<DialogStep> steps,
                              std::string mismatchReply) {
    return [greeting = std::move(greeting), steps = std::move(steps),
            mismatchReply = std::move(mismatchReply)](ScriptedConnection& connection) {
        connection.send(greeting);
        for (const DialogStep& step : steps) {
            if (!beginsWith(connection.readLine(), step.expect)) {
                connection.send(mismatchReply);
                break;
            }
            connection.send(step.reply);
        }
        connection.stall();
    };
}

std::uint16_t unusedPort() {
    std::uint16_t port = 0;
    ::close(boundSocket(port));
    return port;
}

}  // namespace support
