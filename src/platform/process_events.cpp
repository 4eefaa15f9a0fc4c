#include "platform/process_events.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace platform {

namespace {

constexpr std::uint32_t kMicrosecondsPerMillisecond = 1000;
/// The manager hears of the service twice in the time that it allows.
constexpr unsigned long kNoticesPerLimit = 2;

}  // namespace

SignalQueue::SignalQueue() {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&wanted, number);
    }
    pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    fd_ = ::signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC);
}

SignalQueue::~SignalQueue() {
    ::close(fd_);
}

SignalQueue::Request SignalQueue::take() {
    signalfd_siginfo info{};
    if (::read(fd_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) {
        return Request::kNone;
    }
    return info.ssi_signo == SIGHUP ? Request::kReload : Request::kStop;
}

Wakeup::Wakeup() : fd_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

Wakeup::~Wakeup() {
    ::close(fd_);
}

void Wakeup::ring() {
    // It fails only when it has been rung already.
    [[maybe_unused]] const int ignored = ::eventfd_write(fd_, 1);
}

void Wakeup::clear() {
    eventfd_t count = 0;
    [[maybe_unused]] const int ignored = ::eventfd_read(fd_, &count);
}

void waitForAny(std::initializer_list<int> handles, std::uint32_t milliseconds) {
    constexpr std::uint32_t kLongest = 0x7FFFFFFF;
    std::vector<pollfd> waiting;
    waiting.reserve(handles.size());
    for (const int handle : handles) {
        waiting.push_back({.fd = handle, .events = POLLIN, .revents = 0});
    }
    ::poll(waiting.data(), waiting.size(), static_cast<int>(std::min(milliseconds, kLongest)));
}

void notifyServiceManager(const char* state) {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path == nullptr || *path == '\0' || std::strlen(path) >= sizeof address.sun_path) {
        return;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, std::strlen(path));
    if (*path == '@') {  // a name outside the file system
        address.sun_path[0] = '\0';
    }
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    ::sendto(fd, state, std::strlen(state), MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&address),
             length);
    ::close(fd);
}

std::uint32_t watchdogInterval() {
    const char* limit = std::getenv("WATCHDOG_USEC");
    const unsigned long microseconds = limit != nullptr ? std::strtoul(limit, nullptr, 10) : 0;
    return static_cast<std::uint32_t>(microseconds / kNoticesPerLimit /
                                      kMicrosecondsPerMillisecond);
}

bool isTerminal(int stream) {
    return ::isatty(stream) != 0;
}

}  // namespace platform
