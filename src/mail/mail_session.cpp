#include "mail/mail_session.h"

#include "charset/ansi_text.h"

namespace tessolt {

namespace {

constexpr std::int32_t kMaxPort = 65535;
/// Room for what a log line has around a text of any length.
constexpr std::uint32_t kLogFrame = 256;

}  // namespace

void CZnMailSession::Disconnect() {
    const bool connected = IsConnected();
    if (connected) {
        SendCommand("QUIT", m_lTimeoutQuit);
    }
    CloseSecure();
    if (connected) {
        Log(kLogProtocol, "Disconnected");
    }
}

std::int32_t CZnMailSession::Fail(const Failure& failure) {
    if (failure.entry) {
        Log(kLogProtocol, "%s", failure.entry);
    }
    return failure.result;
}

void CZnMailSession::LogPlace(const CZncString& host) {
    LogLong(kLogProtocol, host.GetLength() + kLogFrame, "Connect to: [%s:%d]", host.GetBuffer(),
            m_lHostPort);
}

std::int32_t CZnMailSession::CheckPlace(const CZncString& host, const OpeningFailures& failures) {
    if (host.IsEmpty()) {
        return Fail(failures.noHost);
    }
    return m_lHostPort < 0 || m_lHostPort > kMaxPort ? Fail(failures.badPort) : 0;
}

std::int32_t CZnMailSession::OpenChannel(const CZncString& host, const OpeningFailures& failures) {
    if (OpenSocket(host, m_lHostPort, m_lTimeoutConnect) != 0) {
        return Fail(failures.notConnected);
    }
    return m_bSecure && SecureChannel(host, failures.notSecure.entry) != 0
               ? failures.notSecure.result
               : 0;
}

std::int32_t CZnMailSession::SecureChannel(const CZncString& host, const char* entry) {
    m_lHandshakeTimeout = m_lTimeoutConnect;
    m_strCheckedName.Assign(host);
    const std::int32_t result = Handshake();
    return result != 0 ? Fail({result, entry}) : 0;
}

std::int32_t CZnMailSession::CheckChannel() {
    return m_bTlsRequired && !UsesChannel() ? RefuseClear() : 0;
}

std::int32_t CZnMailSession::RefuseClear(std::int32_t cause) {
    Log(kLogProtocol, "The channel isn't encrypted, and nothing secret may pass");
    return cause != 0 ? cause : std::int32_t{kSecureNoChannel};
}

std::int32_t CZnMailSession::AfterRead(std::int32_t result) {
    if (result != 0 && m_rules.closeAfterTimeout) {
        CloseSecure();
    }
    return result;
}

SaslCredentials CZnMailSession::Credentials(const CZncString& host) const {
    return {.account = borvik::ansiToUtf8(m_strAccount.View()),
            .secret = borvik::ansiToUtf8(m_strPassword.View()),
            .isToken = m_bAuthToken,
            .host = borvik::ansiToUtf8(host.View()),
            .port = m_lHostPort};
}

}  // namespace tessolt
