#include <tessolt/advice.h>

#include <algorithm>
#include <new>

#include "base/ascii_text.h"
#include "foundation/timeout.h"
#include "mail/command_line.h"
#include "mail/outgoing_text.h"
#include "mail/smtp.h"
#include "message/znmail.h"
#include "platform/host_name.h"

namespace tessolt {

namespace {

constexpr std::int32_t kClosing = 421;
constexpr std::int32_t kStartMailInput = 354;
constexpr std::int32_t kStorageExceeded = 552;
constexpr std::int32_t kMailboxNotAllowed = 553;
constexpr std::int32_t kTransactionFailed = 554;
/// Commands in one flight: their replies find room in the socket while nobody reads them.
constexpr std::size_t kMostInFlight = 100;
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kLoneDot = ".\r\n";

/// The UTF-8 form of a wide text.
std::string Utf8Of(const CZncStringW& text) {
    CZncString utf8;
    WideToUtf8(text.GetBuffer(), utf8);
    return utf8.TakeString();
}

bool IsEncoded(CZnMail& mail) try { return mail.Encode() == 0; } catch (const std::bad_alloc&) {
    return false;
}

/// An address as the server is to see it: where only the host's name goes beyond ASCII, that has
/// another form, which every server takes.
std::string WireForm(const std::string& address) {
    const std::size_t at = address.rfind('@');
    if (at == std::string::npos || !borvik::isAscii(std::string_view(address).substr(0, at))) {
        return address;
    }
    std::string host = address.substr(at + 1);
    platform::toAsciiHostName(host);
    return address.substr(0, at + 1) + host;
}

}  // namespace

/// A command of a transaction and what it is for.
struct CZnSmtp::EnvelopeCommand {
    enum Kind { kSender, kRecipient, kText };
    SmtpStep Step() const {
        return kind == kSender      ? SmtpStep::kSender
               : kind == kRecipient ? SmtpStep::kRecipients
                                    : SmtpStep::kData;
    }
    Kind kind;
    std::string line;
    std::size_t recipient = 0;
};

/// The one place where a text is made for the server that gets it. What that server can do stands
/// in `m_capabilities` by now. False when it could not be built.
bool CZnSmtp::TextForServer(const CZnMail& mail, WireText& text, bool& canTravel) const try {
    mail.GetWireText(text, !m_rules.extensions || m_capabilities.eightBitMime, canTravel);
    return !text.IsEmpty();
} catch (const std::bad_alloc&) {
    return false;
}

std::int32_t CZnSmtp::SendByEnvelope(CZnMail& mail) {
    std::vector<std::string> recipients;
    for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
        for (const auto& recipient : *list) {
            recipients.push_back(Utf8Of(recipient->m_wstrAddress));
        }
    }
    return IsEncoded(mail) ? DeliverText(mail, Utf8Of(mail.m_wstrFromAddress), recipients)
                           : std::int32_t{kSmtpSendFailed};
}

std::int32_t CZnSmtp::SendAsItStands(const CZnMail& mail, const std::string& sender,
                                     const std::vector<std::string>& recipients) {
    return Transaction([&] { return DeliverText(mail, sender, recipients); });
}

std::int32_t CZnSmtp::DeliverText(const CZnMail& mail, const std::string& sender,
                                  const std::vector<std::string>& recipients) {
    WireText text;
    bool canTravel = true;
    const bool isMade = TextForServer(mail, text, canTravel);
    if (!canTravel) {
        m_delivery.last = {kTransactionFailed, "5.6.1",
                           "A header, or a part that can't be coded, has lines that the server "
                           "doesn't take"};
        Log(kLogProtocol, "Not sent: [%s]", m_delivery.last.Line().c_str());
        Blame({TESSOLT_CAUSE_CONTENT_REFUSED, "the server takes no 8-bit text or such long lines"});
        return m_delivery.last.code;
    }
    return isMade ? Deliver(sender, recipients, text) : std::int32_t{kSmtpSendFailed};
}

