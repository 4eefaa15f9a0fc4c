#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/narrow_string.h"
#include "mail/mail_session.h"
#include "mail/smtp_capabilities.h"
#include "mail/smtp_reply.h"
#include "message/znmail_recipient.h"

namespace tessolt {

class CZnMail;
class CZncTimeout;
class OutgoingText;
class SmtpText;
class WireText;
struct SmtpEnvelope;

/// Results of the SMTP engine. A reply code of the server and results of the layers below may stand
/// in their place.
enum SmtpResult : std::int32_t {
    kSmtpInvalidHost = -2001,
    kSmtpInvalidPort = -2002,
    kSmtpConnectFailed = -2003,
    kSmtpNoResponse = -2004,   ///< A reply could not be read.
    kSmtpBadResponse = -2005,  ///< A reply had no code.
    kSmtpBadWelcome = -2006,   ///< The welcome code is not 220.
    kSmtpHelloFailed = -2007,  ///< Neither EHLO nor HELO got 250.
    kSmtpNotConnected = -2008,
    kSmtpEncryptFailed = -2009,    ///< Sending through the secure channel failed.
    kSmtpSendFailed = -2010,       ///< Sending failed, or the command must not be sent.
    kSmtpAuthUnsupported = -2011,  ///< The server answered 504 to AUTH.
    kSmtpAuthFailed = -2012,
    kSmtpHandshakeFailed = -2015,  ///< The handshake of implicit TLS failed.
    kSmtpQueueSaveFailed = -2016,
    kSmtpQueueRenameFailed = -2017,
    kSmtpStopped = -2021,         ///< The caller wanted no further command or byte.
    kSmtpTextFailed = -2022,      ///< The text of the message could not be read to its end.
    kSmtpNobodyAccepted = -2023,  ///< The server accepted none of the recipients.
    kSmtpCredentialsTooLong = -2,
};

/// The steps of a transaction in their order.
enum class SmtpStep { kReset, kSender, kRecipients, kData, kText, kEndOfText };

/// How to authenticate.
enum SmtpAuthentication : std::int32_t {
    kSmtpAuthAuto = 0,
    kSmtpAuthPlain = 1,
    kSmtpAuthLogin = 2,
    kSmtpAuthCramMd5 = 3,
};

/// The client side of one SMTP conversation (RFC 5321, with RFC 3207 and RFC 4954). Every operation
/// that returns a number gives 0 or a result of SmtpResult, a reply code, or a result of the layers
/// below. Limits are in milliseconds. One thread at a time.
class CZnSmtp : public CZnMailSession {
public:
    CZnSmtp();
    ~CZnSmtp() override;

    /// Opens the connection to `m_strHost`, greets, switches to TLS where it is offered and wanted,
    /// and authenticates if there is an account. Either all of that succeeds or the connection is
    /// closed again.
    std::int32_t Connect();

    /// The code of the reply is left in `m_lLastCode`, whatever it is.
    std::int32_t SendCommand(std::string_view text, std::uint32_t timeoutMs = 0) override;
    bool MayAsk(std::string_view command) const override;
    std::int32_t Ask(std::string_view command) override;
    /// Reads one reply of any number of lines into `m_strLastResponse`, a blank behind each, and
    /// `m_lLastCode`.
    std::int32_t ReadResponse(std::uint32_t timeoutMs = 0);
    /// EHLO, and HELO if that is refused. Chooses the mechanism for `Authenticate` from the reply.
    std::int32_t Hello();
    /// Runs the exchange that `m_lAuthentication` names; nothing without an account.
    std::int32_t Authenticate();

    /// Encodes the message and sends it in one transaction. By classic rules it goes to all of its
    /// recipients or to none; by current ones to those that the server takes, and the result is 0
    /// only when these were all. By classic rules nothing is sent where one of the addresses can't
    /// stand in a command.
    std::int32_t Send(CZnMail& mail);
    /// The same for a message that was loaded, which isn't encoded, by an envelope whatever its
    /// header says. Addresses are UTF-8. By current rules only.
    std::int32_t SendAsItStands(const CZnMail& mail, const std::string& sender,
                                const std::vector<std::string>& recipients);
    /// Sends a text to the recipients of an envelope, by current rules as far as `m_rules` has them
    /// on. Addresses are UTF-8. `LastDelivery` tells what became of each recipient.
    std::int32_t Deliver(const std::string& sender, const std::vector<std::string>& recipients,
                         std::string_view text);
    std::int32_t Deliver(const std::string& sender, const std::vector<std::string>& recipients,
                         WireText& text);
    /// The steps of `Send` by classic rules. An address that holds "<", ">", a blank or a control
    /// character is not sent.
    std::int32_t MailFrom(const char* address);
    std::int32_t RcptTo(const RecipientList& list);
    std::int32_t Data(std::string_view text);
    std::int32_t Data(WireText& text);

