#include <string>

#include "harness.h"
#include "mail/sasl/sasl_base64.h"
#include "mail/smtp.h"
#include "message/znmail.h"
#include "scripted_socket.h"

namespace fuzz {
namespace {

using namespace tessolt;

enum Choice : std::uint8_t {
    kCurrentRules = 1,
    kByteWise = 2,
    kSecure = 4,
    kAccount = 8,
    kNoStartTls = 16,
    kToken = 32,
};

constexpr const char* kAccountName = "account-of-test";
constexpr const char* kPassword = "password-of-test";

/// Under current rules the password goes through a channel, or not at all.
void checkSecret(const std::string& sent) {
    for (const std::string_view before : {"", "x", "xx"}) {
        // What three places in a group make of it, without the characters that others share.
        const std::string text = Base64Encoded(std::string(before) + kPassword);
        require(sent.find(text.substr(4, text.size() - 8)) == std::string::npos);
    }
    require(sent.find(kPassword) == std::string::npos);
}

constexpr std::string_view kVerbs[] = {"EHLO ",    "HELO ", "STARTTLS", "AUTH ", "MAIL FROM:",
                                       "RCPT TO:", "DATA",  "RSET",     "QUIT",  "NOOP"};
/// What follows these is no command.
constexpr std::string_view kLastVerbs[] = {"STARTTLS", "DATA"};

void prepare(CZnSmtp& smtp, std::uint8_t choice, std::uint8_t authentication) {
    if ((choice & kCurrentRules) != 0) {
        smtp.m_rules = MailRules::current();
    }
    smtp.CZnSmtp::m_strHost = "mail.test";
    smtp.m_bSecure = (choice & kSecure) != 0;
    smtp.m_bUseStartTls = (choice & kNoStartTls) != 0 ? 0 : 1;
    smtp.m_bAuthToken = (choice & kToken) != 0;
    smtp.m_lAuthentication = authentication % 5;
    if ((choice & kAccount) != 0) {
        smtp.m_strAccount = kAccountName;
        smtp.m_strPassword = kPassword;
    }
}

}  // namespace

/// A whole conversation with a server that says what the input has.
void fuzzSmtpSession(Input input) {
    const std::uint8_t choice = input.choice();
    CZnSmtp smtp;
    prepare(smtp, choice, input.choice());
    ScriptedPeer peer(input.rest(), (choice & kByteWise) != 0);
    connectTo(&peer);
    CZnMail mail;
    mail.m_rules = smtp.m_rules;
    mail.m_wstrFromAddress.Assign(u"a@x.test");
    mail.m_wstrSubject.Assign(u"Gr\u00FC\u00DFe");
    mail.m_wstrBodyPlainText.Assign(u".\r\n..\r\n");
    mail.AddTo(u"b@x.test;c@x.test");
    if (smtp.Connect() == 0) {
        smtp.Send(mail);
        smtp.SendCommand("NOOP");
        smtp.Send(mail);
    }
    smtp.Disconnect();
    require(!smtp.IsConnected());
    if ((choice & kSecure) == 0) {
        requireCommands(peer.received(), kVerbs, kLastVerbs);
    }
    if ((choice & kCurrentRules) != 0) {
        checkSecret(peer.received());
    }
    connectTo(nullptr);
    require(smtp.Connect() != 0);
}

}  // namespace fuzz
