/// Connecting to whichever address of a host answers first (RFC 8305).
#pragma once

#include <cstdint>
#include <vector>

#include "platform/socket_address.h"

namespace tessolt {

/// The time that an attempt has before the next address is tried beside it.
inline constexpr std::uint32_t kAttemptDelayMs = 250;

/// The order of the attempts: the families take turns, beginning with that of the first address.
std::vector<platform::SocketAddress> InterleaveFamilies(
    const std::vector<platform::SocketAddress>& addresses);

/// Tries the addresses in turn, each one `kAttemptDelayMs` after the one before it or as soon as an
/// attempt has failed, and keeps the first that connects. Returns 0 with the socket,
/// kTransportConnectTimedOut when `timeoutMs` ran out, or the number of the last attempt's failure.
std::int32_t RaceAddresses(const std::vector<platform::SocketAddress>& addresses,
                           std::uint32_t timeoutMs, platform::SocketHandle& socketOut);

}  // namespace tessolt
