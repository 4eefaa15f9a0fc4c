#include "mail/mail_session.h"

#include <tessolt/advice.h>

#include "charset/ansi_text.h"
#include "foundation/advice.h"

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
    const std::int32_t opened = OpenSocket(host, m_lHostPort, m_lTimeoutConnect);
    if (opened != 0) {
        Blame(ConnectTrouble(opened, m_lTimeoutConnect));
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
    if (result != 0) {
        Blame(ChannelTrouble(m_tlsTrouble, m_lTimeoutConnect));
    }
    return result != 0 ? Fail({result, entry}) : 0;
}

std::int32_t CZnMailSession::CheckChannel() {
    return m_bTlsRequired && !UsesChannel() ? RefuseClear() : 0;
}

std::int32_t CZnMailSession::RefuseClear(std::int32_t cause) {
    Log(kLogProtocol, "The channel isn't encrypted, and nothing secret may pass");
    Blame({TESSOLT_CAUSE_TLS_NOT_OFFERED,
           "the server offers no TLS on this port, and nothing secret may pass without"});
    return cause != 0 ? cause : std::int32_t{kSecureNoChannel};
}

void CZnMailSession::ForgetTrouble() {
    m_trouble = {};
    m_lReadResult = 0;
}

void CZnMailSession::Blame(Trouble trouble) {
    if (m_trouble.cause == TESSOLT_CAUSE_NONE) {
        m_trouble = std::move(trouble);
    }
}

void CZnMailSession::BlameReading(bool isWelcome) {
    Blame(m_lReadResult != 0
              ? ReadTrouble(m_lReadResult, m_lReadLimit, isWelcome)
              : Trouble{TESSOLT_CAUSE_OTHER_SERVICE, "what came is no reply of a mail server"});
}

std::int32_t CZnMailSession::Told(std::int32_t result) {
    if (result != 0 && m_rules.tellsCauses && m_trouble.cause != TESSOLT_CAUSE_NONE) {
        const std::string line = m_trouble.text + ". " + std::string(AdviceFor(m_trouble.cause));
        LogLong(kLogProtocol, static_cast<std::uint32_t>(line.size()) + kLogFrame, "Cause: %s",
                line.c_str());
    }
    return result;
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
