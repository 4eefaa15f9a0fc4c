#include <algorithm>
#include <string>

#include "foundation/base64.h"
#include "foundation/md5.h"
#include "mail/smtp.h"

namespace tessolt {

namespace {

/// Account and password of AUTH PLAIN with the two zero bytes between them.
constexpr std::uint32_t kMaxPlainCredentials = 2048;
/// Where the text of a reply begins, behind code and blank.
constexpr std::size_t kReplyTextAt = 4;

enum ReplyCode : std::int32_t {
    kAuthenticated = 235,
    kChallenge = 334,
    kMechanismUnknown = 504,
};

CZncString Encoded(std::string_view bytes) {
    CZncString text;
    CZncBase64().Encode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), text);
    return text;
}

CZncString Decoded(std::string_view text) {
    CZncString bytes(text);
    CZncBase64().DecodeString(bytes);
    return bytes;
}

}  // namespace

std::int32_t CZnSmtp::Authenticate() {
    if (m_strAccount.IsEmpty()) {
        return 0;
    }
    switch (m_lAuthentication) {
        case kSmtpAuthPlain:
            return AuthenticatePlain();
        case kSmtpAuthLogin:
            return AuthenticateLogin();
        case kSmtpAuthCramMd5:
            return AuthenticateCramMd5();
        default:
            return 0;
    }
}

std::int32_t CZnSmtp::AuthenticatePlain() {
    const std::string& account = m_strAccount.GetString();
    const std::string& password = m_strPassword.GetString();
    if (account.size() + password.size() + 2 > kMaxPlainCredentials) {
        return kSmtpCredentialsTooLong;
    }
    const std::string bytes = '\0' + account + '\0' + password;
    Log(kLogProtocol, "Using 'AUTH-PLAIN' SMTP authentication.");
    CZncString command("AUTH PLAIN ");
    command.Append(Encoded(bytes));
    const std::int32_t result = SendCommand(command.View(), m_lTimeoutAuthentication);
    if (result != 0) {
        return result;
    }
    if (m_lLastCode == kAuthenticated) {
        return 0;
    }
    return m_lLastCode == kMechanismUnknown ? kSmtpAuthUnsupported : kSmtpAuthFailed;
}

bool CZnSmtp::PromptHolds(const char* word) const {
    const std::string_view reply = m_strLastResponse.View();
    return Decoded(reply.substr(std::min(kReplyTextAt, reply.size()))).Contains(word, false);
}

std::int32_t CZnSmtp::AuthenticateLogin() {
    Log(kLogProtocol, "Using 'AUTH-LOGIN' SMTP authentication.");
    const std::int32_t result = SendCommand("AUTH LOGIN");
    if (result != 0) {
        return result;
    }
    if (m_lLastCode == kMechanismUnknown) {
        return kSmtpAuthUnsupported;
    }
    if (!PromptHolds("Username:") ||
        SendCommand(Encoded(m_strAccount.View()).View(), m_lTimeoutAuthentication) != 0 ||
        !PromptHolds("Password:") ||
        SendCommand(Encoded(m_strPassword.View()).View(), m_lTimeoutAuthentication) != 0 ||
        m_lLastCode != kAuthenticated) {
        return kSmtpAuthFailed;
    }
    Log(kLogProtocol, "Successfully authenticated using 'AUTH-LOGIN' SMTP authentication.");
    return 0;
}

std::int32_t CZnSmtp::AuthenticateCramMd5() {
    Log(kLogProtocol, "Using 'AUTH-CRAM-MD5' SMTP authentication.");
    std::int32_t result = SendCommand("AUTH CRAM-MD5");
    if (result != 0) {
        return result;
    }
    if (m_lLastCode != kChallenge) {
        return m_lLastCode == kMechanismUnknown ? kSmtpAuthUnsupported : m_lLastCode;
    }
    m_strLastResponse.RemovePrefix("334 ");
    const CZncString challenge = Decoded(m_strLastResponse.View());
    std::uint8_t digest[kMd5DigestBytes];
    HmacMd5(m_strPassword.View(), challenge.View(), digest);
    const CZncString answer = Encoded(m_strAccount.GetString() + " " + HexDigest(digest));
    result = SendCommand(answer.View(), m_lTimeoutAuthentication);
    if (result != 0) {
        return result;
    }
    if (m_lLastCode != kAuthenticated) {
        return kSmtpAuthFailed;
    }
    Log(kLogProtocol, "Successfully authenticated.");
    return 0;
}

}  // namespace tessolt
