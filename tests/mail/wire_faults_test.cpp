#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <vector>

#include "mail/pop3.h"
#include "mail/smtp.h"
#include "mail_servers.h"
#include "message/znmail.h"

namespace tessolt {
namespace {

using support::ScriptedConnection;
using support::ScriptedServer;
using namespace std::chrono_literals;

constexpr std::uint32_t kShort = 100;
constexpr std::size_t kFlood = 300'000'000;
#ifdef __SANITIZE_ADDRESS__
constexpr long kMaxGrowthKib = 512 * 1024;  // freed memory is kept back there
#else
constexpr long kMaxGrowthKib = 64 * 1024;
#endif

/// What can come in place of a reply.
struct Fault {
    const char* name;
    std::function<void(ScriptedConnection&)> act;
    bool waits = false;   ///< The client finds out by its limit.
    bool isLine = false;  ///< It begins with a whole line that is not empty.
};

std::vector<Fault> faults() {
    const std::string garbage("\xFF\xFE\x01 \0\x80\r\n", 8);
    return {
        {"close", [](auto& c) { c.drop(); }},
        {"reset", [](auto& c) { c.reset(); }},
        {"half a line and a close", [](auto& c) { c.send("25"), c.drop(); }},
        {"garbage", [=](auto& c) { c.send(garbage), c.drop(); }, false, true},
        {"silence", [](auto& c) { c.stall(); }, true},
        {"half a line", [](auto& c) { c.send("250-so\r\n25"), c.stall(); }, true, true},
        {"one long line", [](auto& c) { c.flood("x", kFlood); }},
        {"lines without end", [](auto& c) { c.flood("250-and\r\n", kFlood); }, false, true},
        {"empty lines", [](auto& c) { c.flood("\r\n", kFlood); }},
    };
}

long peakKib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Lets every fault come in place of the reply to `verb`, and afterwards uses the object again.
/// `limit` sets the object's limits, `open` runs up to the step in question, `run` the step.
template <typename Engine>
struct Drill {
    ServerPart healthy;
    std::function<void(Engine&, std::uint32_t)> limit;
    std::function<void(Engine&)> open;
    std::function<std::int32_t(Engine&)> run;

    void execute(Engine& engine, const char* verb, const Fault& fault, std::int32_t expected) {
        SCOPED_TRACE(std::string(verb) + ": " + fault.name);
        ServerPart part = healthy;
        part.faults[verb] = fault.act;
        const ScriptedServer server(served(part));
        engine.m_lHostPort = server.port();
        open(engine);
        if (fault.waits) {
            limit(engine, kShort);
        }
        const auto start = std::chrono::steady_clock::now();
        const long peak = peakKib();
        EXPECT_EQ(run(engine), expected);
        engine.Disconnect();
        // The failed step, and the QUIT behind it.
        EXPECT_LT(std::chrono::steady_clock::now() - start,
                  200ms + std::chrono::milliseconds(fault.waits ? 2 * kShort : 2000));
        EXPECT_LT(peakKib() - peak, kMaxGrowthKib);
        limit(engine, 5000);
        const ScriptedServer good(served(healthy));
        engine.m_lHostPort = good.port();
        open(engine);
        EXPECT_EQ(run(engine), 0);
        engine.Disconnect();
    }
};

TEST(WireFaults, SmtpSurvivesAnythingInPlaceOfAReply) {
    CZnMail mail;
    mail.m_wstrFromAddress.Assign(u"a@x.test");
    mail.AddTo(u"b@x.test");
    CZnSmtp smtp;
    smtp.m_strHost = "localhost";
    smtp.m_strAccount = "u";
    const auto limit = [](CZnSmtp& it, std::uint32_t ms) {
        it.m_lTimeoutConnect = it.m_lTimeoutAuthentication = ms;
        it.m_lTimeoutCommand = it.m_lTimeoutData = ms;
    };
    const auto connect = [](CZnSmtp& it) { return it.Connect(); };
    Drill<CZnSmtp> login{smtpPart(), limit, [](CZnSmtp&) {}, connect};
    Drill<CZnSmtp> send{smtpPart(), limit, [](CZnSmtp& it) { ASSERT_EQ(it.Connect(), 0); },
                        [&](CZnSmtp& it) { return it.Send(mail); }};
    for (const Fault& fault : faults()) {
        login.execute(smtp, "", fault, -2005);
        login.execute(smtp, "EHLO", fault, -2004);
        login.execute(smtp, "AUTH", fault, -2004);
        for (const char* verb : {"MAIL", "RCPT", "DATA", "."}) {
            send.execute(smtp, verb, fault, -2004);
        }
    }
}

TEST(WireFaults, Pop3SurvivesAnythingInPlaceOfAReply) {
    CZnMail mail;
    CZnPop3 pop3;
    pop3.m_strServer = "localhost";
    const auto limit = [](CZnPop3& it, std::uint32_t ms) {
        it.m_lTimeoutConnect = it.m_lTimeoutCommand = it.m_lTimeoutData = ms;
    };
    const auto connect = [](CZnPop3& it) { return it.Connect(); };
    Drill<CZnPop3> login{pop3Part(), limit, [](CZnPop3&) {}, connect};
    Drill<CZnPop3> fetch{pop3Part(), limit, [](CZnPop3& it) { ASSERT_EQ(it.Connect(), 0); },
                         [&](CZnPop3& it) { return it.Retrieve(1, true, mail); }};
    for (const Fault& fault : faults()) {
        const std::int32_t failed = fault.waits ? -2121 : -2122;
        // Any line is a status line, if not the one that is wanted.
        login.execute(pop3, "", fault, fault.isLine ? -2107 : failed);
        login.execute(pop3, "USER", fault, fault.isLine ? -2111 : failed);
        login.execute(pop3, "STAT", fault, fault.isLine ? -2113 : failed);
        if (!fault.isLine) {
            login.execute(pop3, "PASS", fault, failed);
            fetch.execute(pop3, "RETR", fault, -2106);
        }
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
        const ScriptedServer server(served(part));
        CZnSmtp smtp;
        smtp.m_strHost = "localhost";
        smtp.m_lHostPort = server.port();
        ASSERT_EQ(smtp.Connect(), 0);
        EXPECT_EQ(smtp.SendCommand("NOOP"), over == 0 ? 0 : -2004);

        part = pop3Part();
        part.replies["NOOP"] = {times(1000 + over, "\r\n") + "+OK\r\n"};
        // A list is left after 10,000 lines; what follows is the reply to the next command.
        part.replies["CAPA"] = {"+OK\r\n" + times(10000, "TOP\r\n")};
        const ScriptedServer other(served(part));
        CZnPop3 pop3;
        pop3.m_strServer = "localhost";
        pop3.m_lHostPort = other.port();
        ASSERT_EQ(pop3.Connect(), 0);
        EXPECT_EQ(pop3.m_uCapabilities, kPop3CanTop);
        EXPECT_EQ(pop3.SendCommand("NOOP"), over == 0 ? 0 : -2122);
    }
}

}  // namespace
}  // namespace tessolt
