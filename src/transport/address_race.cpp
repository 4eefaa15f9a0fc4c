#include "transport/address_race.h"

#include <algorithm>
#include <utility>

#include "foundation/timeout.h"
#include "transport/tcp_socket.h"

namespace tessolt {

using platform::SocketAddress;
using platform::SocketHandle;

namespace {

/// The attempts that are under way.
class Race {
public:
    Race() = default;
    ~Race() {
        for (SocketHandle& socket : m_running) {
            platform::closeSocket(socket);
        }
    }
    Race(const Race&) = delete;
    Race& operator=(const Race&) = delete;

    bool IsIdle() const { return m_running.empty(); }
    std::int32_t LastFailure() const { return m_lFailure; }

    /// Starts one more attempt. True when it has connected already.
    bool Start(const SocketAddress& address, SocketHandle& winner) {
        SocketHandle socket = platform::kNoSocket;
        const std::int32_t result = platform::startConnectTo(address, socket);
        if (result == 0) {
            winner = socket;
        } else if (result == platform::kSocketWouldBlock) {
            m_running.push_back(socket);
        } else {
            m_lFailure = result;
        }
        return result == 0;
    }

    /// Waits for an attempt to end. True when it has connected; where it has failed, `turn` is
    /// over.
    bool Wait(std::uint32_t milliseconds, SocketHandle& winner, CZncTimeout& turn) {
        const std::size_t ended = platform::waitAnyWritable(m_running, milliseconds);
        if (ended == m_running.size()) {
            return false;
        }
        turn = CZncTimeout();
        SocketHandle socket = m_running[ended];
        m_running.erase(m_running.begin() + static_cast<std::ptrdiff_t>(ended));
        const std::int32_t result = platform::connectOutcome(socket);
        if (result == 0) {
            winner = socket;
            return true;
        }
        m_lFailure = result;
        platform::closeSocket(socket);
        return false;
    }

private:
    std::vector<SocketHandle> m_running;
    std::int32_t m_lFailure = platform::kSocketNoData;
};

}  // namespace

std::vector<SocketAddress> InterleaveFamilies(const std::vector<SocketAddress>& addresses) {
    std::vector<SocketAddress> families[2];
    for (const SocketAddress& address : addresses) {
        const bool first = address.isIpv6() == addresses.front().isIpv6();
        families[first ? 0 : 1].push_back(address);
    }
    std::vector<SocketAddress> order;
    order.reserve(addresses.size());
    for (std::size_t i = 0; order.size() < addresses.size(); ++i) {
        for (const std::vector<SocketAddress>& family : families) {
            if (i < family.size()) {
                order.push_back(family[i]);
            }
        }
    }
    return order;
}

std::int32_t RaceAddresses(const std::vector<SocketAddress>& addresses, std::uint32_t timeoutMs,
                           SocketHandle& socketOut) {
    const CZncTimeout limit(timeoutMs);
    CZncTimeout turn;  // of the latest attempt
    Race race;
    for (std::size_t next = 0; !limit.HasExpired();) {
        const bool left = next < addresses.size();
        if (left && (race.IsIdle() || turn.HasExpired())) {
            turn.Start(kAttemptDelayMs);
            if (race.Start(addresses[next++], socketOut)) {
                return kTransportDone;
            }
        } else if (race.IsIdle()) {
            return race.LastFailure();
        } else if (race.Wait(
                       left ? std::min(limit.Remaining(), turn.Remaining()) : limit.Remaining(),
                       socketOut, turn)) {
            return kTransportDone;
        }
    }
    return kTransportConnectTimedOut;
}

}  // namespace tessolt