std::int32_t CZnSmtp::Deliver(const std::string& sender, const std::vector<std::string>& recipients,
                              std::string_view text) {
    WireText whole(text);
    return Deliver(sender, recipients, whole);
}

std::int32_t CZnSmtp::Deliver(const std::string& sender, const std::vector<std::string>& recipients,
                              WireText& text) {
    std::int32_t result =
        OpenTransaction(sender, recipients, {text.Size(), !text.IsAscii()}, [] { return true; });
    if (result == 0) {
        m_step = SmtpStep::kText;
        result = TransmitText(text);
        KeepLastReply();
        m_delivery.taken = result == 0;
    }
    const SmtpRecipientReply* refused = m_delivery.FirstRefused();
    return result == 0 && refused ? refused->reply.code : result;
}

/// Everything of a transaction up to the server's leave to send the text. `m_delivery` tells what
/// became of each recipient.
std::int32_t CZnSmtp::OpenTransaction(const std::string& sender,
                                      const std::vector<std::string>& recipients,
                                      const TextTraits& text, const std::function<bool()>& goesOn) {
    m_step = SmtpStep::kReset;
    m_delivery = {};
    for (const std::string& address : recipients) {
        m_delivery.recipients.push_back({address, {}});
    }
    if (!IsConnected()) {
        return kSmtpNotConnected;
    }
    m_delivery.last = CheckEnvelope(sender, text.size);
    if (m_delivery.last.code != 0) {
        Log(kLogProtocol, "Not sent: [%s]", m_delivery.last.Line().c_str());
        return m_delivery.last.code;
    }
    std::int32_t result = ResetTransaction();
    if (result == 0) {
        result = OfferEnvelope(MailCommand(sender, text), goesOn);
    }
    LogRefusals();
    return result;
}

/// Finds what can't work before anything is sent, in the words that a server would have for it. A
/// recipient that can't be named to this server counts as refused by it.
SmtpReply CZnSmtp::CheckEnvelope(const std::string& sender, std::uint64_t size) {
    m_step = SmtpStep::kSender;
    if (m_rules.extensions && m_capabilities.sizeLimit > 0 && size > m_capabilities.sizeLimit) {
        Blame({TESSOLT_CAUSE_TOO_LARGE, "the message has " + std::to_string(size) +
                                            " bytes, and the server takes at most " +
                                            std::to_string(m_capabilities.sizeLimit)});
        return {kStorageExceeded, "5.3.4", "The message is longer than the server takes"};
    }
    SmtpReply verdict = CheckAddress(sender);
    if (verdict.code != 0) {
        return verdict;
    }
    m_step = SmtpStep::kRecipients;
    bool anyLeft = false;
    for (SmtpRecipientReply& recipient : m_delivery.recipients) {
        recipient.reply = CheckAddress(recipient.address);
        anyLeft = anyLeft || recipient.reply.code == 0;
        if (verdict.code == 0 && !m_rules.partialRecipients) {
            verdict = recipient.reply;
        }
    }
    if (verdict.code == 0 && !anyLeft) {
        const auto& all = m_delivery.recipients;
        verdict = all.empty() ? SmtpReply{kMailboxNotAllowed, "5.1.3", "There is no recipient"}
                              : all.front().reply;
    }
    return verdict;
}

/// Whether the server can be told of the address.
SmtpReply CZnSmtp::CheckAddress(const std::string& address) const {
    if (!IsEnvelopeAddress(address)) {
        return {kMailboxNotAllowed, "5.1.3", "The address can't be sent"};
    }
    const bool takesUtf8 = !m_rules.extensions || m_capabilities.smtpUtf8;
    return takesUtf8 || borvik::isAscii(WireForm(address))
               ? SmtpReply()
               : SmtpReply{kMailboxNotAllowed, "5.6.7", "The server doesn't offer SMTPUTF8"};
}

