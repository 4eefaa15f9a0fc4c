#include "mail_servers.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace tessolt {

using support::ScriptedConnection;
using support::ScriptedServer;
using support::TlsPeer;

namespace {

constexpr const char* kMessageEnd = "\r\n.\r\n";

/// Answers one connection command by command, over whatever carries the text.
template <typename Stream>
class Conversation {
public:
    Conversation(ServerPart& part, ScriptedConnection& connection, Stream& stream)
        : part_(part), connection_(connection), stream_(stream) {}

    /// Returns true when the client and this server have agreed on TLS.
    bool serve(bool welcomes) {
        if (welcomes && !answer("")) {
            return false;
        }
        for (std::string line = stream_.readLine(); !line.empty(); line = stream_.readLine()) {
            std::string verb = line.substr(0, 4);
            std::transform(verb.begin(), verb.end(), verb.begin(),
                           [](unsigned char c) { return std::toupper(c); });
            if (!answer(verb)) {
                return false;
            }
            if (verb == "STAR" && last_.starts_with("220")) {
                return true;
            }
            if (verb == "DATA" && last_.starts_with("354")) {
                stream_.readUntil(kMessageEnd);
                if (!answer(".")) {
                    return false;
                }
            }
        }
        return false;
    }

private:
    bool answer(const std::string& verb) {
        if (const auto fault = part_.faults.find(verb); fault != part_.faults.end()) {
            fault->second(connection_);
            return false;
        }
        std::vector<std::string>& replies = part_.replies[verb];
        last_ = replies.empty() ? "500 what?\r\n" : replies.front();
        if (replies.size() > 1) {
            replies.erase(replies.begin());
        }
        return stream_.send(last_);
    }

    ServerPart& part_;
    ScriptedConnection& connection_;
    Stream& stream_;
    std::string last_;
};

}  // namespace

ServerPart smtpPart() {
    return {{{"", {"220 hello\r\n"}},
             {"EHLO", {"250-mail.test\r\n250-AUTH PLAIN\r\n250 ok\r\n"}},
             {"AUTH", {"235 in\r\n"}},
             {"MAIL", {"250 ok\r\n"}},
             {"RCPT", {"250 ok\r\n"}},
             {"DATA", {"354 go\r\n"}},
             {".", {"250 taken\r\n"}},
             {"RSET", {"250 ok\r\n"}},
             {"QUIT", {"221 bye\r\n"}}}};
}

ServerPart pop3Part() {
    return {{{"", {"+OK hello\r\n"}},
             {"USER", {"+OK\r\n"}},
             {"PASS", {"+OK\r\n"}},
             {"APOP", {"+OK\r\n"}},
             {"CAPA", {"+OK\r\nTOP\r\nUSER\r\n.\r\n"}},
             {"STAT", {"+OK 2 600\r\n"}},
             {"RETR", {"+OK\r\nSubject: s\r\n\r\nbody\r\n.\r\n"}},
             {"TOP ", {"+OK\r\nSubject: s\r\n\r\n.\r\n"}},
             {"DELE", {"+OK\r\n"}},
             {"QUIT", {"+OK bye\r\n"}}}};
}

ScriptedServer::Script served(ServerPart part) {
    return [part = std::move(part)](ScriptedConnection& connection) mutable {
        Conversation(part, connection, connection).serve(true);
    };
}

ScriptedServer::Script servedOverTls(ServerPart part, support::TlsServerSetup setup) {
    return [part = std::move(part), setup = std::move(setup)](ScriptedConnection& c) mutable {
        TlsPeer peer(c, setup);
        if (peer.accept()) {
            Conversation(part, c, peer).serve(true);
        }
    };
}

ScriptedServer::Script servedWithStartTls(ServerPart part, ServerPart secured,
                                          support::TlsServerSetup setup) {
    return [part = std::move(part), secured = std::move(secured),
            setup = std::move(setup)](ScriptedConnection& c) mutable {
        if (Conversation(part, c, c).serve(true)) {
            TlsPeer peer(c, setup);
            if (peer.accept()) {
                Conversation(secured, c, peer).serve(false);
            } else {
                c.stall();
            }
        }
    };
}

const support::Identity& mailIdentity() {
    static const support::Identity made({.commonName = "localhost", .names = {"DNS:localhost"}});
    return made;
}

std::string linesOf(const std::string& received) {
    std::string lines;
    for (std::size_t at = 0; at < received.size();) {
        const std::size_t end = std::min(received.find("\r\n", at), received.size());
        std::string line = received.substr(at, end - at);
        if (line.starts_with("EHLO ") || line.starts_with("HELO ")) {
            line.resize(4);
        }
        lines += (lines.empty() ? "" : "|") + line;
        at = end + 2;
    }
    return lines;
}

}  // namespace tessolt
