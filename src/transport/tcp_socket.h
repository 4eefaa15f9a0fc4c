#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "foundation/base_object.h"
#include "foundation/narrow_string.h"
#include "foundation/timeout.h"
#include "platform/socket.h"
#include "platform/socket_address.h"
#include "transport/transfer_watch.h"

namespace tessolt {

/// Results of the transport beside 0 for success and the platform's positive error numbers.
enum TransportResult : std::int32_t {
    kTransportDone = 0,
    kTransportConnectTimedOut = -1,  ///< The wait for the connection ran out.
    kTransportTotalTimedOut = -2,    ///< The total time limit ran out.
    kTransportIdleTimedOut = -3,     ///< The idle time limit ran out.
    kTransportNotConnected = -4,     ///< There is no open socket.
    kTransportLineTooLong = -8,      ///< A line is longer than kMaxLineBytes.
    kTransportPeerClosed = -9,       ///< The peer closed the connection.
    kTransportBroken = -10,          ///< The connection was broken.
    kTransportCancelled = -11,       ///< The observer of the transfer wanted no more of it.
};

/// The longest line that `ReceiveLine` takes, without its end.
inline constexpr std::uint32_t kMaxLineBytes = 1024 * 1024;
/// What ends a line on the wire.
inline constexpr std::string_view kWireLineEnd = "\r\n";

/// One outgoing TCP connection at a time. The caller's thread spends every wait inside the
/// call; an object belongs to one thread at a time and logs nothing.
///
/// Time limits are milliseconds, kNoTimeLimit for none. They are looked at last: a call that was
/// done just as a limit ran out says that the limit ran out.
///
/// An encrypted channel derives from this class and pumps its records through `SendBuffer` and
/// `ReceiveBuffer`, never past them: what the line reader took in and did not hand out is the start
/// of what `ReceiveBuffer` gives. `WaitForData` is its way, and its users' way, to wait.
class CZncTcpSocket : public CZncBase {
public:
    explicit CZncTcpSocket(const char* className = "CZncTcpSocket") : CZncBase(className) {}
    /// Closes the connection.
    ~CZncTcpSocket() override;
    CZncTcpSocket(const CZncTcpSocket&) = delete;
    CZncTcpSocket& operator=(const CZncTcpSocket&) = delete;

    /// Connects to the first IPv4 address of a name or to a dotted address; of `port` the low 16
    /// bits count. Returns 0 at once when already connected, kTransportConnectTimedOut at the
    /// limit, or the positive number of what failed as soon as it has failed. The look-up of the
    /// name may take longer than the limit.
    std::int32_t Connect(const char* host, std::int32_t port, std::uint32_t timeoutMs);
    /// Connects to any address of the host, of either family, by RFC 8305; otherwise as `Connect`.
    /// The time that the look-up took counts.
    std::int32_t ConnectToAny(const char* host, std::int32_t port, std::uint32_t timeoutMs);
    /// Whether the peer is this machine, by a loopback address.
    bool PeerIsLoopback() const { return platform::peerIsLoopback(m_hSocket); }
    /// Closes the connection and drops what was received and not handed out. Always 0.
    std::int32_t Close();
    bool IsConnected() const { return m_hSocket != platform::kNoSocket; }

    /// Sends `length` bytes; `sentOut` tells how many went out. The idle limit starts again with
    /// each success. A failure other than a lost connection is its platform number made negative.
    std::int32_t SendBuffer(const void* data, std::uint32_t length, std::uint32_t& sentOut,
                            std::uint32_t totalMs, std::uint32_t idleMs);
    /// Appends CR LF to `text` and sends it; on a closed socket `text` stays as it was.
    std::int32_t SendLine(CZncString& text, std::uint32_t totalMs, std::uint32_t idleMs);

    /// Reads one line without its CR LF, up to its first zero byte. Only a CR LF whose CR doesn't
    /// follow another unmatched CR ends a line. On a failure `lineOut` is empty, but for a limit
    /// that ran out as the line was found.
    std::int32_t ReceiveLine(CZncString& lineOut, std::uint32_t totalMs, std::uint32_t idleMs);
    /// Hands out what the line reader has left, else what the network has now, without waiting.
    /// 0 bytes with result 0 mean that nothing is there yet.
    std::int32_t ReceiveBuffer(void* dest, std::uint32_t capacity, std::uint32_t& receivedOut);
    /// Waits until `ReceiveBuffer` has something to say: bytes, a close or a failure. False when
    /// `timeoutMs` ran out before.
    bool WaitForData(std::uint32_t timeoutMs) const;

    /// Who is told of the transfers, and may cancel them.
    void SetObserver(TransferWatch::Observer observer, void* context) {
        m_watch.SetObserver(observer, context);
    }
    /// What became of the last transfer counts no more.
    void ForgetTransfer() {
        m_watch.Begin(0);
        m_watch.End(false);
    }
    /// Whether the observer has cancelled the last transfer.
    bool WasCancelled() const { return m_watch.WasCancelled(); }

protected:
    TransferWatch m_watch;

private:
    bool TakeLine(CZncString& lineOut);
    bool MakeRoom();
    std::int32_t FillLineBuffer(std::uint32_t waitMs, std::uint32_t& arrived);
    std::int32_t Receive(void* dest, std::size_t capacity, std::uint32_t& receivedOut);
    std::int32_t AfterReceive(int error, std::size_t count);

    platform::SocketHandle m_hSocket = platform::kNoSocket;
    platform::ReceiveWait m_receiveWait;
    std::vector<char> m_lineBuffer;
    std::size_t m_uLineRead = 0;   ///< First byte that was not handed out.
    std::size_t m_uLineWrite = 0;  ///< Behind the last byte received.
    std::size_t m_uLineScan = 0;   ///< In front of it no line end begins.
};

}  // namespace tessolt
