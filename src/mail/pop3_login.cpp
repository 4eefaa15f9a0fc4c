#include <string>

#include "foundation/md5.h"
#include "mail/command_line.h"
#include "mail/pop3.h"

namespace tessolt {

namespace {

constexpr std::int32_t kMaxPort = 65535;
/// A server that lists more capabilities than this is not listing capabilities.
constexpr int kMaxCapabilityLines = 10000;
constexpr std::uint32_t kLogFrame = 256;
/// The result of an APOP exchange that the password may still follow.
constexpr std::int32_t kApopRefused = -1;

struct Refusal {
    const char* text;
    std::int32_t result;
};

/// Why a login was refused, by the words of the server; the first hit decides.
constexpr Refusal kRefusals[] = {
    {"access denied", kPop3LoginFailed}, {"invalid password", kPop3LoginFailed},
    {"login failed", kPop3LoginFailed},  {"locked", kPop3MailboxLocked},
    {"maildrop", kPop3MailboxLocked},
};

struct CapabilityWord {
    const char* word;
    std::uint32_t bit;
};

constexpr CapabilityWord kCapabilityWords[] = {
    {"TOP", kPop3CanTop},   {"SASL", kPop3CanSasl}, {"STLS", kPop3CanStls},
    {"USER", kPop3CanUser}, {"UIDL", kPop3CanUidl}, {"RESP", kPop3CanResp},
};

}  // namespace

std::int32_t CZnPop3::Connect() {
    const std::int32_t result = IsConnected() ? kPop3AlreadyConnected : OpenConversation();
    if (result != 0) {
        Quit();
    }
    return result;
}

std::int32_t CZnPop3::OpenConversation() {
    if (m_strServer.IsEmpty()) {
        return kPop3InvalidHost;
    }
    if (m_lHostPort < 0 || m_lHostPort > kMaxPort) {
        return kPop3InvalidPort;
    }
    LogLong(kLogProtocol, m_strServer.GetLength() + kLogFrame, "Connect to: [%s:%d]",
            m_strServer.GetBuffer(), m_lHostPort);
    if (CZncTcpSocket::Connect(m_strServer.GetBuffer(), m_lHostPort, m_lTimeoutConnect) != 0) {
        return kPop3ConnectFailed;
    }
    if (m_bSecure) {
        m_lHandshakeTimeout = m_lTimeoutConnect;
        m_strCheckedName.Assign(m_strServer);
        if (Handshake() != 0) {
            return kPop3HandshakeFailed;
        }
    }
    const std::int32_t result = ReadResponse(m_lTimeoutConnect);
    if (result != 0) {
        return result;
    }
    return IsPositive() ? LogIn() : static_cast<std::int32_t>(kPop3NoWelcome);
}

/// Whether the welcome can carry the timestamp that APOP wants (RFC 1939, 7).
bool CZnPop3::WelcomeHoldsTimestamp() const {
    for (const char* mark : {">", "<", "@", "."}) {
        if (!m_strLastResponse.Contains(mark)) {
            return false;
        }
    }
    return true;
}

std::int32_t CZnPop3::LogIn() {
    std::int32_t result = 0;
    std::int32_t exchange = 0;
    if (m_lAuthentication != kPop3AuthPlain && WelcomeHoldsTimestamp()) {
        result = ExchangeApop(exchange);
        if (result == kApopRefused) {
            return ReconnectWithPassword();
        }
    } else {
        result = LogInWithPassword();
    }
    if (result != 0) {
        return result;
    }
    QueryCapabilities();
    result = QueryStatus();
    // A reply to APOP that came too late has shifted those that follow: such a STAT proves nothing.
    return result != 0 ? result : exchange;
}

std::int32_t CZnPop3::ReconnectWithPassword() {
    const std::int32_t wanted = m_lAuthentication;
    m_lAuthentication = kPop3AuthPlain;
    Disconnect();
    const std::int32_t result = Connect();
    m_lAuthentication = wanted;
    return result;
}

std::int32_t CZnPop3::LogInWithPassword() {
    CZncString command;
    command.Format("USER %s", m_strAccount.GetBuffer());
    std::int32_t result = SendCommand(command.View());
    if (result != 0) {
        return result;
    }
    if (!IsPositive()) {
        return kPop3BadUserResponse;
    }
    command.Format("PASS %s", m_strPassword.GetBuffer());
    result = SendCommand(command.View());
    if (result != 0) {
        return result;
    }
    return IsNegative() ? JudgeRefusal(kPop3InvalidPassword) : 0;
}

std::int32_t CZnPop3::ExchangeApop(std::int32_t& exchange) {
    if (!IsSingleLine(m_strAccount.View())) {
        return kTransportBroken;
    }
    const std::string welcome = m_strLastResponse.GetString();
    const std::size_t begin = welcome.find('<');
    const std::size_t end = welcome.find('>', begin);
    std::string signedText = welcome.substr(begin);
    if (end != std::string::npos) {
        m_strLastResponse.Assign(welcome.substr(0, end + 1));
        signedText = welcome.substr(begin, end + 1 - begin);
    }
    signedText += m_strPassword.GetString();
    Md5Context digest;
    MD5Init(&digest);
    MD5Update(&digest, signedText.data(), signedText.size());
    MD5Final(&digest);

    CZncString command;
    command.Format("APOP %s %s", m_strAccount.GetBuffer(), HexDigest(digest.digest).c_str());
    // An exchange that failed shows when the messages are counted.
    exchange = SendCommand(command.View());
    return IsNegative() ? JudgeRefusal(kApopRefused) : 0;
}

std::int32_t CZnPop3::JudgeRefusal(std::int32_t unknown) const {
    for (const Refusal& refusal : kRefusals) {
        if (m_strLastResponse.Contains(refusal.text, false)) {
            return refusal.result;
        }
    }
    return unknown;
}

void CZnPop3::QueryCapabilities() {
    m_uCapabilities = 0;
    if (SendCommand("CAPA") != 0 || !IsPositive()) {
        return;
    }
    CZncString line;
    for (int lines = 0; lines < kMaxCapabilityLines; ++lines) {
        if (ReadLine(line, m_lTimeoutCommand) != 0) {
            return;
        }
        LogLong(kLogProtocol, line.GetLength() + kLogFrame, "Response: [%s]", line.GetBuffer());
        if (line == ".") {
            return;
        }
        for (const CapabilityWord& known : kCapabilityWords) {
            if (line == known.word) {
                m_uCapabilities |= known.bit;
            }
        }
    }
}

std::int32_t CZnPop3::QueryStatus() {
    const std::int32_t result = SendCommand("STAT");
    if (result != 0) {
        return result;
    }
    if (!IsPositive()) {
        return kPop3StatFailed;
    }
    CZncString numbers(m_strLastResponse);
    numbers.KeepDigits();
    m_lMessageCount = numbers.GetTokenInt(" ", 0, 0);
    return 0;
}

}  // namespace tessolt
