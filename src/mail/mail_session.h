#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/narrow_string.h"
#include "mail/sasl/sasl_mechanism.h"
#include "mail/trouble.h"
#include "transport/secure_protocol.h"

namespace tessolt {

/// What the engines of SMTP and POP3 have in common: where and how to connect, and both ends of a
/// conversation. Limits are in milliseconds.
class CZnMailSession : public CZnSecureProtocol {
public:
    /// Takes leave with QUIT and closes.
    void Disconnect();
    /// Sends a command line and reads the reply into `m_strLastResponse`. A `timeoutMs` of 0 means
    /// `m_lTimeoutCommand`.
    virtual std::int32_t SendCommand(std::string_view text, std::uint32_t timeoutMs = 0) = 0;

    /// Whether `Ask` takes that command: a question with one reply, after which the conversation
    /// stands where it stood.
    virtual bool MayAsk(std::string_view command) const = 0;
    /// Sends such a command and reads the reply; 0 whatever that says.
    virtual std::int32_t Ask(std::string_view command) = 0;

    CZncString m_strAccount;
    CZncString m_strPassword;
    CZncString m_strLastResponse;  ///< The last reply.
    std::int32_t m_lAuthentication = 0;
    std::int32_t m_lHostPort;
    std::uint32_t m_lTimeoutConnect = 20000;
    std::uint32_t m_lTimeoutAuthentication = 20000;
    std::uint32_t m_lTimeoutCommand = 5000;
    std::uint32_t m_lTimeoutData = 120000;
    std::uint32_t m_lTimeoutQuit = 0;  ///< 0 stands for `m_lTimeoutCommand`.
    bool m_bAuthToken = false;         ///< The password is an OAuth 2 token.
    bool m_bTlsRequired = false;       ///< No login and no mail without TLS, whoever the peer is.
    bool m_bSecure = false;  ///< TLS from the start; by classic rules STARTTLS sets it too.

    /// The lines in which the server last told what it can do, without codes; joined by LF.
    const std::string& Offers() const { return m_offers; }
    /// The words by which the server welcomed the last connection; by POP3 they begin with "+OK".
    const std::string& Welcome() const { return m_welcome; }
    /// Why the last operation failed, as far as that is known; no cause after one that succeeded.
    const Trouble& LastTrouble() const { return m_trouble; }
    /// What became of the last operation counts no more.
    void ForgetTrouble();
    /// The mechanism of the login that was chosen by current rules, empty without one.
    const std::string& Mechanism() const { return m_mechanism; }

protected:
    CZnMailSession(const char* className, std::int32_t port)
        : CZnSecureProtocol(className), m_lHostPort(port) {}

    /// What a step that fails gives, and the entry that goes into the log, null for none.
    struct Failure {
        std::int32_t result;
        const char* entry;
    };
    struct OpeningFailures {
        Failure noHost, badPort, notConnected, notSecure;
    };

    void LogPlace(const CZncString& host);
    /// Whether host and port can be connected to: 0 or the result of what can't.
    std::int32_t CheckPlace(const CZncString& host, const OpeningFailures& failures);
    /// Connects and, where that is wanted, encrypts from the first byte on.
    std::int32_t OpenChannel(const CZncString& host, const OpeningFailures& failures);
    /// The handshake with the server of that name; returns its own result.
    std::int32_t SecureChannel(const CZncString& host, const char* entry);

    /// Whether the connection is as safe as it was asked for: 0, or what `RefuseClear` gives.
    std::int32_t CheckChannel();
    /// Says in the log that a login isn't begun in the clear; `cause` counts where it isn't 0.
    std::int32_t RefuseClear(std::int32_t cause = 0);
    /// Runs a part of the conversation. When memory ends within, the connection is closed: nobody
    /// knows how far peer and session have come.
    template <class Talk>
    auto InStep(Talk&& talk) {
        try {
            return std::forward<Talk>(talk)();
        } catch (...) {
            CloseSecure();
            throw;
        }
    }
    /// Passes a result of reading on. By the rules a connection on which reading failed is closed:
    /// its next reply would belong to nobody knows what.
    std::int32_t AfterRead(std::int32_t result);
    /// Who logs in at `host`.
    SaslCredentials Credentials(const CZncString& host) const;

    /// Keeps the cause of a failure, unless an earlier one is known: the rest follows from that.
    void Blame(Trouble trouble);
    /// The same for a reply that didn't come, or was none.
    void BlameReading(bool isWelcome = false);
    /// Tells the log the cause of a failure, by the rules that want that, and passes `result` on.
    std::int32_t Told(std::int32_t result);

    /// How the last reply was read, and the limit for it.
    std::int32_t m_lReadResult = 0;
    std::uint32_t m_lReadLimit = 0;
    std::string m_mechanism;
    std::string m_offers;
    std::string m_welcome;

private:
    std::int32_t Fail(const Failure& failure);

    Trouble m_trouble;
};

}  // namespace tessolt
