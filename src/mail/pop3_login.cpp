#include <string>

#include "foundation/md5.h"
#include "mail/command_line.h"
#include "mail/pop3.h"
#include "mail/smtp_capabilities.h"

namespace tessolt {

namespace {

/// A server that lists more capabilities than this is not listing capabilities.
constexpr int kMaxCapabilityLines = 10000;
constexpr std::uint32_t kLogFrame = 256;
/// Where the mechanisms begin in the capability SASL.
constexpr std::size_t kMechanismsAt = 5;

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
    ForgetTrouble();
    const std::int32_t result = IsConnected() ? std::int32_t{kPop3AlreadyConnected}
                                              : InStep([this] { return OpenConversation(); });
    if (result != 0) {
        BlameResult(result);
        Told(result);
        m_strRefusal = m_strLastResponse;
        Disconnect();
    }
    return result;
}

std::int32_t CZnPop3::OpenConversation() {
    constexpr OpeningFailures kFailures = {{kPop3InvalidHost, nullptr},
                                           {kPop3InvalidPort, nullptr},
                                           {kPop3ConnectFailed, nullptr},
                                           {kPop3HandshakeFailed, nullptr}};
    std::int32_t result = CheckPlace(m_strServer, kFailures);
    if (result == 0) {
        LogPlace(m_strServer);
        result = OpenChannel(m_strServer, kFailures);
    }
    if (result != 0) {
        return result;
    }
    result = ReadResponse(m_lTimeoutConnect);
    if (result != 0) {
        BlameReading(true);
        return result;
    }
    if (!IsPositive()) {
        Blame(WelcomeTrouble(m_strLastResponse.View()));
        return kPop3NoWelcome;
    }
    m_welcome = m_strLastResponse.View();
    result = PrepareLogIn();
    result = result == 0 ? CheckChannel() : result;
    if (result != 0) {
        return result;
    }
    return m_rules.strongestMechanism ? LogInStrongest() : LogIn();
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
    if (m_lAuthentication != kPop3AuthPlain && WelcomeHoldsTimestamp()) {
        result = ExchangeApop();
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
    return QueryStatus();
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

std::int32_t CZnPop3::ExchangeApop() {
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
    SendCommand(command.View());
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
    m_offered.clear();
    m_offers.clear();
    if (SendCommand("CAPA") != 0 || !IsPositive()) {
        return;
    }
    CZncString line;
    for (int lines = 0; lines < kMaxCapabilityLines; ++lines) {
        if (AfterRead(ReadLine(line, m_lTimeoutCommand)) != 0) {
            return;
        }
        LogLong(kLogProtocol, line.GetLength() + kLogFrame, "Response: [%s]", line.GetBuffer());
        if (line == ".") {
            return;
        }
        m_offers.append(m_offers.empty() ? "" : "\n").append(line.View());
        if (line.StartsWith("SASL ", false)) {
            m_offered = UpperWords(line.View().substr(kMechanismsAt));
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
