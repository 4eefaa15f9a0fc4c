/// Addresses of both families, for connections that may go to any address of a host.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/socket.h"

namespace platform {

/// An IPv4 or IPv6 address with a port, in the system's own form.
struct SocketAddress {
    static constexpr std::size_t kRoom = 28;

    alignas(8) std::array<unsigned char, kRoom> bytes{};
    std::uint32_t size = 0;

    bool isIpv6() const;
};

/// Every address of a name or literal, IPv6 literals in brackets or not, in the order in which the
/// system would try them (RFC 6724). May block for as long as the system's resolver does. Returns
/// 0 or a number of SocketError.
int resolveAddresses(const char* host, std::uint16_t port, std::vector<SocketAddress>& addresses);

/// Makes a socket as `openSocket` does, of the address's family, and starts to connect it. Returns
/// 0 when connected at once, kSocketWouldBlock when under way; after any other number there is no
/// socket.
int startConnectTo(const SocketAddress& address, SocketHandle& socket);

/// Waits until one of the sockets can be written to, an attempt that ended included, and returns
/// its index; the number of sockets when `milliseconds` ran out or a signal came first.
std::size_t waitAnyWritable(const std::vector<SocketHandle>& sockets, std::uint32_t milliseconds);

/// Whether the peer of a connected socket is this machine by a loopback address.
bool peerIsLoopback(SocketHandle socket);

}  // namespace platform
