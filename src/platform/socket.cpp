#include "platform/socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "platform/wait_hook.h"

namespace platform {
namespace {

constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;
constexpr int kUnnamedErrorBase = 10000;
/// Milliseconds after which a wait may end early.
constexpr std::uint32_t kLeastWait = 5000;

struct NumberPair {
    int system;
    int number;
};

constexpr NumberPair kErrnoNumbers[] = {
    {EAGAIN, kSocketWouldBlock},
    {EINPROGRESS, kSocketWouldBlock},
    {EALREADY, kSocketWouldBlock},
    {ECONNRESET, kSocketConnectionReset},
    {ECONNABORTED, kSocketConnectionAborted},
    {EPIPE, kSocketConnectionAborted},
    {EBADF, kSocketNotASocket},
    {ENOTSOCK, kSocketNotASocket},
    {ECONNREFUSED, kSocketConnectionRefused},
    {ETIMEDOUT, kSocketTimedOut},
    {EHOSTUNREACH, kSocketHostUnreachable},
    {ENETUNREACH, kSocketNetworkUnreachable},
    {ENETDOWN, kSocketNetworkDown},
    {EADDRNOTAVAIL, kSocketAddressNotAvailable},
    {EACCES, kSocketAccessDenied},
    {EINVAL, kSocketInvalidArgument},
    {EMFILE, kSocketTooManyOpen},
    {ENFILE, kSocketTooManyOpen},
    {ENOTCONN, kSocketNotConnected},
    {ENOBUFS, kSocketNoBuffers},
    {ENOMEM, kSocketNoBuffers},
    {EAFNOSUPPORT, kSocketFamilyNotSupported},
};

constexpr NumberPair kResolverNumbers[] = {
    {EAI_NONAME, kSocketHostNotFound}, {EAI_AGAIN, kSocketTryAgain},
    {EAI_FAIL, kSocketNoRecovery},     {EAI_NODATA, kSocketNoData},
    {EAI_ADDRFAMILY, kSocketNoData},   {EAI_MEMORY, kSocketNoBuffers},
};

std::int64_t monotonicMillis() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

bool waitFor(SocketHandle socket, short events, std::uint32_t milliseconds) {
    const bool unlimited = milliseconds == kNoLimit;
    const std::int64_t deadline = unlimited ? 0 : monotonicMillis() + milliseconds;
    pollfd entry{static_cast<int>(socket), events, 0};
    while (!areWaitsEnded()) {
        int slice = hasWaitHook() ? static_cast<int>(kHookInterval) : -1;
        if (!unlimited) {
            const std::int64_t left = std::max<std::int64_t>(deadline - monotonicMillis(), 0);
            const std::int64_t most = slice < 0 ? INT_MAX : slice;
            slice = static_cast<int>(std::min(left, most));
        }
        const int ready = poll(&entry, 1, slice);
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return true;  // the call that follows tells what is wrong
        }
        if (askWaitHook() || (!unlimited && monotonicMillis() >= deadline)) {
            return false;
        }
    }
    return false;
}

}  // namespace

int socketErrorNumber(int error) {
    for (const NumberPair& pair : kErrnoNumbers) {
        if (pair.system == error) {
            return pair.number;
        }
    }
    return error + kUnnamedErrorBase;
}

int resolverErrorNumber(int error) {
    for (const NumberPair& pair : kResolverNumbers) {
        if (pair.system == error) {
            return pair.number;
        }
    }
    return kSocketNoRecovery;
}

int openSocket(SocketHandle& socket) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
    if (fd < 0) {
        return socketErrorNumber(errno);
    }
    // Commands are short and each waits for its answer: never hold one back for more to send.
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    socket = fd;
    return 0;
}

void closeSocket(SocketHandle& socket) {
    if (socket != kNoSocket) {
        ::close(static_cast<int>(socket));
        socket = kNoSocket;
    }
}

