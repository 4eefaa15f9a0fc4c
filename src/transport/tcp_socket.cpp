#include "transport/tcp_socket.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "charset/ansi_text.h"
#include "platform/host_name.h"
#include "transport/address_race.h"

namespace tessolt {
namespace {

/// Has room for a small message behind its status line.
constexpr std::size_t kFirstLineBuffer = 4 * 1024;
constexpr std::size_t kLargestLineBuffer = kMaxLineBytes + kWireLineEnd.size();
constexpr std::uint32_t kPortMask = 0xFFFF;

/// The form of a host's name in which it is looked up. False when it has none.
bool LookUpName(const char* host, std::string& name) {
    name = borvik::ansiToUtf8(host ? host : "");
    return platform::toAsciiHostName(name);
}

std::uint32_t LeftOf(const CZncTimeout& total, const CZncTimeout& idle) {
    return std::min(total.Remaining(), idle.Remaining());
}

std::int32_t ResultAfterLimits(const CZncTimeout& total, const CZncTimeout& idle,
                               std::int32_t result) {
    if (total.HasExpired()) {
        return kTransportTotalTimedOut;
    }
    return idle.HasExpired() ? kTransportIdleTimedOut : result;
}

}  // namespace

CZncTcpSocket::~CZncTcpSocket() {
    platform::closeSocket(m_hSocket);
}

std::int32_t CZncTcpSocket::Connect(const char* host, std::int32_t port, std::uint32_t timeoutMs) {
    if (IsConnected()) {
        return kTransportDone;
    }
    platform::SocketHandle socket = platform::kNoSocket;
    std::int32_t result = platform::openSocket(socket);
    if (result != 0) {
        return result;
    }
    std::uint32_t address = 0;
    std::string name;
    result = LookUpName(host, name) ? platform::resolveHost(name.c_str(), address)
                                    : static_cast<int>(platform::kSocketHostNotFound);
    if (result == 0) {
        const auto number = static_cast<std::uint32_t>(port) & kPortMask;
        result = platform::startConnect(socket, address, static_cast<std::uint16_t>(number));
    }
    if (result == platform::kSocketWouldBlock) {
        result = platform::waitWritable(socket, timeoutMs) ? platform::connectOutcome(socket)
                                                           : kTransportConnectTimedOut;
    }
    if (result == 0) {
        m_hSocket = socket;
    } else {
        platform::closeSocket(socket);
    }
    return result;
}

std::int32_t CZncTcpSocket::ConnectToAny(const char* host, std::int32_t port,
                                         std::uint32_t timeoutMs) {
    if (IsConnected()) {
        return kTransportDone;
    }
    const CZncTimeout limit(timeoutMs);
    std::vector<platform::SocketAddress> addresses;
    std::string name;
    if (!LookUpName(host, name)) {
        return platform::kSocketHostNotFound;
    }
    const auto number = static_cast<std::uint32_t>(port) & kPortMask;
    const std::int32_t result =
        platform::resolveAddresses(name.c_str(), static_cast<std::uint16_t>(number), addresses);
    return result != 0 ? result
                       : RaceAddresses(InterleaveFamilies(addresses), limit.Remaining(), m_hSocket);
}

std::int32_t CZncTcpSocket::Close() {
    m_lineBuffer = {};
    m_uLineRead = m_uLineWrite = m_uLineScan = 0;
    m_receiveWait = {};
    platform::closeSocket(m_hSocket);
    return kTransportDone;
}

std::int32_t CZncTcpSocket::SendBuffer(const void* data, std::uint32_t length,
                                       std::uint32_t& sentOut, std::uint32_t totalMs,
                                       std::uint32_t idleMs) {
    const CZncTimeout total(totalMs);
    CZncTimeout idle(idleMs);
    if (!IsConnected()) {
        return ResultAfterLimits(total, idle, kTransportNotConnected);
    }
    sentOut = 0;
    std::int32_t result = kTransportDone;
    while (sentOut < length && !total.HasExpired() && !idle.HasExpired()) {
        std::size_t count = 0;
        const int error = platform::sendBytes(m_hSocket, static_cast<const char*>(data) + sentOut,
                                              length - sentOut, count);
        if (error == 0 && count > 0) {
            idle.Restart();
            sentOut += static_cast<std::uint32_t>(count);
            m_watch.Advance(count);
        } else if (error == 0 || error == platform::kSocketWouldBlock) {
            platform::waitWritable(m_hSocket, m_watch.Slice(LeftOf(total, idle)));
        } else if (error == platform::kSocketConnectionAborted ||
                   error == platform::kSocketConnectionReset) {
            Close();
            result =
                error == platform::kSocketConnectionReset ? kTransportPeerClosed : kTransportBroken;
            break;
        } else {
            return -error;
        }
        if (!m_watch.GoesOn()) {
            return kTransportCancelled;
        }
    }
    return ResultAfterLimits(total, idle, result);
}

std::int32_t CZncTcpSocket::SendLine(CZncString& text, std::uint32_t totalMs,
                                     std::uint32_t idleMs) {
    if (!IsConnected()) {
        return kTransportNotConnected;
    }
    text.Append(kWireLineEnd);
    std::uint32_t sent = 0;
    return SendBuffer(text.GetBuffer(), text.GetLength(), sent, totalMs, idleMs);
}

bool CZncTcpSocket::TakeLine(CZncString& lineOut) {
    const char* bytes = m_lineBuffer.data();
    std::size_t scan = m_uLineScan;
    while (scan < m_uLineWrite) {
        const void* hit = std::memchr(bytes + scan, kWireLineEnd[0], m_uLineWrite - scan);
        if (!hit) {
            scan = m_uLineWrite;
            break;
        }
        scan = static_cast<std::size_t>(static_cast<const char*>(hit) - bytes);
        if (scan + 1 == m_uLineWrite) {
            break;  // what follows decides
        }
        if (bytes[scan + 1] == kWireLineEnd[1]) {
            lineOut.Assign(std::string_view(bytes + m_uLineRead, scan - m_uLineRead));
            m_uLineRead = m_uLineScan = scan + kWireLineEnd.size();
            return true;
        }
        // The byte behind is no start of a line end, even where it is a CR itself.
        scan += kWireLineEnd.size();
    }
    m_uLineScan = scan;
    return false;
}

bool CZncTcpSocket::MakeRoom() {
    if (m_uLineRead > 0) {
        const std::size_t waiting = m_uLineWrite - m_uLineRead;
        std::memmove(m_lineBuffer.data(), m_lineBuffer.data() + m_uLineRead, waiting);
        m_uLineScan -= m_uLineRead;
        m_uLineWrite = waiting;
        m_uLineRead = 0;
    }
    if (m_uLineWrite < m_lineBuffer.size()) {
        return true;
    }
    if (m_lineBuffer.size() == kLargestLineBuffer) {
        return false;
    }
    m_lineBuffer.resize(std::clamp(m_lineBuffer.size() * 2, kFirstLineBuffer, kLargestLineBuffer));
    return true;
}

/// Waits for more and takes it in; `arrived` is 0 when the time ran out, or a signal came.
std::int32_t CZncTcpSocket::FillLineBuffer(std::uint32_t waitMs, std::uint32_t& arrived) {
    arrived = 0;
    if (!MakeRoom()) {
        return kTransportLineTooLong;
    }
    std::size_t count = 0;
    const int error = m_receiveWait.receive(m_hSocket, waitMs, m_lineBuffer.data() + m_uLineWrite,
                                            m_lineBuffer.size() - m_uLineWrite, count);
    arrived = static_cast<std::uint32_t>(count);
    m_uLineWrite += arrived;
    return AfterReceive(error, count);
}

std::int32_t CZncTcpSocket::ReceiveLine(CZncString& lineOut, std::uint32_t totalMs,
                                        std::uint32_t idleMs) {
    lineOut.Assign("");
    const CZncTimeout total(totalMs);
    CZncTimeout idle(idleMs);
    std::int32_t result = IsConnected() ? kTransportDone : kTransportNotConnected;
    while (result == kTransportDone && !total.HasExpired() && !idle.HasExpired()) {
        if (TakeLine(lineOut)) {
            break;
        }
        std::uint32_t arrived = 0;
        result = FillLineBuffer(LeftOf(total, idle), arrived);
        if (arrived > 0) {
            idle.Restart();
        }
    }
    return ResultAfterLimits(total, idle, result);
}

std::int32_t CZncTcpSocket::ReceiveBuffer(void* dest, std::uint32_t capacity,
                                          std::uint32_t& receivedOut) {
    if (!IsConnected()) {
        return kTransportNotConnected;
    }
    receivedOut = 0;
    const std::size_t waiting = m_uLineWrite - m_uLineRead;
    if (capacity == 0 || waiting == 0) {
        // A read of no bytes would look like a close.
        return capacity == 0 ? kTransportDone : Receive(dest, capacity, receivedOut);
    }
    receivedOut = static_cast<std::uint32_t>(std::min<std::size_t>(waiting, capacity));
    std::memcpy(dest, m_lineBuffer.data() + m_uLineRead, receivedOut);
    m_uLineRead += receivedOut;
    m_uLineScan = m_uLineRead;
    return kTransportDone;
}

std::int32_t CZncTcpSocket::Receive(void* dest, std::size_t capacity, std::uint32_t& receivedOut) {
    std::size_t count = 0;
    const int error = platform::receiveBytes(m_hSocket, dest, capacity, count);
    receivedOut = static_cast<std::uint32_t>(count);
    return AfterReceive(error, count);
}

/// What the outcome of a receiving call means.
std::int32_t CZncTcpSocket::AfterReceive(int error, std::size_t count) {
    if (error == platform::kSocketWouldBlock) {
        return kTransportDone;
    }
    if (error == 0 && count == 0) {
        Close();
        return kTransportPeerClosed;
    }
    if (error == platform::kSocketConnectionAborted || error == platform::kSocketConnectionReset) {
        Close();
        return kTransportBroken;
    }
    return error;
}

bool CZncTcpSocket::WaitForData(std::uint32_t timeoutMs) const {
    return !IsConnected() || m_uLineRead < m_uLineWrite ||
           platform::waitReadable(m_hSocket, timeoutMs);
}

}  // namespace tessolt
