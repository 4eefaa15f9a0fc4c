#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "mail/dot_stuffing.h"
#include "mail/received_body.h"
#include "mail_servers.h"
#include "support/scoped_settings.h"

namespace tessolt {
namespace {

using support::ScriptedConnection;
using support::ScriptedServer;
using namespace std::chrono_literals;

/// Current rules as they are for a server elsewhere.
MailRules strict() {
    MailRules rules = MailRules::current();
    rules.loopbackIsSafe = false;
    return rules;
}

/// A whole talk with a server: the number, and what it got in the clear.
std::string talk(MailClient::Route route, const MailRules& rules, std::string_view changes = {}) {
    MailClient client(route);
    client.setRules(rules);
    client.setLimits(1000);
    const ScriptedServer server(served(client.part(changes), client.tls()));
    const std::int32_t number =
        client.isPop3() ? client.talk(server.port()) : client.connect(server.port());
    client.disconnect();
    const std::string lines = linesOf(server.receivedBy(1).at(0));
    return std::to_string(number) + " " + lines.substr(0, lines.find("|\x16"));
}

/// Sends or fetches over a connection without TLS and a login.
template <typename Engine>
struct Plain : MailSession<Engine> {
    Plain(const MailRules& rules, std::string_view changes)
        : MailSession<Engine>(std::is_same_v<Engine, CZnSmtp> ? smtpPart(changes)
                                                              : pop3Part(changes)) {
        this->engine.m_rules = rules;
        EXPECT_EQ(this->engine.Connect(), 0);
    }
};

std::string upload(const MailRules& rules, const char* text, const char* greeting = "250 ok") {
    Plain<CZnSmtp> session(rules, std::string("EHLO:") + greeting);
    const std::string to = "a@x";
    const std::int32_t result = rules.extensions ? session.engine.Deliver("s@x", {to, "b@x"}, text)
                                                 : session.engine.Data(text);
    const std::string lines = session.lines();
    return std::to_string(result) + " " + lines.substr(std::min(lines.size(), lines.find('|')));
}

std::string send(const MailRules& rules, std::string_view changes, const char16_t* to) {
    Plain<CZnSmtp> session(rules, changes);
    CZnMail mail;
    mail.m_wstrFromAddress.Assign(u"s@x.test");
    mail.AddTo(to);
    const std::int32_t result = session.engine.Send(mail);
    const std::string lines = session.lines();
    return std::to_string(result) + lines.substr(4, lines.find("|Reply-To") - 4);
}

/// How a message that was loaded goes out: the part that isn't composed anew.
std::string sendLoaded(const MailRules& rules, std::string_view changes, const std::string& text) {
    Plain<CZnSmtp> session(rules, changes);
    CZnMail mail;
    mail.m_rules = rules;
    EXPECT_EQ(mail.LoadFromBytes("From: s@x.test\r\nTo: a@x.test\r\n" + text), 0);
    const std::int32_t result = session.engine.Send(mail);
    const std::string lines = session.lines();
    const std::string shown = lines.substr(std::min(lines.find("|X-"), lines.size()));
    return std::to_string(result) + (shown.starts_with("|X-Prio") ? " anew" : shown.substr(0, 70));
}

std::string offered(const MailRules& rules, const std::string& mechanisms, bool token = false) {
    MailSession<CZnSmtp> session(smtpPart("EHLO:250-x~250 AUTH " + mechanisms));
    session.engine.m_rules = rules;
    session.engine.m_strAccount = "u";
    session.engine.m_strPassword = "p";
    session.engine.m_bAuthToken = token;
    session.engine.Connect();
    const std::string lines = session.lines();
    return lines.substr(5, lines.find_first_of(" |", 10) - 5);
}

std::string fetch(const MailRules& rules, const std::string& body) {
    Plain<CZnPop3> session(rules, "RETR:+OK~" + body);
    std::string text;
    EXPECT_EQ(session.engine.RetrieveText(1, true, text), 0);
    return text;
}

/// A reply that comes after its limit, and another command behind it.
template <typename Engine>
std::string late(const MailRules& rules) {
    const ScriptedServer server([](ScriptedConnection& c) {
        const bool smtp = std::is_same_v<Engine, CZnSmtp>;
        const std::string yes = smtp ? "250 ok\r\n" : "+OK 1 1\r\n";
        for (c.send(smtp ? "220 hi\r\n" : "+OK hi\r\n"); true; c.send(yes)) {
            const std::string line = c.readLine();
            if (line.empty()) {
                return;
            }
            if (line == "NOOP") {
                c.delay(300ms), c.send(smtp ? "500 late\r\n" : "-ERR late\r\n");
            } else if (line == "CAPA") {
                c.send("-ERR what\r\n"), c.readLine();
            }
        }
    });
    Engine engine;
    engine.m_rules = rules;
    hostOf(engine) = "localhost";
    engine.m_lHostPort = server.port();
    EXPECT_EQ(engine.Connect(), 0);
    EXPECT_NE(engine.SendCommand("NOOP", 100), 0);
    engine.m_lTimeoutCommand = 1000;
    engine.SendCommand("NEXT");
    return engine.IsConnected() ? engine.m_strLastResponse.GetString() : "closed";
}

/// A text that goes on its way but takes longer than a command may.
std::string slowly(const MailRules& rules) {
    const ScriptedServer server([](ScriptedConnection& c) {
        c.send("220 hi\r\n"), c.readLine(), c.send("250 ok\r\n");
        c.readLine(), c.send("354 go\r\n");
        for (int i = 0; i < 6; ++i) {
            c.readBytes(1'000'000), c.delay(100ms);
        }
        c.readUntil("\r\n.\r\n"), c.send("250 ok\r\n"), c.stall();
    });
    CZnSmtp smtp;
    smtp.m_rules = rules;
    smtp.m_strHost = "localhost";
    smtp.m_lHostPort = server.port();
    EXPECT_EQ(smtp.Connect(), 0);
    smtp.m_lTimeoutCommand = 300;
    return std::to_string(smtp.Data(std::string(30'000'000, 'x')));
}

/// What of a loaded text comes to the server, from its body on.
std::string forward(const MailRules& rules, const char* text) {
    Plain<CZnSmtp> session(rules, {});
    CZnMail mail;
    mail.m_rules = rules;
    mail.LoadFromBytes(std::string("From: s@x.test\nTo: a@x.test\n\n") + text);
    EXPECT_EQ(session.engine.Send(mail), 0);
    const std::string lines = session.lines();
    return lines.substr(lines.find("||") + 2);
}

std::string list(const MailRules& rules, std::string_view changes = {}) {
    Plain<CZnPop3> session(rules, changes);
    std::vector<Pop3Entry> entries;
    std::string result = std::to_string(session.engine.List(entries));
    for (const Pop3Entry& entry : entries) {
        result += " " + std::to_string(entry.number) + ":" + std::to_string(entry.size) + entry.uid;
    }
    return result;
}

/// What the log says of the cause of a refused login.
std::string causeOf(const MailRules& rules) {
    const support::TemporaryFolder folder;
    MailSession<CZnSmtp> session(smtpPart("EHLO:250-x~250 AUTH PLAIN|AUTH:535 no"));
    session.engine.m_rules = rules;
    session.engine.m_strAccount = "u";
    session.engine.SetLogFile(folder.file("log").c_str());
    session.engine.Connect();
    const std::string log = entriesOf(folder.read(folder.file("log")));
    const std::size_t at = log.find("Cause: ");
    return at == std::string::npos ? "" : log.substr(at, log.find('\n', at) - at);
}

TEST(Rules, DifferRowByRow) {
    struct Row {
        const char* name;
        std::function<std::string(const MailRules&)> play;
        std::string classic;
        std::string current;
    };
    const char* const kMany = "250-x~250-SIZE 99999~250-8BITMIME~250-SMTPUTF8~250 HELP";
    const std::string kTaken = "|RCPT TO:<a@x.test>|RCPT TO:<b@x.test>|DATA";
    const std::string kLoaded =
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nletter\r\n--b\r\nX-P: 1\r\n"
        "Content-Type: x/y\r\n\r\n";
    using R = const MailRules&;
    const Row rows[] = {
        {"certificate, SMTPS", [](R r) { return talk(MailClient::kSmtpTls, r).substr(0, 5); },
         "0 \x16\x03\x01", "37414"},
        {"certificate, STARTTLS", [](R r) { return talk(MailClient::kStartTls, r); },
         "0 EHLO|STARTTLS", "37706 EHLO|STARTTLS"},
        {"certificate, POP3S", [](R r) { return talk(MailClient::kPop3Tls, r).substr(0, 5); },
         "0 \x16\x03\x01", "37504"},
        {"certificate, STLS",
         [](R r) { return talk(MailClient::kStls, r, "CAPA:+OK~STLS~.;+OK~TOP~.").substr(0, 19); },
         "0 USER u|PASS p|CAP", "37504 CAPA|STLS"},
        {"no STARTTLS", [](R r) { return talk(MailClient::kSmtp, r); },
         "0 EHLO|AUTH PLAIN AHUAcA==|QUIT", "37708 EHLO|QUIT"},
        {"no STARTTLS, AllowPlainText",
         [](MailRules r) {
             r.secretsNeedTls = false;
             return talk(MailClient::kSmtp, r).substr(0, 26);
         },
         "0 EHLO|AUTH PLAIN AHUAcA==", "0 EHLO|AUTH PLAIN AHUAcA=="},
        {"STARTTLS refused", [](R r) { return talk(MailClient::kStartTls, r, "STAR:454 not now"); },
         "0 EHLO|STARTTLS|AUTH PLAIN AHUAcA==|QUIT", "37708 EHLO|STARTTLS|QUIT"},
        {"no STLS", [](R r) { return talk(MailClient::kPop3, r); },
         "0 USER u|PASS p|CAPA|STAT|RETR 1|TOP 1 1|DELE 1|QUIT", "37708 CAPA|QUIT"},
        {"STLS refused",
         [](R r) { return talk(MailClient::kStls, r, "STLS:-ERR no").substr(0, 21); },
         "0 USER u|PASS p|CAPA|", "37708 CAPA|STLS|QUIT"},
        {"reply in front of the handshake, STARTTLS",
         [](MailRules r) {
             r.verifyServer = false;
             return talk(MailClient::kStartTls, r, "STAR:220 go~250 forged");
         },
         "37706 EHLO|STARTTLS", "37706 EHLO|STARTTLS"},
        {"reply in front of the handshake, STLS",
         [](MailRules r) {
             r.verifyServer = false;
             return talk(MailClient::kStls, r, "STLS:+OK go~+OK forged").substr(0, 16);
         },
         "0 USER u|PASS p|", "37504 CAPA|STLS"},
        {"many mechanisms",
         [](R r) { return offered(r, "LOGIN CRAM-MD5 PLAIN SCRAM-SHA-1 SCRAM-SHA-256"); },
         "AUTH PLAIN", "AUTH SCRAM-SHA-256"},
        {"SCRAM-SHA-1", [](R r) { return offered(r, "PLAIN SCRAM-SHA-1"); }, "AUTH PLAIN",
         "AUTH SCRAM-SHA-1"},
        {"CRAM-MD5", [](R r) { return offered(r, "CRAM-MD5 PLAIN"); }, "AUTH PLAIN",
         "AUTH CRAM-MD5"},
        {"LOGIN", [](R r) { return offered(r, "LOGIN"); }, "AUTH LOGIN", "AUTH LOGIN"},
        {"OAUTHBEARER", [](R r) { return offered(r, "PLAIN XOAUTH2 OAUTHBEARER", true); },
         "AUTH PLAIN", "AUTH OAUTHBEARER"},
        {"XOAUTH2", [](R r) { return offered(r, "PLAIN XOAUTH2", true); }, "AUTH PLAIN",
         "AUTH XOAUTH2"},
        {"nothing that fits", [](R r) { return offered(r, "GSSAPI"); }, "AUTH PLAIN", "QUIT"},
        {"dots sent", [](R r) { return upload(r, ".a\r\n.\r\n..\r\n"); },
         "0 |DATA|.a|..|..||.|QUIT",
         "0 |MAIL FROM:<s@x>|RCPT TO:<a@x>|RCPT TO:<b@x>|DATA|..a|..|...|.|QUIT"},
        {"dots fetched", [](R r) { return fetch(r, "a~..b~..~."); }, "a\r\n.b\r\n.\r\n\r\n",
         "a\r\n.b\r\n.\r\n"},
        {"nothing fetched", [](R r) { return fetch(r, "."); }, "", ""},
        {"line ends of a loaded text", [](R r) { return forward(r, "a\nb\rc\r\nd\n.\n."); },
         "a|bc|d|..|..|.|QUIT", "a|b|c|d|..|..|.|QUIT"},
        {"a recipient refused",
         [](R r) { return send(r, "RCPT:550 5.1.1 no;250 ok", u"a@x.test;b@x.test"); },
         "550|MAIL FROM: <s@x.test>|RCPT TO: <a@x.test>|QUIT", "550|MAIL FROM:<s@x.test>" + kTaken},
        {"size limit",
         [](R r) { return send(r, "EHLO:250-x~250 SIZE 50", u"a@x.test").substr(0, 8); },
         "0|MAIL F", "552|QUIT"},
        {"size told, 8-bit text", [&](R r) { return upload(r, "\xC3\xA9\r\n", kMany); },
         "0 |DATA|\xC3\xA9||.|QUIT",
         "0 |MAIL FROM:<s@x> SIZE=4 BODY=8BITMIME|RCPT TO:<a@x>|RCPT TO:<b@x>|DATA|\xC3\xA9|.|"
         "QUIT"},
        {"8-bit address, SMTPUTF8",
         [&](R r) { return send(r, std::string("EHLO:") + kMany, u"\u00E9@x.test").substr(0, 16); },
         "0|MAIL FROM: <s@", "0|MAIL FROM:<s@x"},
        {"8-bit address without it", [](R r) { return send(r, "", u"\u00E9@x.test").substr(0, 8); },
         "0|MAIL F", "553|QUIT"},
        {"loaded 8-bit part",
         [&](R r) { return sendLoaded(r, "", kLoaded + "\xE9.\r\n--b--\r\n"); }, "0 anew",
         "0|X-P: 1|Content-Type: x/y|Content-Transfer-Encoding: base64||6S4=|--b-"},
        {"loaded 8-bit text where it is taken",
         [&](R r) {
             return sendLoaded(r, std::string("EHLO:") + kMany, "X-A: 1\r\n\r\n\xE9\n.\n");
         },
         "0 anew", "0|X-A: 1||\xE9|..|.|QUIT"},
        {"loaded text",
         [&](R r) {
             return sendLoaded(
                 r, "", "X-A: 1\r\nContent-Transfer-Encoding: 8bit\r\nX-B: 2\r\n\r\n\xE9=\n.\n");
         },
         "0 anew", "0|X-A: 1|X-B: 2|Content-Transfer-Encoding: quoted-printable||=E9=3D|=2E"},
        {"loaded long line",
         [](R r) { return sendLoaded(r, "", "X-A: 1\r\n\r\n" + std::string(999, 'a')); }, "0 anew",
         "0|X-A: 1|Content-Transfer-Encoding: quoted-printable||" + std::string(17, 'a')},
        {"loaded 8-bit header", [](R r) { return sendLoaded(r, "", "X-A: \xC3\xA9\r\n\r\na"); },
         "0 anew", "554"},
        {"loaded headers of Queue",
         [](R r) {
             return sendLoaded(r, "",
                               "X-ZnQueueService-RemoveBeforeSending-Host: "
                               "h\r\nX-ZnQueueService-RemoveBeforeSending-Password: 12\r\n "
                               "34\r\nX-A: 1\r\n\r\na");
         },
         "0 anew", "0|X-A: 1||a|.|QUIT"},
        {"slow upload", slowly, "-2010", "0"},
        {"late SMTP reply", late<CZnSmtp>, "500 late ", "closed"},
        {"late POP3 reply", late<CZnPop3>, "-ERR late", "closed"},
        {"list without UIDL", [](R r) { return list(r); }, "0 1:200 2:400", "0 1:200 2:400"},
        {"list", [](R r) { return list(r, "CAPA:+OK~UIDL~."); }, "0 1:200one 2:400two",
         "0 1:200one 2:400two"},
        {"cause in the log", causeOf, "",
         "Cause: the login was refused. Check user name and password. The user name is often the "
         "whole address, and some providers want a password made for mail programs."},
        {"list refused", [](R r) { return list(r, "LIST:-ERR"); }, "-2118", "-2118"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.play(MailRules::classic()), row.classic) << row.name << ", classic";
        // Where a table row needs no TLS, the loopback address stands in for it.
        const std::string name = row.name;
        const bool isAboutTls = name.find("STLS") != std::string::npos ||
                                name.find("STARTTLS") != std::string::npos ||
                                name.find("certificate") != std::string::npos;
        EXPECT_EQ(row.play(isAboutTls ? strict() : MailRules::current()), row.current)
            << row.name << ", current";
    }
}

TEST(Rules, ASessionOverStartTlsDoesNotTurnTheNextOneIntoAnother) {
    const support::TemporaryFolder folder;
    const support::ScopedSettings settings(
        "\"TrustFile\"=\"" + folder.write("trust", mailIdentity().certificatePem()) + "\"\n");
    for (const MailRules& rules : {MailRules::classic(), strict()}) {
        MailSession<CZnSmtp> session(smtpPart("EHLO:250-x~250-STARTTLS~250 AUTH PLAIN|STAR:220 go"),
                                     Tls::kOnCommand);
        session.engine.m_rules = rules;
        session.engine.m_strAccount = "u";
        session.engine.SetLogFile(folder.file("log").c_str());
        for (const std::int32_t expected : {0, rules.freshSecureFlag ? 0 : -2015}) {
            EXPECT_EQ(session.engine.Connect(), expected);
            session.engine.Disconnect();
        }
        const std::string log = support::TemporaryFolder::read(folder.file("log"));
        const bool masked = log.find("[AUTH PLAIN <credentials>]") != std::string::npos;
        EXPECT_EQ(masked, rules.strongestMechanism);
    }
    EXPECT_EQ(talk(MailClient::kStls, strict(), "CAPA:+OK~STLS~.;+OK~TOP~.;+OK~TOP~."),
              "0 CAPA|STLS");
}

/// A server that keeps the rules of a transaction and answers what came in one go after one pause.
struct CheckedServer {
    std::string senderReply = "250 ok";
    std::vector<std::string> recipientReplies = {};  ///< For the first message; then "250 ok".
    std::string dataReply = {};  ///< For the first message, in place of its own.
    std::chrono::milliseconds trip{0};
    std::string taken = {};  ///< "sender>recipients:first line of the text" for each.

