#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/scripted_server.h"
#include "support/test_certificates.h"

namespace tessolt {

/// What a mail server of a test says to each command, by its first four letters in upper case. The
/// welcome stands under "", the reply to the end of a message under ".".
struct ServerPart {
    std::map<std::string, std::vector<std::string>> replies;  ///< In turn; the last one stays.
    /// Done in place of the reply, as the end of the connection.
    std::map<std::string, std::function<void(support::ScriptedConnection&)>> faults = {};
};

/// A healthy SMTP and a healthy POP3 server, the latter with two messages, but for `changes` in the
/// form "VERB:reply|VERB:first reply;second reply", with "~" for the line ends within a reply.
ServerPart smtpPart(std::string_view changes = {});
ServerPart pop3Part(std::string_view changes = {});

enum class Tls { kNone, kFromStart, kOnCommand };

/// The certificate of `served`, made out for "localhost" and signed by itself.
const support::Identity& mailIdentity();

/// Serves one connection.
support::ScriptedServer::Script served(ServerPart part, Tls tls = Tls::kNone);

/// The lines that a client sent, joined by "|", with the machine's name taken out of the greeting.
std::string linesOf(const std::string& received);
/// The entries of a log without their times, a line each.
std::string entriesOf(const std::string& log);

}  // namespace tessolt
