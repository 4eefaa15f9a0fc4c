#include <tessolt/advice.h>

#include <algorithm>

#include "mail/pop3.h"
#include "mail/sasl/sasl_dialog.h"

namespace tessolt {

namespace {

/// A command line with its end (RFC 2449, 4).
constexpr std::size_t kLongestCommand = 255 - 2;
constexpr std::size_t kChallengeAt = 2;
constexpr const char* kPlain = "PLAIN";

/// Mechanisms that show the password to the server.
bool ShowsPassword(const std::string& mechanism) {
    return mechanism == kPlain || mechanism == "LOGIN";
}

}  // namespace

/// What comes between the welcome and the login by current rules: the capabilities, the channel,
/// and the question whether a secret may pass. The welcome stays the last reply.
std::int32_t CZnPop3::PrepareLogIn() {
    m_mechanism.clear();
    const CZncString welcome = m_strLastResponse;
    std::int32_t result = 0;
    if (m_rules.stls || m_rules.strongestMechanism) {
        QueryCapabilities();
        result = IsConnected() ? 0 : kPop3ReadFailed;
    }
    if (result == 0 && m_rules.stls && !UsesChannel() && (m_uCapabilities & kPop3CanStls) != 0) {
        result = StartTls();
    }
    if (result != 0) {
        return result;
    }
    if (!SecretsMayPass()) {
        return RefuseClear();
    }
    m_strLastResponse = welcome;
    return 0;
}

std::int32_t CZnPop3::StartTls() {
    const std::int32_t result = SendCommand("STLS");
    if (result != 0 || !IsPositive()) {
        return result;  // whether a login may follow is for the caller to say
    }
    if (SecureChannel(m_strServer, nullptr) != 0) {
        return kPop3HandshakeFailed;
    }
    // What was told in the clear may have been told by anybody (RFC 2595, 4).
    QueryCapabilities();
    return IsConnected() ? 0 : kPop3ReadFailed;
}

/// Logs in by the strongest way that the server offers. A way that it refuses isn't followed by a
/// weaker one: whoever can refuse could have the password that way.
std::int32_t CZnPop3::LogInStrongest() {
    const bool plainWanted = m_lAuthentication == kPop3AuthPlain && !m_bAuthToken;
    const bool apop = !plainWanted && !m_bAuthToken && WelcomeHoldsTimestamp();
    SaslChoice choice{m_offered, plainWanted ? kPlain : ""};
    if (apop) {
        std::erase_if(choice.offered, ShowsPassword);
    }
    if (const auto mechanism = ChooseMechanism(choice, Credentials(m_strServer))) {
        const std::int32_t result = LogInByMechanism(*mechanism);
        return result != 0 ? result : CountAfterLogIn();
    }
    if (m_bAuthToken) {
        Log(kLogProtocol, "The server offers no login that fits");
        Blame({TESSOLT_CAUSE_LOGIN_UNSUPPORTED, "the server takes no token for a login"});
        return kPop3LoginFailed;
    }
    // An exchange that failed leaves no reply that could be positive.
    std::int32_t result = apop ? ExchangeApop() : LogInWithPassword();
    if (result == kApopRefused || (result == 0 && !IsPositive())) {
        result = kPop3LoginFailed;
    }
    return result != 0 ? result : CountAfterLogIn();
}

std::int32_t CZnPop3::LogInByMechanism(SaslMechanism& mechanism) {
    m_mechanism = mechanism.Name();
    const auto exchange = [this](const std::string& line, const std::string& logged) {
        SaslReply reply;
        if (Exchange(line, logged, m_lTimeoutAuthentication) == 0) {
            reply.kind = IsPositive()                        ? SaslReply::kDone
                         : m_strLastResponse.StartsWith("+") ? SaslReply::kChallenge
                                                             : SaslReply::kRefused;
            const std::string& text = m_strLastResponse.GetString();
            reply.challenge = text.substr(std::min(kChallengeAt, text.size()));
        }
        return reply;
    };
    switch (RunSaslDialog(mechanism, kLongestCommand, exchange)) {
        case SaslEnd::kLoggedIn:
            Log(kLogProtocol, "Logged in by %s", m_mechanism.c_str());
            return 0;
        case SaslEnd::kLost:
            return kPop3ReadFailed;
        case SaslEnd::kRefused:
            break;
    }
    return JudgeRefusal(kPop3InvalidPassword);
}

std::int32_t CZnPop3::CountAfterLogIn() {
    QueryCapabilities();
    return IsConnected() ? QueryStatus() : static_cast<std::int32_t>(kPop3ReadFailed);
}

}  // namespace tessolt
