#include "mail_servers.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "support/tls_peer.h"

namespace tessolt {

using support::ScriptedConnection;
using support::ScriptedServer;
using support::TlsPeer;

namespace {

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        parts.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

ServerPart changed(std::string_view base, std::string_view changes) {
    ServerPart part;
    for (const std::string_view list : {base, changes}) {
        for (const std::string& entry : split(list, '|')) {
            const std::size_t colon = entry.find(':');
            std::vector<std::string>& replies = part.replies[entry.substr(0, colon)];
            replies.clear();
            for (const std::string& reply : split(entry.substr(colon + 1), ';')) {
                replies.emplace_back();
                for (const std::string& line : split(reply, '~')) {
                    replies.back() += line + "\r\n";
                }
            }
        }
    }
    return part;
}

/// Answers command by command over whatever carries the text. True when TLS was agreed on.
template <typename Stream>
bool converse(ServerPart& part, ScriptedConnection& connection, Stream& stream, bool welcomes) {
    std::string last;
    const auto answer = [&](const std::string& verb) {
        if (const auto fault = part.faults.find(verb); fault != part.faults.end()) {
            fault->second(connection);
            return false;
        }
        std::vector<std::string>& replies = part.replies[verb];
        last = replies.empty() ? "500 what?\r\n" : replies.front();
        if (replies.size() > 1) {
            replies.erase(replies.begin());
        }
        return stream.send(last);
    };
    bool goesOn = !welcomes || answer("");
    for (std::string line; goesOn && !(line = stream.readLine()).empty();) {
        std::string verb = line.substr(0, 4);
        std::transform(verb.begin(), verb.end(), verb.begin(), borvik::asciiUpper);
        goesOn = answer(verb);
        if (verb == "STAR" && last.starts_with("220")) {
            return true;
        }
        if (verb == "DATA" && last.starts_with("354")) {
            stream.readUntil("\r\n.\r\n");
            goesOn = answer(".");
        }
    }
    return false;
}

}  // namespace

ServerPart smtpPart(std::string_view changes) {
    return changed(
        ":220 hello|EHLO:250-mail.test~250-AUTH PLAIN~250 ok|AUTH:235 in|MAIL:250 ok|RCPT:250 ok"
        "|DATA:354 go|.:250 taken|RSET:250 ok|QUIT:221 bye",
        changes);
}

ServerPart pop3Part(std::string_view changes) {
    return changed(
        ":+OK hello|USER:+OK|PASS:+OK|APOP:+OK|CAPA:+OK~TOP~USER~.|STAT:+OK 2 600|DELE:+OK"
        "|RETR:+OK~Subject: s~~body~.|TOP :+OK~Subject: s~~.|QUIT:+OK bye",
        changes);
}

const support::Identity& mailIdentity() {
    static const support::Identity made({.commonName = "localhost"});
    return made;
}

ScriptedServer::Script served(ServerPart part, Tls tls) {
    return [part = std::move(part), tls](ScriptedConnection& connection) mutable {
        if (tls != Tls::kFromStart &&
            (!converse(part, connection, connection, true) || tls == Tls::kNone)) {
            return;
        }
        TlsPeer peer(connection, support::TlsServerSetup(mailIdentity()));
        if (peer.accept()) {
            converse(part, connection, peer, tls == Tls::kFromStart);
        } else {
            connection.stall();
        }
    };
}

std::string linesOf(const std::string& received) {
    std::string lines;
    for (std::size_t at = 0; at < received.size();) {
        const std::size_t end = std::min(received.find("\r\n", at), received.size());
        const std::string line = received.substr(at, end - at);
        const bool greets = line.starts_with("EHLO ") || line.starts_with("HELO ");
        lines += (lines.empty() ? "" : "|") + line.substr(0, greets ? 4 : line.size());
        at = end + 2;
    }
    return lines;
}

std::string entriesOf(const std::string& log) {
    constexpr std::size_t kStamp = 11;
    std::string entries;
    for (std::size_t at = 0; at + kStamp < log.size(); at = log.find("\r\n", at) + 2) {
        entries += log.substr(at + kStamp, log.find("\r\n", at) - at - kStamp) + "\n";
    }
    return entries;
}

}  // namespace tessolt
