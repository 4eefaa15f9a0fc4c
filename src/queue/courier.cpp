#include "queue/courier.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <utility>

#include "mail/smtp.h"
#include "queue/message_state.h"

namespace tessolt::queue {

namespace {

constexpr std::int32_t kFirstTemporary = 400;
constexpr std::int32_t kFirstPermanent = 500;
constexpr std::int32_t kBehindPermanent = 600;
/// Leave is a courtesy that nobody waits long for.
constexpr std::uint32_t kLeaveMs = 2000;

/// What a failure to begin the conversation means.
struct OpeningFailure {
    std::int32_t result;
    const char* step;
    const char* words;
    bool hasReply;  ///< The server's last reply tells why.
};

constexpr std::array kOpeningFailures{
    OpeningFailure{kSmtpInvalidHost, "connect", "the server has no name", false},
    OpeningFailure{kSmtpConnectFailed, "connect", "no connection", false},
    OpeningFailure{kSmtpHandshakeFailed, "TLS", "no secure connection", false},
    OpeningFailure{kSecureNoChannel, "TLS", "no secure connection, and none without one", false},
    OpeningFailure{kSmtpBadWelcome, "welcome", "an unexpected welcome", true},
    OpeningFailure{kSmtpHelloFailed, "greeting", "the greeting was refused", true},
    OpeningFailure{kSmtpAuthUnsupported, "login", "the login was refused", true},
    OpeningFailure{kSmtpAuthFailed, "login", "the login was refused", true},
    OpeningFailure{kSmtpNoResponse, "opening", "no answer", false},
    OpeningFailure{kSmtpBadResponse, "opening", "the connection was lost", false},
};

constexpr std::array kStepNames{"reset", "sender", "recipient", "data", "text", "end of data"};

struct LaterFailure {
    std::int32_t result;
    const char* words;
};

constexpr std::array kLaterFailures{
    LaterFailure{kSmtpNoResponse, "no answer"},
    LaterFailure{kSmtpBadResponse, "the connection was lost"},
    LaterFailure{kSmtpNotConnected, "the connection was lost"},
    LaterFailure{kSmtpEncryptFailed, "the secure connection was lost"},
    LaterFailure{kSmtpSendFailed, "the connection was lost"},
    LaterFailure{kSmtpTextFailed, "the message could not be read to its end"},
};

bool isPermanent(std::int32_t code) {
    return code >= kFirstPermanent && code < kBehindPermanent;
}

Attempt openingAttempt(std::int32_t result, const CZnSmtp& smtp) {
    Attempt attempt{.kind = Attempt::Kind::kTemporary,
                    .step = "opening",
                    .reply = "the connection could not be begun",
                    .isServerTrouble = true,
                    .isConnectionLost = true};
    bool hasReply = result >= kFirstTemporary;
    for (const OpeningFailure& failure : kOpeningFailures) {
        if (failure.result == result) {
            attempt.step = failure.step;
            attempt.reply = failure.words;
            hasReply = failure.hasReply;
        }
    }
    const bool isHopeless = result == kSmtpInvalidPort || result == kSmtpInvalidHost ||
                            result == kSmtpCredentialsTooLong;
    if (hasReply && smtp.m_lRefusalCode > 0) {
        attempt.reply = oneLine(smtp.m_strRefusal.View());
    }
    if (isHopeless || (hasReply && isPermanent(smtp.m_lRefusalCode))) {
        attempt.kind = Attempt::Kind::kPermanent;
    }
    return attempt;
}

}  // namespace

Courier::Courier(const ServerSettings& server, const SessionOptions& options,
                 std::function<bool()> goesOn)
    : server_(server), options_(options), goesOn_(std::move(goesOn)) {}

Courier::~Courier() {
    try {
        if (smtp_) {
            smtp_->Disconnect();
        }
    } catch (const std::bad_alloc&) {
        return;  // the connection ends without a farewell
    }
}

bool Courier::open() {
    if (smtp_ && smtp_->IsConnected()) {
        return true;
    }
    smtp_ = std::make_unique<CZnSmtp>();
    smtp_->m_rules = options_.rules;
    smtp_->m_strHost.Assign(std::string_view(server_.host));
    smtp_->m_lHostPort = server_.port;
    smtp_->m_bSecure = server_.isSecure;
    smtp_->m_strAccount.Assign(std::string_view(server_.account));
    smtp_->m_strPassword.Assign(std::string_view(server_.password));
    smtp_->m_bUseStartTls = options_.usesStartTls ? 1 : 0;
    smtp_->m_lTimeoutConnect = options_.connectMs;
    smtp_->m_lTimeoutAuthentication = options_.commandMs;
    smtp_->m_lTimeoutCommand = options_.commandMs;
    smtp_->m_lTimeoutData = options_.dataMs;
    smtp_->m_lTimeoutQuit = std::min(kLeaveMs, options_.commandMs);
    const std::int32_t result = smtp_->Connect();
    if (result != 0) {
        refusal_ = openingAttempt(result, *smtp_);
        smtp_.reset();
    }
    return result == 0;
}

Attempt Courier::deliver(SmtpEnvelope& envelope, SmtpText& text) {
    if (!goesOn_()) {
        return {.kind = Attempt::Kind::kStopped};
    }
    if (refusal_ || !open()) {
        return *refusal_;
    }
    Attempt attempt = attemptOf(smtp_->SendEnvelope(envelope, text, goesOn_));
    if (attempt.isConnectionLost) {
        smtp_->CloseSecure();
    }
    return attempt;
}

Attempt Courier::attemptOf(std::int32_t result) const {
    Attempt attempt{.kind = Attempt::Kind::kTemporary,
                    .step = kStepNames.at(static_cast<std::size_t>(smtp_->m_step)),
                    .reply = oneLine(smtp_->LastDelivery().last.Line())};
    constexpr std::int32_t kClosing = 421;
    if (result == 0) {
        attempt.kind = Attempt::Kind::kTaken;
    } else if (result == kSmtpStopped) {
        attempt.kind = Attempt::Kind::kStopped;
    } else if (result < 0 && result != kSmtpNobodyAccepted) {
        attempt.isConnectionLost = true;
        attempt.reply = "the connection was lost";
        for (const LaterFailure& failure : kLaterFailures) {
            if (failure.result == result) {
                attempt.reply = failure.words;
            }
        }
    } else if (result == kClosing || smtp_->m_step == SmtpStep::kReset) {
        attempt.isConnectionLost = true;
    } else if (isPermanent(result)) {
        attempt.kind = Attempt::Kind::kPermanent;
    }
    return attempt;
}

}  // namespace tessolt::queue
