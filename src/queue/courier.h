#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/mail_rules.h"
#include "mail/smtp_envelope.h"
#include "queue/queued_message.h"

namespace tessolt {
class CZnSmtp;
}

namespace tessolt::queue {

/// How conversations with servers are held. Limits are milliseconds.
struct SessionOptions {
    std::uint32_t connectMs = 60'000;
    std::uint32_t commandMs = 300'000;  ///< RFC 5321, 4.5.3.2.
    std::uint32_t dataMs = 600'000;     ///< For the end of the text, and for gaps within it.
    bool usesStartTls = true;           ///< Where the server offers it.
    MailRules rules = MailRules::current();
};

/// How one attempt ended.
struct Attempt {
    enum class Kind {
        kTaken,      ///< The server has the message, for those recipients that it accepted.
        kTemporary,  ///< Later it may go.
        kPermanent,  ///< It never will.
        kStopped,    ///< The runner ends.
    };
    Kind kind = Kind::kTemporary;
    std::string step = {};         ///< "connect", "login", "recipient" and the like.
    std::string reply = {};        ///< The server's words, or what happened instead of any.
    bool isServerTrouble = false;  ///< The conversation couldn't even begin.
    bool isConnectionLost = false;
};

/// Carries messages to one server, over one connection as long as that holds. A conversation that
/// couldn't be begun isn't begun again: every later message shares its fate. One thread.
class Courier {
public:
    /// `goesOn` is asked in front of each command whether the work goes on.
    Courier(const ServerSettings& server, const SessionOptions& options,
            std::function<bool()> goesOn);
    /// Takes leave.
    ~Courier();
    Courier(const Courier&) = delete;
    Courier& operator=(const Courier&) = delete;

    const ServerSettings& server() const { return server_; }

    /// Sends a text. What the server said to each recipient is left in `envelope`.
    Attempt deliver(SmtpEnvelope& envelope, SmtpText& text);

private:
    bool open();
    Attempt attemptOf(std::int32_t result) const;

    const ServerSettings server_;
    const SessionOptions options_;
    const std::function<bool()> goesOn_;
    std::unique_ptr<CZnSmtp> smtp_;
    std::optional<Attempt> refusal_;  ///< Why the conversation couldn't be begun.
};

}  // namespace tessolt::queue