std::string CZnSmtp::MailCommand(const std::string& sender, const TextTraits& text) const {
    std::string command = "MAIL FROM:<" + WireForm(sender) + ">";
    if (!m_rules.extensions) {
        return command;
    }
    if (m_capabilities.size) {
        command += " SIZE=" + std::to_string(text.size);
    }
    if (m_capabilities.eightBitMime && text.isEightBit) {
        command += " BODY=8BITMIME";
    }
    const auto& recipients = m_delivery.recipients;
    const bool wantsUtf8 = !borvik::isAscii(WireForm(sender)) ||
                           std::any_of(recipients.begin(), recipients.end(), [](const auto& each) {
                               return !borvik::isAscii(WireForm(each.address));
                           });
    return wantsUtf8 && m_capabilities.smtpUtf8 ? command + " SMTPUTF8" : command;
}

/// Ends a transaction that broke off. It has a round trip of its own: were it refused with the next
/// commands on their way, these would go into the old transaction.
std::int32_t CZnSmtp::ResetTransaction() {
    m_step = SmtpStep::kReset;
    const std::int32_t result = Reset();
    if (result != 0) {
        m_delivery.last = LastReply();
        Disconnect();
    }
    return result;
}

/// Names sender and recipients, and asks to send the text. With PIPELINING that is one flight (RFC
/// 2920), the last command of it only where a part of the recipients is enough.
std::int32_t CZnSmtp::OfferEnvelope(const std::string& mailCommand,
                                    const std::function<bool()>& goesOn) {
    const bool together = m_rules.extensions && m_capabilities.pipelining;
    const bool textToo = together && m_rules.partialRecipients;
    const EnvelopeCommand askForText{EnvelopeCommand::kText, "DATA"};
    std::vector<EnvelopeCommand> commands = {{EnvelopeCommand::kSender, mailCommand}};
    for (std::size_t i = 0; i < m_delivery.recipients.size(); ++i) {
        const SmtpRecipientReply& recipient = m_delivery.recipients[i];
        if (recipient.reply.code == 0) {
            commands.push_back(
                {EnvelopeCommand::kRecipient, "RCPT TO:<" + WireForm(recipient.address) + ">", i});
        }
    }
    if (textToo) {
        commands.push_back(askForText);
    }
    m_bNeedsReset = true;
    std::int32_t result = 0;
    std::span<const EnvelopeCommand> left = commands;
    while (result == 0 && !left.empty()) {
        const std::size_t count = together ? std::min(kMostInFlight, left.size()) : 1;
        result = goesOn() ? RunFlight(left.first(count)) : std::int32_t{kSmtpStopped};
        left = left.subspan(count);
    }
    if (result != 0 || textToo) {
        return result;
    }
    if (m_delivery.AnyAccepted()) {
        return goesOn() ? RunFlight({&askForText, 1}) : std::int32_t{kSmtpStopped};
    }
    m_delivery.last = m_delivery.FirstRefused()->reply;
    return m_delivery.last.code;
}

/// Sends commands in one piece and reads the reply to each. The result is that of the first command
/// that fails the transaction.
std::int32_t CZnSmtp::RunFlight(std::span<const EnvelopeCommand> flight) {
    std::string lines;
    for (const EnvelopeCommand& command : flight) {
        lines.append(command.line).append(kLineEnd);
        LogLong(kLogProtocol, static_cast<std::uint32_t>(command.line.size()), "Command: [%s]",
                command.line.c_str());
    }
    m_step = flight.front().Step();
    const std::int32_t sent = SendPieces({lines}, {m_lTimeoutCommand, kSendIdleLimit});
    if (sent != 0) {
        return LoseConnection(sent);
    }
    std::int32_t result = 0;
    bool senderRefused = false;
    for (const EnvelopeCommand& command : flight) {
        m_step = result == 0 ? command.Step() : m_step;
        const bool isRead = ReadResponse() == 0;
        const SmtpReply reply = LastReply();
        // `m_lLastCode` takes a sign for a part of the code. With code 0 this would be no refusal,
        // and the text would go out without leave, to be read as commands.
        if (!isRead || reply.code == 0) {
            return LoseConnection(kSmtpNoResponse);
        }
        const std::int32_t judged = command.kind == EnvelopeCommand::kText
                                        ? JudgeText(senderRefused)
                                        : JudgeReply(command, senderRefused);
        senderRefused = senderRefused || (command.kind == EnvelopeCommand::kSender && judged != 0);
        if (result == 0 && judged != 0) {
            result = judged;
            const SmtpRecipientReply* refused = m_delivery.FirstRefused();
            const bool isNobodys = command.kind == EnvelopeCommand::kText && refused != nullptr &&
                                   !m_delivery.AnyAccepted();
            m_step = isNobodys ? SmtpStep::kRecipients : m_step;
            m_delivery.last = isNobodys ? refused->reply : reply;
        }
        if (m_lLastCode == kClosing) {
            return LoseConnection(result);
        }
    }
    return result;
}

