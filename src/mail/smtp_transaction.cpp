#include "charset/outward_strings.h"
#include "mail/dot_stuffing.h"
#include "mail/smtp.h"
#include "message/znmail.h"

namespace tessolt {

namespace {

constexpr std::int32_t kAcceptedFrom = 200;
constexpr std::int32_t kAcceptedTo = 399;
constexpr std::int32_t kStartMailInput = 354;
constexpr std::int32_t kMessageTaken = 250;
constexpr std::string_view kEndOfMessage = "\r\n.\r\n";
/// A shorter text is joined with its end, so that both leave in one packet. A longer one goes out
/// from where it stands, unless a dot has to be doubled in it.
constexpr std::size_t kJoinedText = 64 * 1024;

bool IsAccepted(std::int32_t code) {
    return code >= kAcceptedFrom && code <= kAcceptedTo;
}

}  // namespace

std::int32_t CZnSmtp::Send(CZnMail& mail) {
    if (!IsConnected()) {
        return kSmtpNotConnected;
    }
    if (m_bNeedsReset) {
        m_bNeedsReset = false;
        std::int32_t result = SendCommand("RSET");
        if (result == 0 && !IsAccepted(m_lLastCode)) {
            result = m_lLastCode;
        }
        if (result != 0) {
            Disconnect();
            return result;
        }
    }
    std::int32_t result = MailFrom(mail.m_wstrFromAddress.GetAnsi());
    for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
        if (result == 0) {
            result = RcptTo(*list);
        }
    }
    if (result != 0) {
        return result;
    }
    mail.Encode();
    borvik::BvString source;
    return Data(mail.GetSource(source));
}

/// Sends a command of the envelope; anything but acceptance breaks the transaction off.
std::int32_t CZnSmtp::Transact(std::string_view command) {
    std::int32_t result = SendCommand(command);
    if (result == 0 && !IsAccepted(m_lLastCode)) {
        result = m_lLastCode;
    }
    m_bNeedsReset = m_bNeedsReset || result != 0;
    return result;
}

std::int32_t CZnSmtp::MailFrom(const char* address) {
    CZncString command;
    command.Format("MAIL FROM: <%s>", address);
    return Transact(command.View());
}

std::int32_t CZnSmtp::RcptTo(const RecipientList& list) {
    for (const auto& recipient : list) {
        CZncString command;
        command.FormatLong("RCPT TO: <%s>", recipient->m_wstrAddress.GetAnsi());
        const std::int32_t result = Transact(command.View());
        if (result != 0) {
            return result;
        }
    }
    return 0;
}

std::int32_t CZnSmtp::Data(std::string_view text) {
    std::int32_t result = SendCommand("DATA");
    if (result == 0 && m_lLastCode != kStartMailInput) {
        result = m_lLastCode;
    }
    if (result != 0) {
        m_bNeedsReset = true;
        return result;
    }
    constexpr std::string_view kLogged = "<Message data>";
    if (text.size() < kJoinedText || FindLoneDot(text) != std::string_view::npos) {
        const std::string joined = DoubleLoneDots(text, kEndOfMessage);
        result = Exchange({joined}, kLogged, m_lTimeoutData);
    } else {
        result = Exchange({text, kEndOfMessage}, kLogged, m_lTimeoutData);
    }
    if (result != 0) {
        return result;
    }
    return m_lLastCode == kMessageTaken ? 0 : m_lLastCode;
}

}  // namespace tessolt
