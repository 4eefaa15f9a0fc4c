#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/scripted_server.h"
#include "support/tls_peer.h"

namespace tessolt {

/// What a mail server of a test says to each command, by its first four letters in upper case. The
/// welcome stands under "", the reply to a message or to the end of one under ".".
struct ServerPart {
    std::map<std::string, std::vector<std::string>> replies;  ///< In turn; the last one stays.
    /// Done in place of the reply, as the end of the connection.
    std::map<std::string, std::function<void(support::ScriptedConnection&)>> faults = {};
};

/// A healthy SMTP and a healthy POP3 server, the latter with one message.
ServerPart smtpPart();
ServerPart pop3Part();

/// Serves one connection, in the clear or in TLS.
support::ScriptedServer::Script served(ServerPart part);
support::ScriptedServer::Script servedOverTls(ServerPart part, support::TlsServerSetup setup);
/// In the clear until STARTTLS was answered with 220, and in TLS with `secured` from there on.
support::ScriptedServer::Script servedWithStartTls(ServerPart part, ServerPart secured,
                                                   support::TlsServerSetup setup);

/// A certificate for the servers.
const support::Identity& mailIdentity();

/// The lines that a client sent, joined by "|", with the machine's name taken out of the greeting.
std::string linesOf(const std::string& received);

}  // namespace tessolt