/// Judges the reply to a sender or recipient. Behind a refused sender a recipient's reply says
/// nothing about the recipient.
std::int32_t CZnSmtp::JudgeReply(const EnvelopeCommand& command, bool senderRefused) {
    const SmtpReply reply = LastReply();
    if (command.kind == EnvelopeCommand::kRecipient && !senderRefused) {
        m_delivery.recipients[command.recipient].reply = reply;
    }
    const bool goesOn = reply.IsPositive() || (command.kind == EnvelopeCommand::kRecipient &&
                                               m_rules.partialRecipients && reply.code != kClosing);
    return goesOn ? 0 : reply.code;
}

/// Judges the reply to DATA. A server that asks for a text which nobody is to get is given an empty
/// one, as RFC 2920 has it, unless it has no sender either: then only the end of the connection
/// makes sure that it takes nothing.
std::int32_t CZnSmtp::JudgeText(bool senderRefused) {
    const bool asks = m_lLastCode == kStartMailInput;
    if (m_delivery.AnyAccepted() && !senderRefused) {
        return asks ? 0 : m_lLastCode;
    }
    const SmtpRecipientReply* refused = m_delivery.FirstRefused();
    const std::int32_t result = refused && !senderRefused ? refused->reply.code : m_lLastCode;
    if (asks && senderRefused) {
        return LoseConnection(result);
    }
    if (asks &&
        (SendPieces({kLoneDot}, {m_lTimeoutCommand, kSendIdleLimit}) != 0 || ReadResponse() != 0)) {
        return LoseConnection(result);
    }
    return result;
}

/// Closes a connection whose next reply would belong to nobody knows what.
std::int32_t CZnSmtp::LoseConnection(std::int32_t result) {
    CloseSecure();
    return result;
}

/// Sends the text with its end and reads what the server says to it.
std::int32_t CZnSmtp::TransmitText(WireText& text) {
    const SendLimits limits = m_rules.uploadByProgress
                                  ? SendLimits{kNoTimeLimit, m_lTimeoutData}
                                  : SendLimits{m_lTimeoutCommand, kSendIdleLimit};
    OutgoingText outgoing(text, m_rules.exactDots);
    const std::int32_t result = ExchangeText(outgoing, limits);
    if (result != 0) {
        // Whatever came next would be a part of the text, or its reply be taken for another.
        return LoseConnection(result);
    }
    m_bNeedsReset = false;
    return SmtpReply{m_lLastCode, {}, {}}.IsPositive() ? 0 : m_lLastCode;
}

/// Keeps and logs the words of the server. What became of the message doesn't depend on them.
void CZnSmtp::KeepLastReply() try {
    m_delivery.last.code = m_lLastCode;
    m_delivery.last = LastReply();
} catch (const std::bad_alloc&) {
    return;
}

void CZnSmtp::LogRefusals() {
    for (const SmtpRecipientReply& recipient : m_delivery.recipients) {
        if (recipient.reply.code != 0 && !recipient.reply.IsPositive()) {
            const std::string line = recipient.address + "] " + recipient.reply.Line();
            LogLong(kLogProtocol, static_cast<std::uint32_t>(line.size()), "Recipient refused: [%s",
                    line.c_str());
        }
    }
}

}  // namespace tessolt
