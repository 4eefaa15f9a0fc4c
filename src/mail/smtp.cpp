#include "mail/smtp.h"

#include <algorithm>
#include <string>

#include "foundation/timeout.h"
#include "mail/command_line.h"
#include "platform/machine.h"

namespace tessolt {

namespace {

constexpr std::uint32_t kSendIdleLimit = 3000;
constexpr std::int32_t kMaxPort = 65535;
/// A reply beyond these bounds counts as one that could not be read.
constexpr std::size_t kMaxReplyLines = 1000;
constexpr std::uint32_t kMaxReplyBytes = 1024 * 1024;
constexpr std::size_t kCodeDigits = 3;
/// The socket takes a length of 32 bits.
constexpr std::size_t kMaxSend = 0x40000000;
/// Room for what a log line has around a text of any length.
constexpr std::uint32_t kLogFrame = 256;

enum ReplyCode : std::int32_t { kReady = 220, kDone = 250 };

/// A reply goes on unless the line is a bare code or has a blank behind it (RFC 5321, 4.2.1).
bool IsLastLine(std::string_view line) {
    return line.size() == kCodeDigits || (line.size() > kCodeDigits && line[kCodeDigits] == ' ');
}

}  // namespace

CZnSmtp::CZnSmtp() : CZnSecureProtocol("CZnSmtp") {}
CZnSmtp::~CZnSmtp() = default;

std::int32_t CZnSmtp::Connect() {
    LogLong(kLogProtocol, m_strHost.GetLength() + kLogFrame, "Connect to: [%s:%d]",
            m_strHost.GetBuffer(), m_lHostPort);
    if (IsConnected()) {
        Log(kLogProtocol, "Already connected");
        return 0;
    }
    const std::int32_t result = OpenConversation();
    if (result != 0) {
        Quit();
    }
    return result;
}

std::int32_t CZnSmtp::OpenConversation() {
    if (m_strHost.IsEmpty()) {
        Log(kLogProtocol, "Invalid hostname");
        return kSmtpInvalidHost;
    }
    if (m_lHostPort < 0 || m_lHostPort > kMaxPort) {
        return kSmtpInvalidPort;
    }
    if (CZncTcpSocket::Connect(m_strHost.GetBuffer(), m_lHostPort, m_lTimeoutConnect) != 0) {
        Log(kLogProtocol, "Connect failed");
        return kSmtpConnectFailed;
    }
    if (m_bSecure && SecureChannel() != 0) {
        return kSmtpHandshakeFailed;
    }
    std::int32_t result = ReadResponse(m_lTimeoutConnect);
    if (result != 0) {
        return result;
    }
    if (m_lLastCode != kReady) {
        Log(kLogProtocol, "Unexpected response while connecting");
        return kSmtpBadWelcome;
    }
    m_bNeedsReset = false;
    result = GreetServer();
    if (result == 0 && m_bUseStartTls != 0 && !m_bSecure &&
        m_strLastResponse.Contains(" 250-STARTTLS", false)) {
        result = StartTls();
    }
    if (result != 0) {
        return result;
    }
    if (m_lAuthentication == kSmtpAuthAuto && !m_strAccount.IsEmpty()) {
        m_lAuthentication = kSmtpAuthPlain;
    }
    result = Authenticate();
    if (result != 0) {
        Log(kLogProtocol, "Send authentication failed");
    }
    return result;
}

std::int32_t CZnSmtp::SecureChannel() {
    m_lHandshakeTimeout = m_lTimeoutConnect;
    m_strCheckedName.Assign(m_strHost);
    const std::int32_t result = Handshake();
    if (result != 0) {
        Log(kLogProtocol, "Perform secure handshake failed");
    }
    return result;
}

std::int32_t CZnSmtp::GreetServer() {
    const std::int32_t result = Hello();
    if (result != 0) {
        Log(kLogProtocol, "No response on HELO");
    }
    return result;
}

std::int32_t CZnSmtp::StartTls() {
    // A refusal is no failure: the conversation goes on in the clear.
    SendCommand("STARTTLS");
    if (m_lLastCode != kReady) {
        return 0;
    }
    // From here on nothing is sent in the clear on this connection, whatever fails.
    m_bSecure = true;
    const std::int32_t result = SecureChannel();
    if (result != 0) {
        return result;
    }
    Log(kLogProtocol, "Re-initialize session");
    return GreetServer();
}

void CZnSmtp::Disconnect() {
    Quit();
}

void CZnSmtp::Quit() {
    const bool connected = IsConnected();
    if (connected) {
        SendCommand("QUIT");
    }
    CloseSecure();
    if (connected) {
        Log(kLogProtocol, "Disconnected");
    }
}

std::int32_t CZnSmtp::Hello() {
    const std::string name = platform::computerName();
    CZncString command;
    command.Format("EHLO %s", name.c_str());
    std::int32_t result = SendCommand(command.View());
    if (result != 0) {
        return result;
    }
    if (m_lLastCode == kDone) {
        // The last hit stands.
        if (m_strLastResponse.Contains("LOGIN", false)) {
            m_lAuthentication = kSmtpAuthLogin;
        }
        if (m_strLastResponse.Contains("CRAM-MD5", false)) {
            m_lAuthentication = kSmtpAuthCramMd5;
        }
        if (m_strLastResponse.Contains("PLAIN", false)) {
            m_lAuthentication = kSmtpAuthPlain;
        }
        return 0;
    }
    command.Format("HELO %s", name.c_str());
    result = SendCommand(command.View());
    if (result != 0) {
        return result;
    }
    if (m_lLastCode != kDone) {
        return kSmtpHelloFailed;
    }
    m_lAuthentication = kSmtpAuthPlain;
    return 0;
}

std::int32_t CZnSmtp::SendCommand(std::string_view text, std::uint32_t timeoutMs) {
    if (!IsConnected()) {
        return kSmtpNotConnected;
    }
    if (!IsSingleLine(text)) {
        return kSmtpSendFailed;
    }
    std::string line(text);
    line += kWireLineEnd;
    return Exchange({line}, text, timeoutMs);
}

std::int32_t CZnSmtp::Exchange(std::initializer_list<std::string_view> pieces,
                               std::string_view logged, std::uint32_t timeoutMs) {
    const std::int32_t sent = SendPieces(pieces);
    if (sent != 0) {
        return sent;
    }
    LogLong(kLogProtocol, static_cast<std::uint32_t>(logged.size()) + kLogFrame, "Command: [%.*s]",
            static_cast<int>(logged.size()), logged.data());
    return ReadResponse(timeoutMs) != 0 ? kSmtpNoResponse : 0;
}

std::int32_t CZnSmtp::SendPieces(std::initializer_list<std::string_view> pieces) {
    const CZncTimeout total(m_lTimeoutCommand);
    for (std::string_view piece : pieces) {
        if (m_bSecure) {
            if (SendRecords(piece) != 0) {
                return kSmtpEncryptFailed;
            }
            continue;
        }
        while (!piece.empty()) {
            const auto length = static_cast<std::uint32_t>(std::min(piece.size(), kMaxSend));
            std::uint32_t sent = 0;
            if (SendBuffer(piece.data(), length, sent, total.Remaining(), kSendIdleLimit) != 0) {
                return kSmtpSendFailed;
            }
            piece.remove_prefix(length);
        }
    }
    return 0;
}

std::int32_t CZnSmtp::ReadResponse(std::uint32_t timeoutMs) {
    m_strLastResponse = "";
    m_lLastCode = 0;
    const std::uint32_t limit = timeoutMs != 0 ? timeoutMs : m_lTimeoutCommand;
    CZncString line;
    std::int32_t result = 0;
    for (std::size_t lines = 1;; ++lines) {
        result = m_bSecure ? ReceiveLineSecure(line, limit) : ReceiveLine(line, limit, limit);
        if (result != 0) {
            break;
        }
        m_strLastResponse.Append(line);
        m_strLastResponse.AppendChar(' ');
        const bool last = IsLastLine(line.View());
        if (m_strLastResponse.GetLength() > kMaxReplyBytes || (lines == kMaxReplyLines && !last)) {
            result = kTransportLineTooLong;
            line = "";
            break;
        }
        if (last) {
            break;
        }
    }
    LogLong(kLogReply, m_strLastResponse.GetLength() + kLogFrame, "Response: [%s]",
            m_strLastResponse.GetBuffer());
    m_lLastCode = line.GetTokenInt(" ", 0, 0);
    if (m_lLastCode == 0) {
        return kSmtpBadResponse;
    }
    if (result == kTransportTotalTimedOut || result == kTransportIdleTimedOut) {
        return kSmtpNoResponse;
    }
    return result != 0 ? kSmtpBadResponse : 0;
}

}  // namespace tessolt
