#include "platform/socket_address.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>

namespace platform {
namespace {

static_assert(SocketAddress::kRoom >= sizeof(sockaddr_in6));

constexpr std::uint32_t kLoopbackNetwork = 127;
constexpr int kNetworkShift = 24;

const sockaddr* systemForm(const SocketAddress& address) {
    return reinterpret_cast<const sockaddr*>(address.bytes.data());
}

std::string withoutBrackets(const std::string& host) {
    return host.size() > 2 && host.front() == '[' && host.back() == ']'
               ? host.substr(1, host.size() - 2)
               : host;
}

bool isLoopback(std::uint32_t ipv4) {
    return ntohl(ipv4) >> kNetworkShift == kLoopbackNetwork;
}

bool isLoopback(const in6_addr& ipv6) {
    std::uint32_t mapped = 0;
    std::memcpy(&mapped, ipv6.s6_addr + sizeof ipv6 - sizeof mapped, sizeof mapped);
    return IN6_IS_ADDR_LOOPBACK(&ipv6) || (IN6_IS_ADDR_V4MAPPED(&ipv6) && isLoopback(mapped));
}

}  // namespace

bool SocketAddress::isIpv6() const {
    return systemForm(*this)->sa_family == AF_INET6;
}

int resolveAddresses(const char* host, std::uint16_t port, std::vector<SocketAddress>& addresses) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int error =
        getaddrinfo(withoutBrackets(host).c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0) {
        return resolverErrorNumber(error);
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_addrlen <= SocketAddress::kRoom) {
            SocketAddress& address = addresses.emplace_back();
            address.size = entry->ai_addrlen;
            std::memcpy(address.bytes.data(), entry->ai_addr, entry->ai_addrlen);
        }
    }
    return addresses.empty() ? kSocketNoData : 0;
}

int startConnectTo(const SocketAddress& address, SocketHandle& socket) {
    const int fd = ::socket(systemForm(address)->sa_family,
                            SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
    if (fd < 0) {
        return socketErrorNumber(errno);
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    socket = fd;
    if (::connect(fd, systemForm(address), address.size) == 0) {
        return 0;
    }
    // An interrupted attempt goes on by itself.
    const int number = errno == EINTR ? kSocketWouldBlock : socketErrorNumber(errno);
    if (number != kSocketWouldBlock) {
        closeSocket(socket);
    }
    return number;
}

std::size_t waitAnyWritable(const std::vector<SocketHandle>& sockets, std::uint32_t milliseconds) {
    std::vector<pollfd> entries;
    entries.reserve(sockets.size());
    for (const SocketHandle socket : sockets) {
        entries.push_back({static_cast<int>(socket), POLLOUT, 0});
    }
    const auto wait = static_cast<int>(std::min<std::uint32_t>(milliseconds, INT_MAX));
    if (poll(entries.data(), entries.size(), wait) <= 0) {
        return sockets.size();
    }
    const auto hit = std::find_if(entries.begin(), entries.end(),
                                  [](const pollfd& entry) { return entry.revents != 0; });
    return static_cast<std::size_t>(hit - entries.begin());
}

bool peerIsLoopback(SocketHandle socket) {
    SocketAddress peer;
    socklen_t size = SocketAddress::kRoom;
    if (getpeername(static_cast<int>(socket), reinterpret_cast<sockaddr*>(peer.bytes.data()),
                    &size) != 0) {
        return false;
    }
    return peer.isIpv6()
               ? isLoopback(reinterpret_cast<const sockaddr_in6*>(systemForm(peer))->sin6_addr)
               : isLoopback(
                     reinterpret_cast<const sockaddr_in*>(systemForm(peer))->sin_addr.s_addr);
}

}  // namespace platform
