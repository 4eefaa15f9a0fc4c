#include <string>
#include <vector>

#include "harness.h"
#include "mail/pop3.h"
#include "mail/sasl/sasl_base64.h"
#include "message/znmail.h"
#include "scripted_socket.h"

namespace fuzz {
namespace {

using namespace tessolt;

enum Choice : std::uint8_t {
    kCurrentRules = 1,
    kByteWise = 2,
    kSecure = 4,
    kApop = 8,
    kToken = 16,
};

constexpr const char* kPassword = "password-of-test";

constexpr std::string_view kVerbs[] = {"USER ", "PASS ", "APOP ", "CAPA", "STAT", "LIST",  "UIDL",
                                       "RETR ", "TOP ",  "DELE ", "QUIT", "STLS", "AUTH ", "NOOP"};
constexpr std::string_view kLastVerbs[] = {"STLS"};

void talk(CZnPop3& pop3) {
    std::int32_t count = 0;
    pop3.GetMessageCount(count);
    CZnMail mail;
    mail.m_rules = pop3.m_rules;
    pop3.Retrieve(1, false, mail);
    pop3.Retrieve(1, true, mail);
    std::vector<Pop3Entry> entries;
    if (pop3.List(entries) != 0) {
        require(entries.empty());
    }
    pop3.DeleteMessage(1);
    pop3.SendCommand("NOOP");
}

}  // namespace

/// A whole conversation with a server that says what the input has.
void fuzzPop3Session(Input input) {
    const std::uint8_t choice = input.choice();
    CZnPop3 pop3;
    if ((choice & kCurrentRules) != 0) {
        pop3.m_rules = MailRules::current();
    }
    pop3.m_strServer = "mail.test";
    pop3.m_strAccount = "account-of-test";
    pop3.m_strPassword = kPassword;
    pop3.m_bSecure = (choice & kSecure) != 0;
    pop3.m_lAuthentication = (choice & kApop) != 0 ? kPop3AuthApop : kPop3AuthAuto;
    pop3.m_bAuthToken = (choice & kToken) != 0;
    ScriptedPeer peer(input.rest(), (choice & kByteWise) != 0);
    connectTo(&peer);
    if (pop3.Connect() == 0) {
        talk(pop3);
    }
    pop3.Disconnect();
    require(!pop3.IsConnected());
    if ((choice & kSecure) == 0) {
        requireCommands(peer.received(), kVerbs, kLastVerbs);
    }
    if ((choice & kCurrentRules) != 0) {
        require(peer.received().find(kPassword) == std::string::npos);
    }
    connectTo(nullptr);
    require(pop3.Connect() != 0);
}

}  // namespace fuzz