    std::string from = {}, to = {}, text = {};
    bool reading = false;

    std::string answer(const std::string& line) {
        const bool first = line.find("first") != std::string::npos || from == "first";
        if (reading) {
            reading = line != ".";
            text += line + "/";
            if (reading) {
                return {};
            }
            taken += to.empty() ? "" : from + ">" + to + ":" + text.substr(0, text.find('/')) + " ";
            const std::string reply = to.empty() ? "554 5.5.1 nobody\r\n" : "250 ok\r\n";
            from = to = text = "";
            return reply;
        }
        if (line.starts_with("EHLO")) {
            return "250-x\r\n250 PIPELINING\r\n";
        }
        if (line.starts_with("MAIL")) {
            const std::string reply = first ? senderReply : "250 ok";
            if (!from.empty()) {
                return "503 nested\r\n";
            }
            from = reply[0] != '2' ? "" : first ? "first" : "next";
            return reply + "\r\n";
        }
        if (line.starts_with("RCPT")) {
            std::string reply = from.empty() ? "503 no sender" : "250 ok";
            if (from == "first" && !recipientReplies.empty()) {
                reply = recipientReplies.front();
                recipientReplies.erase(recipientReplies.begin());
            }
            to += reply[0] == '2' ? line.substr(9, 1) : "";
            return reply + "\r\n";
        }
        if (line == "DATA") {
            const std::string own = to.empty() ? "503 5.5.1 nobody" : "354 go";
            const std::string reply = first && !dataReply.empty() ? dataReply : own;
            reading = reply.starts_with("354");
            return reply + "\r\n";
        }
        from = to = line == "RSET" ? "" : from;
        return line == "QUIT" ? "221 bye\r\n" : "250 ok\r\n";
    }

