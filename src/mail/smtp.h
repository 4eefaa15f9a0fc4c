#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "foundation/narrow_string.h"
#include "message/znmail_recipient.h"
#include "transport/secure_protocol.h"

namespace tessolt {

class CZnMail;

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
    kSmtpCredentialsTooLong = -2,
};

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
class CZnSmtp : public CZnSecureProtocol {
public:
    CZnSmtp();
    ~CZnSmtp() override;

    /// Opens the connection to `m_strHost`, greets, switches to TLS where it is offered and wanted,
    /// and authenticates if there is an account. Either all of that succeeds or the connection is
    /// closed again.
    std::int32_t Connect();
    /// Takes leave with QUIT and closes.
    void Disconnect();

    /// Sends a command line and reads the reply; the code is left in `m_lLastCode`, whatever it is.
    /// A `timeoutMs` of 0 means `m_lTimeoutCommand`.
    std::int32_t SendCommand(std::string_view text, std::uint32_t timeoutMs = 0);
    /// Reads one reply of any number of lines into `m_strLastResponse` and `m_lLastCode`.
    std::int32_t ReadResponse(std::uint32_t timeoutMs = 0);
    /// EHLO, and HELO if that is refused. Chooses the mechanism for `Authenticate` from the reply.
    std::int32_t Hello();
    /// Runs the exchange that `m_lAuthentication` names; nothing without an account.
    std::int32_t Authenticate();

    /// Encodes the message and sends it in one transaction, to all of its recipients or to none.
    std::int32_t Send(CZnMail& mail);
    /// The steps of `Send`. An address that holds a line break is not sent.
    std::int32_t MailFrom(const char* address);
    std::int32_t RcptTo(const RecipientList& list);
    std::int32_t Data(std::string_view text);

    /// Encodes the message and writes it, with the server's settings in extra headers, as a new
    /// file into `folder`. The headers stay on the message. Uses no state of the engine; all texts
    /// are in the ANSI code page.
    std::int32_t Queue(CZnMail& mail, const char* folder, const char* host, std::int32_t port,
                       bool secure, const char* account, const char* password);

    CZncString m_strAccount;  ///< Empty means no authentication.
    CZncString m_strPassword;
    CZncString m_strLastResponse;  ///< All lines of the last reply, a blank behind each.
    std::int32_t m_lAuthentication = kSmtpAuthAuto;
    std::int32_t m_lLastCode = 0;  ///< 0 when none could be read.
    std::int32_t m_lHostPort = 25;
    std::uint32_t m_lTimeoutConnect = 20000;
    std::uint32_t m_lTimeoutAuthentication = 20000;
    std::uint32_t m_lTimeoutCommand = 5000;
    std::uint32_t m_lTimeoutData = 120000;
    std::int32_t m_bUseStartTls = 1;
    bool m_bSecure = false;      ///< The channel is encrypted, or will be from the start.
    bool m_bNeedsReset = false;  ///< A transaction broke off: RSET comes before the next.

private:
    std::int32_t OpenConversation();
    std::int32_t StartTls();
    std::int32_t GreetServer();
    std::int32_t SecureChannel();
    void Quit();

    std::int32_t AuthenticatePlain();
    std::int32_t AuthenticateLogin();
    std::int32_t AuthenticateCramMd5();
    bool PromptHolds(const char* word) const;

    std::int32_t SendPieces(std::initializer_list<std::string_view> pieces);
    std::int32_t Exchange(std::initializer_list<std::string_view> pieces, std::string_view logged,
                          std::uint32_t timeoutMs);
    std::int32_t Transact(std::string_view command);
};

}  // namespace tessolt
