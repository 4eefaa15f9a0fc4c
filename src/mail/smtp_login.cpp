#include <tessolt/advice.h>

#include "mail/sasl/sasl_dialog.h"
#include "mail/smtp.h"

namespace tessolt {

namespace {

/// A command line with its end (RFC 5321, 4.5.3.1.4).
constexpr std::size_t kLongestCommand = 512 - 2;

enum ReplyCode : std::int32_t { kAuthenticated = 235, kChallenge = 334 };

/// The name of the mechanism that the caller asks for.
std::string NameOfWish(std::int32_t wish) {
    switch (wish) {
        case kSmtpAuthPlain:
            return "PLAIN";
        case kSmtpAuthLogin:
            return "LOGIN";
        case kSmtpAuthCramMd5:
            return "CRAM-MD5";
        default:
            return {};
    }
}

}  // namespace

std::int32_t CZnSmtp::LogIn() {
    m_mechanism.clear();
    if (m_strAccount.IsEmpty()) {
        return 0;
    }
    const std::int32_t result = !SecretsMayPass()            ? RefuseClear()
                                : m_rules.strongestMechanism ? LogInStrongest()
                                                             : LogInClassic();
    if (result != 0) {
        Log(kLogProtocol, "Send authentication failed");
    }
    if (result == kSmtpAuthFailed || result == kSmtpAuthUnsupported) {
        Blame(LogInTrouble(LastReply()));
    }
    return result;
}

std::int32_t CZnSmtp::LogInClassic() {
    if (m_lAuthentication == kSmtpAuthAuto) {
        m_lAuthentication = kSmtpAuthPlain;
    }
    return Authenticate();
}

std::int32_t CZnSmtp::LogInStrongest() {
    const std::string wanted = m_bAuthToken ? std::string() : NameOfWish(m_lAuthentication);
    const auto mechanism =
        ChooseMechanism({m_capabilities.mechanisms, wanted}, Credentials(m_strHost));
    if (!mechanism) {
        Log(kLogProtocol, "The server offers no login that fits");
        std::string offered;
        for (const std::string& each : m_capabilities.mechanisms) {
            offered += " " + each;
        }
        Blame({TESSOLT_CAUSE_LOGIN_UNSUPPORTED,
               offered.empty() ? "the server offers no login here"
                               : "the server offers no login that fits, only" + offered});
        return kSmtpAuthUnsupported;
    }
    m_mechanism = mechanism->Name();
    const auto exchange = [this](const std::string& line, const std::string& logged) {
        SaslReply reply;
        if (Exchange({line, kWireLineEnd}, logged, m_lTimeoutAuthentication) == 0) {
            reply.kind = m_lLastCode == kAuthenticated ? SaslReply::kDone
                         : m_lLastCode == kChallenge   ? SaslReply::kChallenge
                                                       : SaslReply::kRefused;
            reply.challenge = LastReply().text;
        }
        return reply;
    };
    switch (RunSaslDialog(*mechanism, kLongestCommand, exchange)) {
        case SaslEnd::kLoggedIn:
            Log(kLogProtocol, "Logged in by %s", m_mechanism.c_str());
            return 0;
        case SaslEnd::kLost:
            return kSmtpNoResponse;
        case SaslEnd::kRefused:
            break;
    }
    return kSmtpAuthFailed;
}

}  // namespace tessolt
