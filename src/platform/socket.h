/// Outgoing TCP connections over IPv4, never blocking except in the waits. Failures are the numbers
/// of SocketError, whatever number the system uses for them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

/// A socket, or kNoSocket.
using SocketHandle = std::int64_t;
inline constexpr SocketHandle kNoSocket = -1;

enum SocketError : int {
    kSocketAccessDenied = 10013,
    kSocketInvalidArgument = 10022,
    kSocketTooManyOpen = 10024,
    kSocketWouldBlock = 10035,
    kSocketNotASocket = 10038,
    kSocketFamilyNotSupported = 10047,
    kSocketAddressNotAvailable = 10049,
    kSocketNetworkDown = 10050,
    kSocketNetworkUnreachable = 10051,
    kSocketConnectionAborted = 10053,
    kSocketConnectionReset = 10054,
    kSocketNoBuffers = 10055,
    kSocketNotConnected = 10057,
    kSocketTimedOut = 10060,
    kSocketConnectionRefused = 10061,
    kSocketHostUnreachable = 10065,
    kSocketHostNotFound = 11001,
    kSocketTryAgain = 11002,
    kSocketNoRecovery = 11003,
    kSocketNoData = 11004,
};

/// The number for an errno number; one without a name of its own is `error` + 10000.
int socketErrorNumber(int error);
/// The number for a failure of the system's resolver.
int resolverErrorNumber(int error);

/// Makes a non-blocking IPv4 TCP socket that child programs don't inherit. Returns 0 or a number.
int openSocket(SocketHandle& socket);
/// Closes and forgets the socket; kNoSocket does nothing.
void closeSocket(SocketHandle& socket);

/// The first IPv4 address of a name or dotted address, in network byte order. May block for as long
/// as the system's resolver does. Returns 0 or a number.
int resolveHost(const char* host, std::uint32_t& address);
/// Starts connecting. Returns 0 when connected at once, kSocketWouldBlock when under way.
int startConnect(SocketHandle socket, std::uint32_t address, std::uint16_t port);
/// How an attempt that was under way ended: 0 or a number.
int connectOutcome(SocketHandle socket);

/// Waits until the socket can be read from (or has ended) for at most `milliseconds`, 0xFFFFFFFF
/// without limit. Returns false when the time ran out, or the thread's wait hook ended it.
bool waitReadable(SocketHandle socket, std::uint32_t milliseconds);
/// The same for writing; an attempt to connect that ended counts, however it ended.
bool waitWritable(SocketHandle socket, std::uint32_t milliseconds);

/// Sends what the system takes now of `size` bytes into `sent`. Returns 0 or a number.
int sendBytes(SocketHandle socket, const void* bytes, std::size_t size, std::size_t& sent);
/// Receives what is there, up to `size` bytes; 0 bytes mean that the peer has closed. Returns 0 or
/// a number.
int receiveBytes(SocketHandle socket, void* buffer, std::size_t size, std::size_t& received);

/// How long a socket waits in the receiving call itself.
class ReceiveWait {
public:
    /// `receiveBytes` behind `waitReadable`, mostly as one call of the system. The wait may end
    /// early with nothing received, for which the caller goes on until its own limit.
    int receive(SocketHandle socket, std::uint32_t milliseconds, void* buffer, std::size_t size,
                std::size_t& received);

private:
    bool set(SocketHandle socket, std::uint32_t milliseconds);

    SocketHandle socket_ = kNoSocket;  ///< The one that was made to wait.
    std::uint32_t milliseconds_ = 0;
};

}  // namespace platform
