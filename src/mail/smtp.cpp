#include "mail/smtp.h"

#include <tessolt/advice.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "base/ascii_text.h"
#include "foundation/timeout.h"
#include "mail/command_line.h"
#include "mail/outgoing_text.h"
#include "platform/machine.h"

namespace tessolt {

namespace {

constexpr std::int32_t kUsualPort = 25;
/// A reply beyond these bounds counts as one that could not be read.
constexpr std::size_t kMaxReplyLines = 1000;
constexpr std::uint32_t kMaxReplyBytes = 1024 * 1024;
constexpr std::size_t kCodeDigits = 3;
/// The socket takes a length of 32 bits.
constexpr std::size_t kMaxSend = 0x40000000;
/// Room for what a log line has around a text of any length.
constexpr std::uint32_t kLogFrame = 256;

enum ReplyCode : std::int32_t { kReady = 220, kDone = 250 };

constexpr const char* kHandshakeEntry = "Perform secure handshake failed";

/// A reply goes on unless the line is a bare code or has a blank behind it (RFC 5321, 4.2.1).
bool IsLastLine(std::string_view line) {
    return line.size() == kCodeDigits || (line.size() > kCodeDigits && line[kCodeDigits] == ' ');
}

/// What a reply to EHLO offers, a line each, without codes.
std::string OffersIn(const std::vector<std::string>& lines) {
    std::string offers;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        offers.append(offers.empty() ? "" : "\n");
        offers.append(lines[i], std::min(lines[i].size(), kCodeDigits + 1));
    }
    return offers;
}

}  // namespace

CZnSmtp::CZnSmtp() : CZnMailSession("CZnSmtp", kUsualPort) {}
CZnSmtp::~CZnSmtp() = default;

std::int32_t CZnSmtp::Connect() {
    LogPlace(m_strHost);
    if (IsConnected()) {
        Log(kLogProtocol, "Already connected");
        return 0;
    }
    ForgetTrouble();
    const std::int32_t result = InStep([this] { return OpenConversation(); });
    if (result != 0) {
        BlameLost(result);
        Told(result);
        m_strRefusal = m_strLastResponse;
        m_lRefusalCode = m_lLastCode;
        m_refusal = LastReply();
        Disconnect();
    }
    return result;
}

std::int32_t CZnSmtp::OpenConversation() {
    constexpr OpeningFailures kFailures = {{kSmtpInvalidHost, "Invalid hostname"},
                                           {kSmtpInvalidPort, nullptr},
                                           {kSmtpConnectFailed, "Connect failed"},
                                           {kSmtpHandshakeFailed, kHandshakeEntry}};
    std::int32_t result = CheckPlace(m_strHost, kFailures);
    result = result == 0 ? OpenChannel(m_strHost, kFailures) : result;
    if (result != 0) {
        return result;
    }
    result = ReadResponse(m_lTimeoutConnect);
    if (result != 0) {
        if (m_lReadResult != 0) {
            BlameReading(true);
        }
        Blame(WelcomeTrouble(m_strLastResponse.View()));
        return result;
    }
    if (m_lLastCode != kReady) {
        Blame(WelcomeTrouble(m_strLastResponse.View()));
        Log(kLogProtocol, "Unexpected response while connecting");
        return kSmtpBadWelcome;
    }
    m_welcome = LastReply().text;
    m_bNeedsReset = false;
    result = GreetServer();
    if (result == 0 && m_bUseStartTls != 0 && !UsesChannel() && OffersStartTls()) {
        result = StartTls();
    }
    result = result == 0 ? CheckChannel() : result;
    return result == 0 ? LogIn() : result;
}

bool CZnSmtp::OffersStartTls() const {
    return m_rules.extensions ? m_capabilities.startTls
                              : m_strLastResponse.Contains(" 250-STARTTLS", false);
}

std::int32_t CZnSmtp::GreetServer() {
    const std::int32_t result = Hello();
    if (result != 0) {
        Log(kLogProtocol, "No response on HELO");
    }
    return result;
}

