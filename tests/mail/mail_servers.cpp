#include "mail_servers.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "foundation/error_catalogue.h"

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

/// The reply to a command, the next one of those that are set.
std::string replyTo(ServerPart& part, const std::string& verb) {
    std::vector<std::string>& replies = part.replies[verb];
    std::string reply = replies.empty() ? "500 what?\r\n" : replies.front();
    if (replies.size() > 1) {
        replies.erase(replies.begin());
    }
    return reply;
}

bool breaksOff(std::string_view reply) {
    return reply.ends_with("!\r\n");
}

/// Answers command by command, `welcome` first unless that was sent. True when TLS was agreed on.
bool converse(ServerPart& part, support::ServerStream& stream, bool welcomes) {
    std::string reply;
    const auto answer = [&](const std::string& verb) {
        if (const auto fault = part.faults.find(verb); fault != part.faults.end()) {
            fault->second(stream);
            return false;
        }
        reply = replyTo(part, verb);
        if (part.slowVerb == nullptr || verb == part.slowVerb) {
            stream.delay(part.pause);
        }
        if (breaksOff(reply)) {
            stream.send(reply.substr(0, reply.size() - 3));
            stream.drop();
            return false;
        }
        return stream.send(reply);
    };
    const auto hear = [&](const std::string& line) {
        if (part.heard != nullptr) {
            *part.heard += (part.heard->empty() ? "" : "|") + linesOf(line);
        }
    };
    bool goesOn = !welcomes || answer("");
    for (std::string line; goesOn && !(line = stream.readLine()).empty();) {
        hear(line);
        std::string verb = line.substr(0, 4);
        std::transform(verb.begin(), verb.end(), verb.begin(), borvik::asciiUpper);
        goesOn = answer(verb);
        if ((verb == "STAR" && reply.starts_with("220")) ||
            (verb == "STLS" && reply.starts_with("+OK"))) {
            return true;
        }
        if (verb == "DATA" && reply.starts_with("354")) {
            while (!(line = stream.readUntil("\n")).empty() && line != ".\r\n") {
            }
            hear(line.empty() ? "<part of a text>" : "<text>");
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
        "|RETR:+OK~Subject: s~~body~.|TOP :+OK~Subject: s~~.|QUIT:+OK bye"
        "|LIST:+OK~1 200~2 400~.|UIDL:+OK~1 one~2 two~.",
        changes);
}

const support::Identity& mailIdentity() {
    static const support::Identity made({.commonName = "localhost"});
    return made;
}

ScriptedServer::Script served(ServerPart part, Tls tls, const support::TlsServerSetup& setup) {
    return [part = std::move(part), tls, setup](ScriptedConnection& connection) mutable {
        if (tls != Tls::kFromStart && (!converse(part, connection, true) || tls == Tls::kNone)) {
            return;
        }
        TlsPeer peer(connection, setup);
        const bool welcomes = tls == Tls::kFromStart && part.faults.count("") == 0 &&
                              !breaksOff(part.replies[""].front());
        if (peer.accept(welcomes ? replyTo(part, "") : std::string())) {
            converse(part, peer, tls == Tls::kFromStart && !welcomes);
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

MailClient::MailClient(Route route) : route_(route) {
    smtp.m_strAccount = pop3.m_strAccount = "u";
    smtp.m_strPassword = pop3.m_strPassword = "p";
    mail_.m_wstrFromAddress.Assign(u"a@x.test");
    mail_.AddTo(u"b@x.test");
}

ServerPart MailClient::part(std::string_view changes) const {
    if (isPop3()) {
        const std::string offer = "CAPA:+OK~STLS~TOP~UIDL~.|STLS:+OK go|";
        return pop3Part((route_ == kStls ? offer : "") + std::string(changes));
    }
    const std::string offer = "EHLO:250-x~250-STARTTLS~250 ok|STAR:220 go|AUTH:235 in|";
    return smtpPart((route_ == kStartTls ? offer : "") + std::string(changes));
}

Tls MailClient::tls() const {
    return route_ == kStartTls || route_ == kStls     ? Tls::kOnCommand
           : route_ == kSmtpTls || route_ == kPop3Tls ? Tls::kFromStart
                                                      : Tls::kNone;
}

void MailClient::setLimits(std::uint32_t limit) {
    smtp.m_lTimeoutConnect = smtp.m_lTimeoutAuthentication = limit;
    smtp.m_lTimeoutCommand = smtp.m_lTimeoutData = limit;
    pop3.m_lTimeoutConnect = pop3.m_lTimeoutCommand = pop3.m_lTimeoutData = limit;
}

std::int32_t MailClient::connect(std::uint16_t port, const char* host) {
    smtp.m_strHost = pop3.m_strServer = host;
    smtp.m_lHostPort = pop3.m_lHostPort = port;
    smtp.m_bSecure = pop3.m_bSecure = tls() == Tls::kFromStart;
    return isPop3() ? MapPop3Error(pop3.Connect()) : MapSmtpError(smtp.Connect());
}

void MailClient::disconnect() {
    isPop3() ? pop3.Disconnect() : smtp.Disconnect();
}

std::int32_t MailClient::talk(std::uint16_t port, const char* host) {
    std::int32_t result = connect(port, host);
    if (result == 0 && isPop3()) {
        result = MapPop3Error(pop3.Retrieve(1, true, mail_));
        result = result != 0 ? result : MapPop3Error(pop3.Retrieve(1, false, mail_));
        result = result != 0 ? result : MapPop3Error(pop3.DeleteMessage(1));
    } else if (result == 0) {
        smtp.m_bNeedsReset = true;
        result = MapSmtpError(smtp.Send(mail_));
    }
    disconnect();
    return result;
}

std::string outcomeOf(std::int32_t number, std::int32_t expected,
                      std::chrono::steady_clock::time_point start, std::uint32_t limit) {
    using std::chrono::milliseconds;
    const auto time = std::chrono::steady_clock::now() - start;
    return number == expected && time < milliseconds(limit + 200)
               ? ""
               : std::to_string(number) + " after " + std::to_string(time / milliseconds(1)) +
                     " ms";
}

}  // namespace tessolt
