#include "line_channel.h"

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

LineChannel::~LineChannel() {
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

bool LineChannel::fill() {
    if (start_ > 0) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    if (!waitFor(POLLIN)) {
        return false;
    }
    std::array<char, kReadSize> chunk;
    const ssize_t got = ::recv(socket_, chunk.data(), chunk.size(), 0);
    if (got <= 0) {
        return false;
    }
    buffer_.append(chunk.data(), static_cast<std::size_t>(got));
    return true;
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
    while (!bytes.empty()) {
        if (!waitFor(POLLOUT)) {
            return false;
        }
        const ssize_t sent =
            ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && (errno == EAGAIN || errno == EINTR)) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
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