std::int32_t CZnSmtp::StartTls() {
    std::int32_t result = SendCommand("STARTTLS");
    if (m_lLastCode != kReady) {
        // By classic rules a refusal is no failure: the conversation goes on in the clear.
        return SecretsMayPass() ? 0 : RefuseClear(result);
    }
    m_bSecure = m_bSecure || !m_rules.freshSecureFlag;
    result = SecureChannel(m_strHost, kHandshakeEntry);
    if (result != 0) {
        return result;
    }
    Log(kLogProtocol, "Re-initialize session");
    return GreetServer();
}

std::int32_t CZnSmtp::Hello() {
    const std::string name = platform::computerName();
    CZncString command;
    command.Format("EHLO %s", name.c_str());
    std::int32_t result = SendCommand(command.View());
    if (result != 0) {
        return result;
    }
    m_capabilities = {};
    m_offers.clear();
    std::int32_t mechanism = kSmtpAuthPlain;
    if (m_lLastCode == kDone) {
        m_capabilities = ReadSmtpCapabilities(m_replyLines);
        m_offers = OffersIn(m_replyLines);
        mechanism = MechanismByReply();
    } else {
        command.Format("HELO %s", name.c_str());
        result = SendCommand(command.View());
        if (result != 0) {
            return result;
        }
        if (m_lLastCode != kDone) {
            Blame(WelcomeTrouble(m_strLastResponse.View()));
            return kSmtpHelloFailed;
        }
    }
    if (!m_rules.strongestMechanism) {
        m_lAuthentication = mechanism;
    }
    return 0;
}

