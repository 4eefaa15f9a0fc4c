#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "mail/pop3.h"
#include "mail/smtp.h"
#include "message/znmail.h"
#include "support/tls_peer.h"

namespace tessolt {

/// What a mail server of a test says to each command, by its first four letters in upper case. The
/// welcome stands under "", the reply to the end of a message under ".".
struct ServerPart {
    std::map<std::string, std::vector<std::string>> replies;  ///< In turn; the last one stays.
    /// Done in place of the reply, as the end of the connection.
    std::map<std::string, std::function<void(support::ServerStream&)>> faults = {};
    std::chrono::milliseconds pause{0};  ///< In front of each reply, or of those to one verb.
    const char* slowVerb = nullptr;
    /// Gets the lines that came, as `linesOf` has them, and "<text>" for that of a message.
    std::string* heard = nullptr;
};

/// A healthy SMTP and a healthy POP3 server, the latter with two messages, but for `changes` in the
/// form "VERB:reply|VERB:first reply;second reply", with "~" for the line ends within a reply. One
/// that ends in "!" is cut off there, and the connection ends.
ServerPart smtpPart(std::string_view changes = {});
ServerPart pop3Part(std::string_view changes = {});

enum class Tls { kNone, kFromStart, kOnCommand };

/// A certificate for "localhost", signed by itself.
const support::Identity& mailIdentity();

/// Serves one connection after the other. With TLS from the start, the welcome leaves with the last
/// bytes of the handshake.
support::ScriptedServer::Script served(
    ServerPart part, Tls tls = Tls::kNone,
    const support::TlsServerSetup& setup = support::TlsServerSetup(mailIdentity()));

/// The lines that a client sent, joined by "|", with the machine's name taken out of the greeting.
std::string linesOf(const std::string& received);
/// The entries of a log without their times, a line each.
std::string entriesOf(const std::string& log);

inline CZncString& hostOf(CZnSmtp& smtp) {
    return smtp.m_strHost;
}
inline CZncString& hostOf(CZnPop3& pop3) {
    return pop3.m_strServer;
}

/// An engine in front of a server that takes `part`.
template <typename Engine>
struct MailSession {
    explicit MailSession(ServerPart part, Tls tls = Tls::kNone,
                         support::Delivery delivery = support::Delivery::kWhole)
        : server(served(std::move(part), tls), delivery) {
        hostOf(engine) = "localhost";
        engine.m_lHostPort = server.port();
        engine.m_bSecure = tls == Tls::kFromStart;
    }
    /// What the first connection sent.
    std::string received() {
        engine.Disconnect();
        return server.receivedBy(1).at(0);
    }
    std::string lines() { return linesOf(received()); }

    support::ScriptedServer server;
    Engine engine;
};

/// A client for whole conversations over one of the routes.
class MailClient {
public:
    enum Route { kSmtp, kSmtpTls, kStartTls, kPop3, kPop3Tls, kStls };

    explicit MailClient(Route route);

    /// A server for this client: `served` with the healthy part but for `changes`.
    ServerPart part(std::string_view changes = {}) const;
    Tls tls() const;
    bool isPop3() const { return route_ >= kPop3; }
    void setRules(const MailRules& rules) { smtp.m_rules = pop3.m_rules = rules; }
    /// Every limit in milliseconds.
    void setLimits(std::uint32_t limit);
    /// Each returns the number for `LastError`.
    std::int32_t connect(std::uint16_t port, const char* host = "localhost");
    void disconnect();
    /// Connects; resets and sends a message, or fetches one, a header and deletes; disconnects. The
    /// number is that of the first step that failed.
    std::int32_t talk(std::uint16_t port, const char* host = "localhost");

    CZnSmtp smtp;
    CZnPop3 pop3;

private:
    Route route_;
    CZnMail mail_;
};

/// Runs a case that a short limit ends, and once more with a long one where that didn't go well:
/// the machine may have been too busy. `attempt` takes the limit and says what went wrong.
template <typename Attempt>
void expectWithin(std::uint32_t limit, Attempt attempt) {
    constexpr std::uint32_t kPatience = 25;
    if (!attempt(limit).empty()) {
        EXPECT_EQ(attempt(kPatience * limit), "");
    }
}
/// The outcome of a talk that began at `start`: nothing if it is the expected one and came in time.
std::string outcomeOf(std::int32_t number, std::int32_t expected,
                      std::chrono::steady_clock::time_point start, std::uint32_t limit);

/// Whether the object still does its work.
template <typename Engine>
void expectUsable(Engine& engine) {
    const support::ScriptedServer healthy(
        served(std::is_same_v<Engine, CZnSmtp> ? smtpPart() : pop3Part()));
    hostOf(engine) = "localhost";
    engine.m_lHostPort = healthy.port();
    engine.m_bSecure = false;
    engine.m_strAccount = "u";
    engine.m_strPassword = "p";
    EXPECT_EQ(engine.Connect(), 0);
    EXPECT_TRUE(engine.IsConnected());
    engine.Disconnect();
    EXPECT_FALSE(engine.IsConnected());
}

}  // namespace tessolt
