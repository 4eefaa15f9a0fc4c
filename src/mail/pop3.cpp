#include "mail/pop3.h"

#include <string>

#include "mail/command_line.h"

namespace tessolt {

namespace {

constexpr std::uint32_t kSendIdleLimit = 3000;
/// A server that sends more empty lines in front of a status line has none to send.
constexpr int kMaxSkippedLines = 1000;
/// Room for what a log line has around a text of any length.
constexpr std::uint32_t kLogFrame = 256;

}  // namespace

CZnPop3::CZnPop3() : CZnSecureProtocol("CZnPop3") {}
CZnPop3::~CZnPop3() = default;

void CZnPop3::Disconnect() {
    Quit();
}

void CZnPop3::Quit() {
    const bool connected = IsConnected();
    if (connected) {
        SendCommand("QUIT");
    }
    CloseSecure();
    if (connected) {
        Log(kLogProtocol, "Disconnected");
    }
}

std::int32_t CZnPop3::SendCommand(std::string_view text, std::uint32_t timeoutMs) {
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    const CZncString logged(text);
    if (logged.StartsWith("PASS", false)) {
        Log(kLogProtocol, "Command: [PASS xxxxx]");
    } else {
        LogLong(kLogProtocol, logged.GetLength() + kLogFrame, "Command: [%s]", logged.GetBuffer());
    }
    const std::int32_t sent = SendText(text);
    if (sent != 0) {
        m_strLastResponse = "";
        return sent;
    }
    return ReadResponse(timeoutMs != 0 ? timeoutMs : m_lTimeoutCommand);
}

std::int32_t CZnPop3::SendText(std::string_view line) {
    if (!IsSingleLine(line)) {
        return kTransportBroken;
    }
    CZncString text(line);
    return m_bSecure ? SendSecure(text) : SendLine(text, kNoTimeLimit, kSendIdleLimit);
}

std::int32_t CZnPop3::ReadLine(CZncString& line, std::uint32_t timeoutMs) {
    return m_bSecure ? ReceiveLineSecure(line, timeoutMs) : ReceiveLine(line, timeoutMs, timeoutMs);
}

std::int32_t CZnPop3::ReadResponse(std::uint32_t timeoutMs) {
    std::int32_t result = 0;
    int skipped = -1;
    do {
        result = ++skipped > kMaxSkippedLines ? kTransportLineTooLong
                                              : ReadLine(m_strLastResponse, timeoutMs);
    } while (result == 0 && m_strLastResponse.IsEmpty());
    LogLong(kLogProtocol, m_strLastResponse.GetLength() + kLogFrame, "Response: [%s]",
            m_strLastResponse.GetBuffer());
    if (result == kTransportTotalTimedOut || result == kTransportIdleTimedOut) {
        return kPop3TimedOut;
    }
    return result != 0 ? kPop3ReadFailed : 0;
}

bool CZnPop3::IsPositive() const {
    return m_strLastResponse.StartsWith("+OK", false);
}

bool CZnPop3::IsNegative() const {
    return m_strLastResponse.StartsWith("-ERR", false);
}

std::int32_t CZnPop3::GetMessageCount(std::int32_t& countOut) const {
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    countOut = m_lMessageCount;
    return 0;
}

std::int32_t CZnPop3::DeleteMessage(std::int32_t id) {
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    if (m_lMessageCount == 0) {
        return kPop3NothingToDelete;
    }
    // Only a refusal counts as a failure.
    SendCommand("DELE " + std::to_string(id));
    return IsNegative() ? kPop3DeleteFailed : 0;
}

}  // namespace tessolt