/// The classic choice of a mechanism, by the words of the reply to EHLO; the last hit stands.
std::int32_t CZnSmtp::MechanismByReply() const {
    std::int32_t found = m_lAuthentication;
    if (m_strLastResponse.Contains("LOGIN", false)) {
        found = kSmtpAuthLogin;
    }
    if (m_strLastResponse.Contains("CRAM-MD5", false)) {
        found = kSmtpAuthCramMd5;
    }
    if (m_strLastResponse.Contains("PLAIN", false)) {
        found = kSmtpAuthPlain;
    }
    return found;
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

bool CZnSmtp::MayAsk(std::string_view command) const {
    constexpr const char* kQuestions[] = {"NOOP", "HELP", "VRFY", "EXPN"};
    const std::string_view word = command.substr(0, command.find(' '));
    return IsSingleLine(command) && std::ranges::any_of(kQuestions, [word](const char* question) {
               return borvik::equalsNoCase(word, question);
           });
}

std::int32_t CZnSmtp::Ask(std::string_view command) {
    ForgetTrouble();
    const std::int32_t result = SendCommand(command);
    BlameLost(result);
    return Told(result);
}

std::int32_t CZnSmtp::Exchange(std::initializer_list<std::string_view> pieces,
                               std::string_view logged, std::uint32_t timeoutMs) {
    return InStep([&] {
        const std::int32_t sent = SendPieces(pieces, {m_lTimeoutCommand, kSendIdleLimit});
        return sent != 0 ? sent : ReadReplyTo(logged, timeoutMs);
    });
}

/// Sends the text of a message, of which the observer is told. Cancelled, it leaves a connection on
/// which nothing else could be said than the rest of the text, and that is closed.
std::int32_t CZnSmtp::ExchangeText(OutgoingText& text, const SendLimits& limits) {
    return InStep([&]() -> std::int32_t {
        m_watch.Begin(m_watch.HasObserver() ? text.Size() : 0);
        const std::int32_t sent = SendText(text, limits);
        if (!m_watch.End(sent == 0)) {
            Log(kLogProtocol, "Cancelled");
            CloseSecure();
            return kSmtpStopped;
        }
        return sent != 0 ? sent : ReadReplyTo("<Message data>", m_lTimeoutData);
    });
}

std::int32_t CZnSmtp::ReadReplyTo(std::string_view logged, std::uint32_t timeoutMs) {
    LogLong(kLogProtocol, static_cast<std::uint32_t>(logged.size()) + kLogFrame, "Command: [%.*s]",
            static_cast<int>(logged.size()), logged.data());
    return ReadResponse(timeoutMs) != 0 ? kSmtpNoResponse : 0;
}

std::int32_t CZnSmtp::SendPieces(std::initializer_list<std::string_view> pieces,
                                 const SendLimits& limits) {
    const CZncTimeout total(limits.totalMs);
    std::int32_t result = 0;
    for (const std::string_view piece : pieces) {
        result = result == 0 ? SendBytes(piece, total, limits.idleMs) : result;
    }
    return result;
}

std::int32_t CZnSmtp::SendText(OutgoingText& text, const SendLimits& limits) {
    const CZncTimeout total(limits.totalMs);
    std::int32_t result = 0;
    for (std::string_view piece = text.Next(); result == 0 && !piece.empty(); piece = text.Next()) {
        result = SendBytes(piece, total, limits.idleMs);
    }
    return result;
}

std::int32_t CZnSmtp::SendBytes(std::string_view bytes, const CZncTimeout& total,
                                std::uint32_t idleMs) {
    if (UsesChannel()) {
        return SendRecords(bytes, idleMs) != 0 ? std::int32_t{kSmtpEncryptFailed} : 0;
    }
    while (!bytes.empty()) {
        const auto length = static_cast<std::uint32_t>(std::min(bytes.size(), kMaxSend));
        std::uint32_t sent = 0;
        if (SendBuffer(bytes.data(), length, sent, total.Remaining(), idleMs) != 0) {
            return kSmtpSendFailed;
        }
        bytes.remove_prefix(length);
    }
    return 0;
}

std::int32_t CZnSmtp::ReadResponse(std::uint32_t timeoutMs) {
    m_strLastResponse = "";
    m_lLastCode = 0;
    m_replyLines.clear();
    m_lReadLimit = timeoutMs != 0 ? timeoutMs : m_lTimeoutCommand;
    const std::int32_t result = m_lReadResult = ReadReplyLines(m_lReadLimit);
    LogLong(kLogReply, m_strLastResponse.GetLength() + kLogFrame, "Response: [%s]",
            m_strLastResponse.GetBuffer());
    AfterRead(m_lLastCode == 0 ? std::int32_t{kSmtpBadResponse} : result);
    if (m_lLastCode == 0) {
        return kSmtpBadResponse;
    }
    if (result == kTransportTotalTimedOut || result == kTransportIdleTimedOut) {
        return kSmtpNoResponse;
    }
    return result != 0 ? kSmtpBadResponse : 0;
}

/// Collects the lines of a reply; the code is that of the last one.
std::int32_t CZnSmtp::ReadReplyLines(std::uint32_t limit) {
    CZncString line;
    std::int32_t result = 0;
    for (bool last = false; !last;) {
        result = UsesChannel() ? ReceiveLineSecure(line, limit) : ReceiveLine(line, limit, limit);
        if (result != 0) {
            break;
        }
        m_strLastResponse.Append(line);
        m_strLastResponse.AppendChar(' ');
        m_replyLines.push_back(line.GetString());
        last = IsLastLine(line.View());
        if (m_strLastResponse.GetLength() > kMaxReplyBytes ||
            (m_replyLines.size() == kMaxReplyLines && !last)) {
            return kTransportLineTooLong;
        }
    }
    m_lLastCode = line.GetTokenInt(" ", 0, 0);
    return result;
}

/// Names the cause of a result that no reply of the server has led to.
void CZnSmtp::BlameLost(std::int32_t result) {
    switch (result) {
        case kSmtpNoResponse:
        case kSmtpBadResponse:
            BlameReading();
            break;
        case kSmtpSendFailed:
        case kSmtpEncryptFailed:
            Blame({TESSOLT_CAUSE_LOST, "the connection was lost while sending"});
            break;
        default:
            break;
    }
}

}  // namespace tessolt