    void serve(ScriptedConnection& connection) {
        from = to = text = "";
        reading = false;
        connection.send("220 hi\r\n");
        std::string waiting;
        for (std::string got; !(got = connection.readSome()).empty();) {
            connection.delay(trip);
            waiting += got;
            std::string replies;
            bool closing = false;
            for (std::size_t end; !closing && (end = waiting.find("\r\n")) != std::string::npos;) {
                const std::string reply = answer(waiting.substr(0, end));
                waiting.erase(0, end + 2);
                replies += reply;
                closing = reply.starts_with("421") || reply.starts_with("221");
            }
            connection.send(replies);
            if (closing) {
                return;
            }
        }
    }
};

TEST(Pipelining, NothingOfOneMessageIsTakenForTheNext) {
    struct Case {
        const char* name;
        CheckedServer server;
        std::int32_t result;
        std::string replies;  ///< Codes for the three recipients.
        std::string taken;
    };
    const std::string next = "next>abc:next ";
    const Case cases[] = {
        {"all is well", {}, 0, "250 250 250 ", "first>abc:first " + next},
        {"one refused",
         {.recipientReplies = {"250 a", "550 5.1.1 no", "250 c"}},
         550,
         "250 550 250 ",
         "first>ac:first " + next},
        {"all refused",
         {.recipientReplies = {"550 no", "551 no", "450 no"}},
         550,
         "550 551 450 ",
         next},
        {"all refused, text asked for",
         {.recipientReplies = {"550 no", "551 no", "450 no"}, .dataReply = "354 go"},
         550,
         "550 551 450 ",
         next},
        {"text refused", {.dataReply = "451 no room"}, 451, "250 250 250 ", next},
        {"sender refused", {.senderReply = "550 5.7.1 no"}, 550, "0 0 0 ", next},
        {"sender refused, text asked for",
         {.senderReply = "550 first", .dataReply = "354 go"},
         550,
         "0 0 0 ",
         next},
        {"leave in the middle",
         {.recipientReplies = {"250 a", "421 bye"}},
         421,
         "250 421 0 ",
         next},
        {"leave at once", {.senderReply = "421 bye"}, 421, "0 0 0 ", next},
        {"signs in front of the codes",
         {.recipientReplies = {"+55 a", "+55 b", "+55 c"}},
         kSmtpNoResponse,
         "0 0 0 ",
         next},
    };
    for (const Case& c : cases) {
        for (const bool partial : {true, false}) {
            SCOPED_TRACE(c.name + std::to_string(static_cast<int>(partial)));
            CheckedServer checked = c.server;
            const ScriptedServer server([&](ScriptedConnection& peer) { checked.serve(peer); });
            CZnSmtp smtp;
            smtp.m_rules = MailRules::current();
            smtp.m_rules.partialRecipients = partial;
            smtp.m_strHost = "localhost";
            smtp.m_lHostPort = server.port();
            ASSERT_EQ(smtp.Connect(), 0);
            EXPECT_EQ(smtp.Deliver("first", {"a", "b", "c"}, "first\r\n"), c.result);
            std::string replies;
            for (const SmtpRecipientReply& each : smtp.LastDelivery().recipients) {
                replies += std::to_string(each.reply.code) + " ";
            }
            if (!smtp.IsConnected()) {
                ASSERT_EQ(smtp.Connect(), 0);
            }
            EXPECT_EQ(smtp.Deliver("next", {"a", "b", "c"}, "next\r\n"), 0);
            smtp.Disconnect();
            EXPECT_EQ(replies, c.replies);
            const bool whole = partial || c.result == 0;
            EXPECT_EQ(checked.taken, whole ? c.taken : next);
        }
    }
}

/// How long ten messages take over a way of 20 ms.
std::chrono::steady_clock::duration timeOfTenMessages(const MailRules& rules) {
    CheckedServer checked{.trip = 20ms};
    const ScriptedServer server([&](ScriptedConnection& peer) { checked.serve(peer); });
    CZnSmtp smtp;
    smtp.m_rules = rules;
    smtp.m_strHost = "localhost";
    smtp.m_lHostPort = server.port();
    EXPECT_EQ(smtp.Connect(), 0);
    CZnMail mail;
    mail.m_wstrFromAddress.Assign(u"next@x.test");
    mail.AddTo(u"a@x.test");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(smtp.Send(mail), 0);
    }
    return std::chrono::steady_clock::now() - start;
}

TEST(Pipelining, HalvesTheRoundTrips) {
    // A busy machine makes trips longer than they are: one undisturbed try shows their number.
    bool isHalved = false;
    for (int attempt = 0; attempt < 5 && !isHalved; ++attempt) {
        const auto classic = timeOfTenMessages(MailRules::classic());
        isHalved = classic * 10 >= timeOfTenMessages(MailRules::current()) * 18;
    }
    EXPECT_TRUE(isHalved);
}

/// What comes out of bytes that a server sends in pieces of that size.
std::string received(std::string_view wire, std::size_t pieceSize) {
    std::string text;
    ReceivedBody body(text, true);
    while (!wire.empty()) {
        EXPECT_FALSE(body.IsComplete());
        body.Take(wire.copy(body.Room().data(), pieceSize));
        wire.remove_prefix(std::min(pieceSize, wire.size()));
    }
    EXPECT_TRUE(body.IsComplete());
    body.Finish();
    return text;
}

TEST(Dots, AgreeWithTheSlowFormAndComeBack) {
    for (unsigned seed = 0; seed < 4096; ++seed) {
        std::string text;
        for (unsigned rest = seed; rest > 0; rest /= 4) {
            text += rest % 4 == 0 ? "\r\n" : rest % 4 == 1 ? "x" : ".";
        }
        std::string slow = "\r\n" + text;
        for (std::size_t at = 0; (at = slow.find("\r\n.", at)) != std::string::npos; at += 4) {
            slow.insert(at + 2, ".");
        }
        const std::string end = text.empty() || text.ends_with("\r\n") ? ".\r\n" : "\r\n.\r\n";
        const std::string wire = DoubleLineDots(text, end);
        ASSERT_EQ(wire, slow.substr(2) + end);
        ASSERT_EQ(received(wire, 1 + seed % 7), end.size() == 3 ? text : text + "\r\n");
    }
    EXPECT_EQ(DoubleLineDots("\n.\r.\r.x", ""), "\n..\r..\r.x")
        << "what some server takes for a line";
}

}  // namespace
}  // namespace tessolt
