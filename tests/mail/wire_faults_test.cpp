#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "mail_servers.h"
#include "support/process_memory.h"

namespace tessolt {
namespace {

using support::Delivery;
using support::ScriptedServer;
using support::ServerStream;
using support::TlsPeer;
using namespace std::chrono_literals;

constexpr std::uint32_t kShort = 40;
constexpr std::uint32_t kAmple = 5000;
/// The most limits that one talk waits for: those of up to three commands and of the QUIT.
constexpr std::uint32_t kWaits = 4;
constexpr std::size_t kFlood = 300'000'000;
// Freed memory is kept back under the sanitizer.
constexpr long kMaxGrowthKib = (support::kKeepsFreedMemory ? 512 : 64) * 1024;

/// How a fault looks to the client.
enum Kind {
    kGone,           ///< The connection ends without a whole line.
    kEndless,        ///< What comes is no line and doesn't end.
    kSilent,         ///< Nothing more comes.
    kLineAndSilent,  ///< The same behind a whole line.
    kLineAndGone,
    kLines,  ///< Lines without end.
    kKinds
};

struct Fault {
    const char* name;
    Kind kind;
    std::function<void(ServerStream&)> act;
};

const Fault kPlainFaults[] = {
    {"close", kGone, [](auto& s) { s.drop(); }},
    {"reset", kGone, [](auto& s) { s.reset(); }},
    {"half a line and a close", kGone, [](auto& s) { s.send("25"), s.drop(); }},
    {"one long line", kEndless, [](auto& s) { s.flood("x", kFlood); }},
    {"empty lines", kEndless, [](auto& s) { s.flood("\r\n", kFlood); }},
    {"silence", kSilent, [](auto& s) { s.stall(); }},
    {"half a reply", kLineAndSilent, [](auto& s) { s.send("250-so\r\n25"), s.stall(); }},
    {"garbage", kLineAndGone,
     [](auto& s) { s.send(std::string("\xFF\xFE\x01 \0\x80\r\n", 8)), s.drop(); }},
    {"lines without end", kLines, [](auto& s) { s.flood("250-and\r\n", kFlood); }}};
const Fault kTlsFaults[] = {
    {"close", kGone, [](auto& s) { s.drop(); }},
    {"close with notice", kGone,
     [](auto& s) { dynamic_cast<TlsPeer&>(s).closeNotify(), s.drop(); }},
    {"reset", kGone, [](auto& s) { s.reset(); }},
    {"alert", kEndless, [](auto& s) { dynamic_cast<TlsPeer&>(s).alert(), s.stall(); }},
    {"silence", kSilent, [](auto& s) { s.stall(); }}};

constexpr std::int32_t kLeftOut = -77;
using ByKind = std::array<std::int32_t, kKinds>;
constexpr ByKind always(std::int32_t number) {
    return {number, number, number, number, number, number};
}

/// A command whose reply goes wrong, and what `LastError` says then.
struct Step {
    const char* verb;
    const char* begun;    ///< What of the reply comes before.
    const char* changes;  ///< Of the healthy server.
    ByKind expected;
};

constexpr const char* kLogin =
    "EHLO:250-x~250 AUTH LOGIN|AUTH:334 VXNlcm5hbWU6|DQ==:334 UGFzc3dvcmQ6|CA==:235 in|";
constexpr const char* kCram = "EHLO:250-x~250 AUTH CRAM-MD5|AUTH:334 PDE+|DSAY:235 in";
const Step kSmtpSteps[] = {
    {"", "", "", always(37404)},
    {"", "220-hello\r\n", "", always(37404)},
    {"EHLO", "", "", always(37403)},
    {"HELO", "", "EHLO:500 no", always(37403)},
    // Without a reply the login goes on in the clear.
    {"STAR", "", "EHLO:250-x~250-STARTTLS~250 ok", {441, 37403, 37403, 37403, 37403, 37403}},
    {"AUTH", "", "", always(37403)},
    {"AUTH", "", "EHLO:250 AUTH LOGIN", always(37403)},
    {"DQ==", "", kLogin, always(37411)},
    {"CA==", "", kLogin, always(37411)},
    {"AUTH", "", "EHLO:250 CRAM-MD5", always(37403)},
    {"DSAY", "", "EHLO:250 CRAM-MD5|AUTH:334 PDE+", always(37403)},
    {"RSET", "", "", always(37403)},
    {"MAIL", "", "", always(37403)},
    {"RCPT", "", "", always(37403)},
    {"DATA", "", "", always(37403)},
    {".", "", "", always(37403)},
    {"QUIT", "", "", always(0)}};
const Step kPop3Steps[] = {
    {"", "", "", {37521, 37521, 731, 37506, 37506, 37506}},
    {"APOP", "", ":+OK <1.2@x>", {707, 37521, 731, 731, 707, 37512}},
    {"USER", "", "", {37521, 37521, 731, 37510, 37510, 37510}},
    {"PASS", "", "", {37521, 37521, 731, 731, 707, 37512}},
    {"CAPA", "", "", {707, 37521, 731, 731, 37521, 37512}},
    {"CAPA", "+OK\r\n", "", {707, 37521, 731, 731, 707, 37512}},
    {"STAT", "", "", {37521, 37521, 731, 37512, 37512, 37512}},
    // The lines behind a status line are the message, which is held whole by design.
    {"RETR", "", "", {715, 715, 715, 732, 37518, kLeftOut}},
    {"RETR", "+OK\r\n", "", {37518, kLeftOut, 731, 732, 37518, kLeftOut}},
    {"RETR", "+OK\r\nSubject", "", {37518, kLeftOut, 732, 732, 37518, kLeftOut}},
    {"TOP ", "", "", {715, 715, 715, 732, 37518, kLeftOut}},
    // Only a refusal makes a deletion fail.
    {"DELE", "", "", always(0)},
    {"QUIT", "", "", always(0)}};

/// Has each fault come in place of the reply of each step, and uses the object again afterwards.
template <typename Steps, typename Faults>
void runDrill(MailClient::Route route, const Steps& steps, const Faults& faults) {
    MailClient client(route);
    support::resetPeakMemory();
    const long start = support::memoryKib("VmHWM");
    for (const Step& step : steps) {
        for (const Fault& fault : faults) {
            const std::int32_t expected = step.expected[fault.kind];
            if (expected == kLeftOut) {
                continue;
            }
            SCOPED_TRACE(std::string(step.verb) + " " + step.changes + ": " + fault.name);
            const bool waits = fault.kind == kSilent || fault.kind == kLineAndSilent;
            expectWithin(waits ? kShort : kAmple, [&](std::uint32_t limit) {
                ServerPart part = client.part(step.changes);
                part.faults[step.verb] = [&](ServerStream& stream) {
                    stream.send(step.begun);
                    fault.act(stream);
                };
                const ScriptedServer server(served(part, client.tls()));
                client.setLimits(limit);
                client.smtp.m_lAuthentication = 0;
                const auto start = std::chrono::steady_clock::now();
                const std::int32_t number = client.talk(server.port());
                return outcomeOf(number, expected, start, waits ? kWaits * limit : limit);
            });
            client.setLimits(kAmple);
            client.smtp.m_lAuthentication = 0;
            const ScriptedServer healthy(served(client.part(), client.tls()));
            EXPECT_EQ(client.talk(healthy.port()), 0);
        }
    }
    EXPECT_LT(support::memoryKib("VmHWM") - start, kMaxGrowthKib);
}

TEST(WireFaults, SmtpSurvivesAnythingInPlaceOfAReply) {
    runDrill(MailClient::kSmtp, kSmtpSteps, kPlainFaults);
}

TEST(WireFaults, Pop3SurvivesAnythingInPlaceOfAReply) {
    runDrill(MailClient::kPop3, kPop3Steps, kPlainFaults);
}

TEST(WireFaults, SmtpOverTlsSurvivesThemToo) {
    std::vector<Step> steps(std::begin(kSmtpSteps), std::end(kSmtpSteps));
    std::erase_if(steps, [](const Step& step) { return step.verb == std::string("STAR"); });
    runDrill(MailClient::kSmtpTls, steps, kTlsFaults);
}

TEST(WireFaults, Pop3OverTlsSurvivesThemToo) {
    std::vector<Step> steps(std::begin(kPop3Steps), std::end(kPop3Steps));
    for (Step& step : steps) {
        // A status line that doesn't come has another number here.
        if (step.expected[kSilent] == 731 && step.verb != std::string("RETR")) {
            step.expected[kSilent] = 37521;
        }
        // A failed list of capabilities is no failure yet, but nothing can be sent behind an alert.
        if (step.expected[kGone] == 707) {
            step.expected[kEndless] = 37709;
        }
    }
    runDrill(MailClient::kPop3Tls, steps, kTlsFaults);
}

TEST(WireFaults, RepliesMayComeInAnyPiecesAndLate) {
    for (const auto route : {MailClient::kSmtp, MailClient::kSmtpTls, MailClient::kStartTls,
                             MailClient::kPop3, MailClient::kPop3Tls}) {
        for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
            MailClient client(route);
            ServerPart part = client.part();
            part.pause = delivery == Delivery::kWhole ? 20ms : 0ms;
            const ScriptedServer server(served(part, client.tls()), delivery);
            EXPECT_EQ(client.talk(server.port()), 0);
        }
    }
}

using Limit = std::uint32_t CZnMailSession::*;
constexpr Limit kConnect = &CZnMailSession::m_lTimeoutConnect;
constexpr Limit kAuthentication = &CZnMailSession::m_lTimeoutAuthentication;
constexpr Limit kCommand = &CZnMailSession::m_lTimeoutCommand;
constexpr Limit kData = &CZnMailSession::m_lTimeoutData;
constexpr Limit kQuit = &CZnMailSession::m_lTimeoutQuit;
constexpr Limit kLimits[] = {kConnect, kAuthentication, kCommand, kData, kQuit};

/// A wait of a session, and which limit is its own.
struct Wait {
    MailClient::Route route;
    const char* verb;
    Limit limit;
    const char* changes = "";
    const char* begun = "";  ///< What of the reply comes in time.
    bool isCurrent = false;
};

const Wait kWaitsOfSessions[] = {
    {MailClient::kSmtp, "", kConnect},
    {MailClient::kSmtp, "EHLO", kCommand},
    {MailClient::kSmtp, "HELO", kCommand, "EHLO:500 no|HELO:250 hi"},
    {MailClient::kStartTls, "STAR", kCommand},
    {MailClient::kStartTls, "STAR", kConnect, "", "220 go\r\n"},
    {MailClient::kSmtp, "AUTH", kAuthentication},
    {MailClient::kSmtp, "AUTH", kCommand, kLogin},
    {MailClient::kSmtp, "DQ==", kAuthentication, kLogin},
    {MailClient::kSmtp, "CA==", kAuthentication, kLogin},
    {MailClient::kSmtp, "AUTH", kCommand, kCram},
    {MailClient::kSmtp, "DSAY", kAuthentication, kCram},
    {MailClient::kSmtp, "RSET", kCommand},
    {MailClient::kSmtp, "MAIL", kCommand},
    {MailClient::kSmtp, "RCPT", kCommand},
    {MailClient::kSmtp, "DATA", kCommand},
    {MailClient::kSmtp, ".", kData},
    {MailClient::kSmtp, "QUIT", kQuit},
    {MailClient::kSmtp, "AUTH", kAuthentication, kLogin, "", true},
    {MailClient::kSmtp, "MAIL", kCommand, "", "", true},
    {MailClient::kSmtp, "RCPT", kCommand, "EHLO:250-x~250-AUTH PLAIN~250 PIPELINING", "", true},
    {MailClient::kSmtp, ".", kData, "", "", true},
    {MailClient::kPop3, "", kConnect},
    {MailClient::kPop3, "APOP", kCommand, ":+OK <1.2@x>"},
    {MailClient::kPop3, "USER", kCommand},
    {MailClient::kPop3, "PASS", kCommand},
    {MailClient::kPop3, "CAPA", kCommand},
    {MailClient::kPop3, "CAPA", kCommand, "", "+OK\r\n"},
    {MailClient::kPop3, "STAT", kCommand},
    {MailClient::kPop3, "RETR", kData},
    {MailClient::kPop3, "RETR", kData, "", "+OK\r\nSubject"},
    {MailClient::kPop3, "TOP ", kData},
    {MailClient::kPop3, "DELE", kCommand},
    {MailClient::kPop3, "QUIT", kQuit},
    {MailClient::kPop3, "AUTH", kAuthentication, "CAPA:+OK~SASL PLAIN~.|AUTH:+OK in", "", true},
};

/// A talk whose wait is as long as `act` makes it: its number, and how long it took.
std::pair<std::int32_t, std::chrono::milliseconds> talkWaiting(
    const Wait& wait, std::uint32_t own, std::uint32_t others,
    const std::function<void(ServerPart&)>& act) {
    MailClient client(wait.route);
    client.setRules(wait.isCurrent ? MailRules::current() : MailRules::classic());
    for (CZnMailSession* const engine :
         {static_cast<CZnMailSession*>(&client.smtp), static_cast<CZnMailSession*>(&client.pop3)}) {
        for (const Limit limit : kLimits) {
            engine->*limit = limit == wait.limit ? own : others;
        }
        // What follows a failure isn't looked at.
        engine->m_lTimeoutQuit = std::min(engine->m_lTimeoutQuit, own);
    }
    ServerPart part = client.part(wait.changes);
    act(part);
    const ScriptedServer server(served(part, client.tls()));
    const auto start = std::chrono::steady_clock::now();
    const std::int32_t number = client.talk(server.port());
    return {number, std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now() - start)};
}

