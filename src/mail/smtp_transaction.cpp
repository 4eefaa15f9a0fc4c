#include <new>

#include "mail/command_line.h"
#include "mail/outgoing_text.h"
#include "mail/smtp.h"
#include "message/znmail.h"

namespace tessolt {

namespace {

constexpr std::int32_t kAcceptedFrom = 200;
constexpr std::int32_t kAcceptedTo = 399;
constexpr std::int32_t kStartMailInput = 354;
constexpr std::int32_t kMessageTaken = 250;

bool IsAccepted(std::int32_t code) {
    return code >= kAcceptedFrom && code <= kAcceptedTo;
}

bool HasSendableAddresses(const CZnMail& mail) {
    if (!IsEnvelopeAddress(mail.m_wstrFromAddress.GetAnsi())) {
        return false;
    }
    for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
        for (const auto& recipient : *list) {
            if (!IsEnvelopeAddress(recipient->m_wstrAddress.GetAnsi())) {
                return false;
            }
        }
    }
    return true;
}

/// Fills `text` with that of the message as it is now. False when it could not be built.
bool MakeText(CZnMail& mail, WireText& text) try {
    if (mail.Encode() != 0) {
        return false;
    }
    mail.GetWireText(text);
    return !text.IsEmpty();
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace

std::int32_t CZnSmtp::Send(CZnMail& mail) {
    return Transaction([&] {
        return m_rules.partialRecipients || m_rules.extensions ? SendByEnvelope(mail)
                                                               : SendClassic(mail);
    });
}

std::int32_t CZnSmtp::Transaction(const std::function<std::int32_t()>& talk) {
    m_delivery = {};
    ForgetTrouble();
    if (!IsConnected()) {
        return kSmtpNotConnected;
    }
    const std::int32_t result = InStep(talk);
    BlameTransaction(result);
    return Told(result);
}

/// Names the cause of a transaction's failure: what the server said, or that it said nothing.
void CZnSmtp::BlameTransaction(std::int32_t result) {
    constexpr std::int32_t kFirstRefusal = 400;
    const SmtpRecipientReply* refused = m_delivery.taken ? m_delivery.FirstRefused() : nullptr;
    if (refused) {
        Trouble trouble = RefusalTrouble(refused->reply, SmtpStep::kRecipients);
        trouble.text += " (" + refused->address + "); the others have it";
        Blame(std::move(trouble));
    } else if (result >= kFirstRefusal) {
        const bool isKept = !m_delivery.recipients.empty();
        Blame(RefusalTrouble(isKept ? m_delivery.last : LastReply(), m_step));
    } else if (result != 0) {
        BlameLost(result);
    }
}

std::int32_t CZnSmtp::SendClassic(CZnMail& mail) {
    if (!HasSendableAddresses(mail)) {
        return kSmtpSendFailed;
    }
    std::int32_t result = Reset();
    if (result != 0) {
        Disconnect();
        return result;
    }
    result = MailFrom(mail.m_wstrFromAddress.GetAnsi());
    for (const RecipientList* list : {&mail.m_lstTo, &mail.m_lstCc, &mail.m_lstBcc}) {
        if (result == 0) {
            result = RcptTo(*list);
        }
    }
    if (result != 0) {
        return result;
    }
    WireText text;
    if (!MakeText(mail, text)) {
        m_bNeedsReset = true;
        return kSmtpSendFailed;
    }
    return Data(text);
}

/// Ends what is left of a transaction that broke off.
std::int32_t CZnSmtp::Reset() {
    if (!m_bNeedsReset) {
        return 0;
    }
    m_bNeedsReset = false;
    const std::int32_t result = SendCommand("RSET");
    return result == 0 && !IsAccepted(m_lLastCode) ? m_lLastCode : result;
}

/// Sends a command of the envelope with its address; anything but acceptance breaks the transaction
/// off.
std::int32_t CZnSmtp::Transact(std::string_view command, std::string_view address) {
    std::int32_t result =
        IsEnvelopeAddress(address) ? SendCommand(command) : std::int32_t{kSmtpSendFailed};
    if (result == 0 && !IsAccepted(m_lLastCode)) {
        result = m_lLastCode;
    }
    m_bNeedsReset = m_bNeedsReset || result != 0;
    return result;
}

std::int32_t CZnSmtp::MailFrom(const char* address) {
    m_step = SmtpStep::kSender;
    CZncString command;
    command.Format("MAIL FROM: <%s>", address);
    return Transact(command.View(), address);
}

std::int32_t CZnSmtp::RcptTo(const RecipientList& list) {
    m_step = SmtpStep::kRecipients;
    for (const auto& recipient : list) {
        CZncString command;
        const char* const address = recipient->m_wstrAddress.GetAnsi();
        command.FormatLong("RCPT TO: <%s>", address);
        const std::int32_t result = Transact(command.View(), address);
        if (result != 0) {
            return result;
        }
    }
    return 0;
}

std::int32_t CZnSmtp::Data(std::string_view text) {
    WireText whole(text);
    return Data(whole);
}

std::int32_t CZnSmtp::Data(WireText& text) {
    m_step = SmtpStep::kText;
    std::int32_t result = SendCommand("DATA");
    if (result == 0 && m_lLastCode != kStartMailInput) {
        result = m_lLastCode;
    }
    if (result != 0) {
        m_bNeedsReset = true;
        return result;
    }
    if (m_rules.exactDots || m_rules.uploadByProgress) {
        return TransmitText(text);
    }
    OutgoingText outgoing(text, false);
    result = ExchangeText(outgoing, {m_lTimeoutCommand, kSendIdleLimit});
    if (result != 0) {
        return result;
    }
    return m_lLastCode == kMessageTaken ? 0 : m_lLastCode;
}

}  // namespace tessolt
