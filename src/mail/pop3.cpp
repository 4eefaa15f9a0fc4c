#include "mail/pop3.h"

#include <tessolt/advice.h>

#include <string>

#include "base/ascii_text.h"
#include "mail/command_line.h"

namespace tessolt {

namespace {

constexpr std::int32_t kUsualPort = 110;
/// A server that sends more empty lines in front of a status line has none to send.
constexpr int kMaxSkippedLines = 1000;
/// Room for what a log line has around a text of any length.
constexpr std::uint32_t kLogFrame = 256;

}  // namespace

CZnPop3::CZnPop3() : CZnMailSession("CZnPop3", kUsualPort) {}
CZnPop3::~CZnPop3() = default;

std::int32_t CZnPop3::SendCommand(std::string_view text, std::uint32_t timeoutMs) {
    const bool secret = CZncString(text).StartsWith("PASS", false);
    return Exchange(text, secret ? "PASS xxxxx" : text, timeoutMs);
}

bool CZnPop3::MayAsk(std::string_view command) const {
    return borvik::equalsNoCase(command, "NOOP");
}

std::int32_t CZnPop3::Ask(std::string_view command) {
    ForgetTrouble();
    const std::int32_t result = SendCommand(command);
    BlameResult(result);
    return Told(result);
}

std::int32_t CZnPop3::Exchange(std::string_view text, std::string_view logged,
                               std::uint32_t timeoutMs) {
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    LogLong(kLogProtocol, static_cast<std::uint32_t>(logged.size()) + kLogFrame, "Command: [%s]",
            CZncString(logged).GetBuffer());
    return InStep([&] {
        const std::int32_t sent = SendText(text);
        if (sent != 0) {
            m_strLastResponse = "";
            return sent;
        }
        return ReadResponse(timeoutMs != 0 ? timeoutMs : m_lTimeoutCommand);
    });
}

std::int32_t CZnPop3::SendText(std::string_view line) {
    if (!IsSingleLine(line)) {
        return kTransportBroken;
    }
    CZncString text(line);
    return UsesChannel() ? SendSecure(text) : SendLine(text, kNoTimeLimit, kSendIdleLimit);
}

std::int32_t CZnPop3::ReadLine(CZncString& line, std::uint32_t timeoutMs) {
    return UsesChannel() ? ReceiveLineSecure(line, timeoutMs)
                         : ReceiveLine(line, timeoutMs, timeoutMs);
}

std::int32_t CZnPop3::ReadResponse(std::uint32_t timeoutMs) {
    std::int32_t result = 0;
    int skipped = -1;
    do {
        result = ++skipped > kMaxSkippedLines ? kTransportLineTooLong
                                              : ReadLine(m_strLastResponse, timeoutMs);
    } while (result == 0 && m_strLastResponse.IsEmpty());
    m_lReadResult = result;
    m_lReadLimit = timeoutMs;
    LogLong(kLogProtocol, m_strLastResponse.GetLength() + kLogFrame, "Response: [%s]",
            m_strLastResponse.GetBuffer());
    AfterRead(result);
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
    ForgetTrouble();
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    if (m_lMessageCount == 0) {
        return kPop3NothingToDelete;
    }
    // By classic rules only a refusal counts as a failure.
    const std::int32_t result = SendCommand("DELE " + std::to_string(id));
    const bool isLost = result != 0 && m_rules.closeAfterTimeout;
    const std::int32_t failure = isLost         ? result
                                 : IsNegative() ? std::int32_t{kPop3DeleteFailed}
                                                : 0;
    BlameResult(failure);
    return Told(failure);
}

/// Names the cause of a result.
void CZnPop3::BlameResult(std::int32_t result) {
    switch (result) {
        case 0:
        case kPop3Stopped:
        case kPop3NotConnected:
            break;
        case kPop3RetrieveFailed:
        case kPop3DeleteFailed:
            Blame({TESSOLT_CAUSE_NO_SUCH_MESSAGE, "the server refused it", true});
            break;
        case kPop3LoginFailed:
        case kPop3BadUserResponse:
        case kPop3InvalidPassword:
        case kPop3MailboxLocked:
            Blame(LogInTrouble(m_strLastResponse.View(), UsesChannel()));
            break;
        case kPop3BodyStalled:
        case kPop3TimedOut:
            m_lReadResult = kTransportIdleTimedOut;
            BlameReading();
            break;
        case kPop3BodyReadFailed:
        case kPop3ReadFailed:
        case kPop3NoFetchResponse:
            m_lReadResult = m_lReadResult != 0 ? m_lReadResult : std::int32_t{kTransportBroken};
            BlameReading();
            break;
        default:
            break;
    }
}

}  // namespace tessolt