TEST(WireFaults, EachWaitEndsAtItsOwnLimit) {
    constexpr std::uint32_t kVeryLong = 60'000;
    for (const Wait& wait : kWaitsOfSessions) {
        if (wait.verb == std::string("STAR") && *wait.begun == '\0') {
            continue;  // the login goes on, which waits for something else
        }
        SCOPED_TRACE(std::string(wait.verb) + " " + wait.changes + wait.begun);
        const auto [number, time] = talkWaiting(wait, kShort, kVeryLong, [&](ServerPart& part) {
            part.faults[wait.verb] = [&](ServerStream& stream) {
                stream.send(wait.begun);
                stream.stall();
            };
        });
        EXPECT_GE(time, std::chrono::milliseconds(kShort - 1));
        EXPECT_LT(time, std::chrono::milliseconds(kVeryLong / 2));
    }
}

TEST(WireFaults, AndAtNoOther) {
    for (const Wait& wait : kWaitsOfSessions) {
        if (*wait.begun != '\0' || wait.limit == kQuit) {
            continue;
        }
        SCOPED_TRACE(std::string(wait.verb) + " " + wait.changes);
        expectWithin(kShort, [&](std::uint32_t limit) {
            const auto [number, time] = talkWaiting(wait, 40 * limit, limit, [&](ServerPart& part) {
                part.pause = std::chrono::milliseconds(3 * limit);
                part.slowVerb = wait.verb;
            });
            return number == 0 && time >= std::chrono::milliseconds(3 * limit)
                       ? ""
                       : std::to_string(number);
        });
    }
}

TEST(WireFaults, BoundsAreWhereTheyAreSaidToBe) {
    const auto times = [](int count, const std::string& piece) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += piece;
        }
        return text;
    };
    for (const int over : {0, 1}) {
        ServerPart part = smtpPart();
        part.replies["NOOP"] = {times(999 + over, "250-x\r\n") + "250 x\r\n"};
        MailSession<CZnSmtp> smtp(part);
        ASSERT_EQ(smtp.engine.Connect(), 0);
        EXPECT_EQ(smtp.engine.SendCommand("NOOP"), over == 0 ? 0 : -2004);

        part = pop3Part();
        part.replies["NOOP"] = {times(1000 + over, "\r\n") + "+OK\r\n"};
        // A list is left after 10,000 lines; what follows is the reply to the next command.
        part.replies["CAPA"] = {"+OK\r\n" + times(10000, "TOP\r\n")};
        MailSession<CZnPop3> pop3(part);
        ASSERT_EQ(pop3.engine.Connect(), 0);
        EXPECT_EQ(pop3.engine.m_uCapabilities, kPop3CanTop);
        EXPECT_EQ(pop3.engine.SendCommand("NOOP"), over == 0 ? 0 : -2122);
    }
}

}  // namespace
}  // namespace tessolt