int resolveHost(const char* host, std::uint32_t& address) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host, nullptr, &hints, &found);
    if (error != 0) {
        return resolverErrorNumber(error);
    }
    address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
    freeaddrinfo(found);
    return 0;
}

int startConnect(SocketHandle socket, std::uint32_t address, std::uint16_t port) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_addr.s_addr = address;
    target.sin_port = htons(port);
    if (::connect(static_cast<int>(socket), reinterpret_cast<const sockaddr*>(&target),
                  sizeof target) == 0) {
        return 0;
    }
    // An interrupted attempt goes on by itself.
    return errno == EINTR ? kSocketWouldBlock : socketErrorNumber(errno);
}

int connectOutcome(SocketHandle socket) {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(static_cast<int>(socket), SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        error = errno;
    }
    return error == 0 ? 0 : socketErrorNumber(error);
}

bool waitReadable(SocketHandle socket, std::uint32_t milliseconds) {
    return waitFor(socket, POLLIN, milliseconds);
}

bool waitWritable(SocketHandle socket, std::uint32_t milliseconds) {
    return waitFor(socket, POLLOUT, milliseconds);
}

int sendBytes(SocketHandle socket, const void* bytes, std::size_t size, std::size_t& sent) {
    sent = 0;
    for (;;) {
        const ssize_t count =
            ::send(static_cast<int>(socket), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            sent = static_cast<std::size_t>(count);
            return 0;
        }
        if (errno != EINTR) {
            return socketErrorNumber(errno);
        }
    }
}

int receiveBytes(SocketHandle socket, void* buffer, std::size_t size, std::size_t& received) {
    received = 0;
    for (;;) {
        const ssize_t count = ::recv(static_cast<int>(socket), buffer, size, MSG_DONTWAIT);
        if (count >= 0) {
            received = static_cast<std::size_t>(count);
            return 0;
        }
        if (errno != EINTR) {
            return socketErrorNumber(errno);
        }
    }
}

/// Makes the socket wait so long in a receiving call. False when it can't be.
bool ReceiveWait::set(SocketHandle socket, std::uint32_t milliseconds) {
    const int fd = static_cast<int>(socket);
    if (socket != socket_) {
        // All other calls say that they don't wait.
        socket_ = fcntl(fd, F_SETFL, 0) == 0 ? socket : kNoSocket;
        milliseconds_ = 0;
    }
    // To end early costs one more turn; to set another limit for each wait would cost more.
    const bool isShort = milliseconds_ <= milliseconds;
    const bool isLong = milliseconds_ >= std::min(milliseconds, kLeastWait);
    if (socket_ == kNoSocket || (isShort && isLong)) {
        return socket_ != kNoSocket;
    }
    constexpr std::uint32_t kMillis = 1000;
    timeval limit{};  // zero stands for none
    if (milliseconds != kNoLimit) {
        limit.tv_sec = static_cast<time_t>(milliseconds / kMillis);
        limit.tv_usec = static_cast<suseconds_t>(milliseconds % kMillis) * suseconds_t{kMillis};
    }
    const bool isSet = setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
    milliseconds_ = isSet ? milliseconds : 0;
    return isSet;
}

int ReceiveWait::receive(SocketHandle socket, std::uint32_t milliseconds, void* buffer,
                         std::size_t size, std::size_t& received) {
    if (milliseconds == 0 || hasWaitHook() || areWaitsEnded() || !set(socket, milliseconds)) {
        waitReadable(socket, milliseconds);
        return receiveBytes(socket, buffer, size, received);
    }
    // A signal ends the call, after which the caller looks at its limits again.
    const ssize_t count = ::recv(static_cast<int>(socket), buffer, size, 0);
    received = count > 0 ? static_cast<std::size_t>(count) : 0;
    if (count >= 0) {
        return 0;
    }
    return errno == EINTR ? kSocketWouldBlock : socketErrorNumber(errno);
}

}  // namespace platform