    /// The same for a text in pieces. What the server said to each recipient is left in the
    /// envelope, and the result is 0 when it has taken the message, for whomever it accepted.
    /// `goesOn` is asked in front of each flight of commands and each piece of the text. `m_step`
    /// tells how far it came. A connection on which the text broke off is closed.
    std::int32_t SendEnvelope(SmtpEnvelope& envelope, SmtpText& text,
                              const std::function<bool()>& goesOn);

    /// Encodes the message and writes it, with the server's settings in extra headers, as a new
    /// file into `folder`. The headers stay on the message. Uses no state of the engine; all texts
    /// are in the ANSI code page.
    std::int32_t Queue(CZnMail& mail, const char* folder, const char* host, std::int32_t port,
                       bool secure, const char* account, const char* password);

    /// What the server offered in its last greeting, so in the channel where there is one.
    const SmtpCapabilities& Capabilities() const { return m_capabilities; }
    /// The last reply, taken apart.
    SmtpReply LastReply() const { return ReadSmtpReply(m_replyLines); }
    /// The reply at which the last `Connect` failed.
    const SmtpReply& Refusal() const { return m_refusal; }
    /// How the last `Send` by current rules, or `Deliver`, went.
    const SmtpDelivery& LastDelivery() const { return m_delivery; }

    std::int32_t m_lLastCode = 0;  ///< 0 when none could be read.
    /// The last reply before the leave that `Connect` takes when it fails.
    CZncString m_strRefusal;
    std::int32_t m_lRefusalCode = 0;
    SmtpStep m_step = SmtpStep::kReset;  ///< The step that the last transaction came to.
    std::int32_t m_bUseStartTls = 1;
    bool m_bNeedsReset = false;  ///< A transaction broke off: RSET comes before the next.

private:
    std::int32_t OpenConversation();
    bool OffersStartTls() const;
    std::int32_t StartTls();
    std::int32_t GreetServer();
    std::int32_t LogIn();
    std::int32_t LogInClassic();
    std::int32_t LogInStrongest();
    std::int32_t MechanismByReply() const;
    std::int32_t AuthenticatePlain();
    std::int32_t AuthenticateLogin();
    std::int32_t AuthenticateCramMd5();
    bool PromptHolds(const char* word) const;

    struct SendLimits {
        std::uint32_t totalMs;  ///< Only in the clear.
        std::uint32_t idleMs;
    };
    std::int32_t SendPieces(std::initializer_list<std::string_view> pieces,
                            const SendLimits& limits);
    std::int32_t SendText(OutgoingText& text, const SendLimits& limits);
    std::int32_t SendBytes(std::string_view bytes, const CZncTimeout& total, std::uint32_t idleMs);
    std::int32_t ReadReplyLines(std::uint32_t limit);
    std::int32_t Exchange(std::initializer_list<std::string_view> pieces, std::string_view logged,
                          std::uint32_t timeoutMs);
    std::int32_t ExchangeText(OutgoingText& text, const SendLimits& limits);
    std::int32_t ReadReplyTo(std::string_view logged, std::uint32_t timeoutMs);
    std::int32_t Transact(std::string_view command, std::string_view address);

    std::int32_t Reset();
    std::int32_t SendText(SmtpText& text, const std::function<bool()>& goesOn);
    std::int32_t SendPiece(std::string_view piece);
    std::int32_t SendClassic(CZnMail& mail);

    // Transactions by current rules.
    struct EnvelopeCommand;
    struct TextTraits {
        std::uint64_t size;
        bool isEightBit;
    };
    /// Runs what sends a message, and tells what became of it.
    std::int32_t Transaction(const std::function<std::int32_t()>& talk);
    std::int32_t SendByEnvelope(CZnMail& mail);
    bool TextForServer(const CZnMail& mail, WireText& text, bool& canTravel) const;
    std::int32_t DeliverText(const CZnMail& mail, const std::string& sender,
                             const std::vector<std::string>& recipients);
    std::int32_t OpenTransaction(const std::string& sender,
                                 const std::vector<std::string>& recipients, const TextTraits& text,
                                 const std::function<bool()>& goesOn);
    SmtpReply CheckEnvelope(const std::string& sender, std::uint64_t size);
    SmtpReply CheckAddress(const std::string& address) const;
    std::int32_t ResetTransaction();
    std::int32_t OfferEnvelope(const std::string& mailCommand, const std::function<bool()>& goesOn);
    std::string MailCommand(const std::string& sender, const TextTraits& text) const;
    std::int32_t RunFlight(std::span<const EnvelopeCommand> flight);
    std::int32_t JudgeReply(const EnvelopeCommand& command, bool senderRefused);
    std::int32_t JudgeText(bool senderRefused);
    std::int32_t LoseConnection(std::int32_t result);
    std::int32_t TransmitText(WireText& text);
    void KeepLastReply();
    void BlameLost(std::int32_t result);
    void BlameTransaction(std::int32_t result);
    void LogRefusals();

    std::vector<std::string> m_replyLines;
    SmtpReply m_refusal;
    SmtpCapabilities m_capabilities;
    SmtpDelivery m_delivery;
};

}  // namespace tessolt
