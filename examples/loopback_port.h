#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace loopback {

/// A TCP socket on a free port of 127.0.0.1, not listening yet; the caller closes it. -1, with
/// errno set, when there is none.
inline int bindSocket(std::uint16_t& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (fd < 0 || ::bind(fd, generic, size) != 0 || ::getsockname(fd, generic, &size) != 0) {
        return -1;
    }
    port = ntohs(address.sin_port);
    return fd;
}

}  // namespace loopback
