#include "mail/smtp_envelope.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "mail/smtp.h"

namespace tessolt {

namespace {

constexpr std::int32_t kMessageTaken = 250;
constexpr std::int32_t kClosing = 421;
/// Text is collected up to this many bytes before it goes out.
constexpr std::size_t kFlushBytes = 64 * 1024;

}  // namespace

void DotStuffing::Append(std::string_view piece, std::string& out) {
    if (piece.empty()) {
        return;
    }
    const char* const begin = piece.data();
    const char* const end = begin + piece.size();
    const char* done = begin;
    const char* from = begin;
    while (const void* hit = std::memchr(from, '.', static_cast<std::size_t>(end - from))) {
        const char* dot = static_cast<const char*>(hit);
        if ((dot == begin ? m_last : dot[-1]) == '\n') {
            out.append(done, dot + 1);
            out += '.';
            done = dot + 1;
        }
        from = dot + 1;
    }
    out.append(done, end);
    m_beforeLast = piece.size() > 1 ? end[-2] : m_last;
    m_last = end[-1];
}

void DotStuffing::AppendEnd(std::string& out) const {
    out += m_beforeLast == '\r' && m_last == '\n' ? ".\r\n" : "\r\n.\r\n";
}

std::int32_t CZnSmtp::SendEnvelope(SmtpEnvelope& envelope, SmtpText& text,
                                   const std::function<bool()>& goesOn) {
    std::vector<std::string> recipients;
    recipients.reserve(envelope.recipients.size());
    for (const SmtpRecipient& recipient : envelope.recipients) {
        recipients.push_back(recipient.address);
    }
    const bool isEightBit = m_rules.extensions && m_capabilities.eightBitMime && text.IsEightBit();
    const std::int32_t result =
        OpenTransaction(envelope.sender, recipients, {text.Size(), isEightBit}, goesOn);
    for (std::size_t i = 0; i < recipients.size(); ++i) {
        const SmtpReply& reply = m_delivery.recipients[i].reply;
        envelope.recipients[i].code = reply.code;
        envelope.recipients[i].reply = reply.code != 0 ? reply.Line() : std::string();
    }
    if (result > 0 && result != kClosing && m_step == SmtpStep::kRecipients) {
        return kSmtpNobodyAccepted;
    }
    return result == 0 ? SendText(text, goesOn) : result;
}

std::int32_t CZnSmtp::SendText(SmtpText& text, const std::function<bool()>& goesOn) {
    m_step = SmtpStep::kText;
    DotStuffing stuffing;
    std::string waiting;
    std::string_view piece;
    std::int32_t result = 0;
    do {
        if (!goesOn()) {
            result = kSmtpStopped;
        } else if (!text.Next(piece)) {
            result = kSmtpTextFailed;
        } else {
            stuffing.Append(piece, waiting);
        }
        if (result == 0 && waiting.size() >= kFlushBytes) {
            result = SendPiece(waiting);
            waiting.clear();
        }
    } while (result == 0 && !piece.empty());
    if (result == 0) {
        m_step = SmtpStep::kEndOfText;
        stuffing.AppendEnd(waiting);
        result = SendPiece(waiting);
    }
    if (result != 0) {
        // The end mark must never follow a part of the text.
        CloseSecure();
        return result;
    }
    Log(kLogProtocol, "Command: [<Message data>]");
    if (ReadResponse(m_lTimeoutData) != 0) {
        return kSmtpNoResponse;
    }
    m_bNeedsReset = false;
    m_delivery.last = LastReply();
    m_delivery.taken = m_lLastCode == kMessageTaken;
    return m_lLastCode == kMessageTaken ? 0 : m_lLastCode;
}

/// Sends bytes of the text. Only a gap is limited: the text as a whole may take its time.
std::int32_t CZnSmtp::SendPiece(std::string_view piece) {
    if (UsesChannel()) {
        return SendRecords(piece, m_lTimeoutData) == 0 ? 0 : kSmtpEncryptFailed;
    }
    std::uint32_t sent = 0;
    const std::int32_t result = SendBuffer(piece.data(), static_cast<std::uint32_t>(piece.size()),
                                           sent, kNoTimeLimit, m_lTimeoutData);
    return result == 0 ? 0 : kSmtpSendFailed;
}

}  // namespace tessolt
