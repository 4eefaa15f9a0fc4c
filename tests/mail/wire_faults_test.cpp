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
constexpr long kMaxGrowthKib = 64 * 1024;

/// What can come in place of a reply.
struct Fault {
    const char* name;
    std::function<void(ScriptedConnection&)> act;
    bool waits = false;  ///< The client finds out by its limit.
};

std::vector<Fault> faults() {
    return {
        {"close", [](auto& c) { c.drop(); }},
        {"reset", [](auto& c) { c.reset(); }},
        {"half a line and a close", [](auto& c) { c.send("25"), c.drop(); }},
        {"garbage", [](auto& c) { c.send(std::string("\xFF\xFE\x01 \0\x80\r\n", 8)), c.drop(); }},
        {"silence", [](auto& c) { c.stall(); }, true},
        {"half a line", [](auto& c) { c.send("250-so\r\n25"), c.stall(); }, true},
        {"one long line", [](auto& c) { c.flood("x", kFlood); }},
        {"lines without end", [](auto& c) { c.flood("250-and\r\n", kFlood); }},
        {"empty lines", [](auto& c) { c.flood("\r\n", kFlood); }},
    };
}

void compose(CZnMail& mail) {
    mail.m_wstrFromAddress.Assign(u"a@x.test");
    mail.AddTo(u"b@x.test");
    mail.m_wstrBodyPlainText.Assign(u"text");
}

long peakKib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Measures one attempt: how long it took beyond its limits, and what memory it cost.
class Watch {
public:
    void expectWithin(std::chrono::milliseconds limits) const {
        EXPECT_LT(std::chrono::steady_clock::now() - start_, limits + 200ms);
#ifndef __SANITIZE_ADDRESS__
        EXPECT_LT(peakKib() - peak_, kMaxGrowthKib);
#endif
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    long peak_ = peakKib();
};

TEST(WireFaults, SmtpSurvivesAnythingInPlaceOfAReply) {
    struct Step {
        const char* verb;
        std::int32_t expected;
        bool connects;  ///< The fault comes after the login.
    };
    const Step steps[] = {{"", -2005, false},    {"EHLO", -2004, false}, {"AUTH", -2004, false},
                          {"MAIL", -2004, true}, {"RCPT", -2004, true},  {"DATA", -2004, true},
                          {".", -2004, true}};
    const ScriptedServer healthy(served(smtpPart()));
    for (const Step& step : steps) {
        for (const Fault& fault : faults()) {
            SCOPED_TRACE(std::string(step.verb) + ": " + fault.name);
            ServerPart part = smtpPart();
            part.faults[step.verb] = fault.act;
            const ScriptedServer server(served(part));
            CZnSmtp smtp;
            CZnMail mail;
            compose(mail);
            smtp.m_strHost = "localhost";
            smtp.m_strAccount = "u";
            smtp.m_lHostPort = server.port();
            const auto limit = [&](std::uint32_t ms) {
                smtp.m_lTimeoutConnect = smtp.m_lTimeoutAuthentication = ms;
                smtp.m_lTimeoutCommand = smtp.m_lTimeoutData = ms;
            };
            if (fault.waits && !step.connects) {
                limit(kShort);
            }
            const Watch watch;
            if (step.connects) {
                ASSERT_EQ(smtp.Connect(), 0);
                if (fault.waits) {
                    limit(kShort);
                }
                EXPECT_EQ(smtp.Send(mail), step.expected);
            } else {
                EXPECT_EQ(smtp.Connect(), step.expected);
                EXPECT_FALSE(smtp.IsConnected());
            }
            smtp.Disconnect();
            // The failed step, and the QUIT behind it.
            watch.expectWithin(fault.waits ? 2 * std::chrono::milliseconds(kShort) : 2000ms);
            limit(5000);
            smtp.m_lHostPort = healthy.port();
            EXPECT_EQ(smtp.Connect(), 0);
            EXPECT_EQ(smtp.Send(mail), 0);
            smtp.Disconnect();
        }
    }
}

TEST(WireFaults, Pop3SurvivesAnythingInPlaceOfAReply) {
    struct Step {
        const char* verb;
        std::int32_t ended, timedOut, garbled;
    };
    const Step steps[] = {
        {"", -2122, -2121, -2107},     {"USER", -2122, -2121, -2111}, {"PASS", -2122, -2121, 0},
        {"STAT", -2122, -2121, -2113}, {"RETR", -2106, -2106, -2119},
    };
    const ScriptedServer healthy(served(pop3Part()));
    for (const Step& step : steps) {
        for (const Fault& fault : faults()) {
            const std::string name = fault.name;
            // Lines that are no status lines pass at PASS, and begin a body at RETR.
            const bool passes =
                name == "garbage" || name == "lines without end" || name == "half a line";
            if (passes && (std::string(step.verb) == "PASS" || std::string(step.verb) == "RETR")) {
                continue;
            }
            SCOPED_TRACE(std::string(step.verb) + ": " + name);
            ServerPart part = pop3Part();
            part.faults[step.verb] = fault.act;
            const ScriptedServer server(served(part));
            CZnPop3 pop3;
            CZnMail mail;
            pop3.m_strServer = "localhost";
            pop3.m_lHostPort = server.port();
            const auto limit = [&](std::uint32_t ms) {
                pop3.m_lTimeoutConnect = pop3.m_lTimeoutCommand = pop3.m_lTimeoutData = ms;
            };
            const bool fetches = std::string(step.verb) == "RETR";
            if (fault.waits && !fetches) {
                limit(kShort);
            }
            const Watch watch;
            std::int32_t result = pop3.Connect();
            if (fetches) {
                ASSERT_EQ(result, 0);
                if (fault.waits) {
                    limit(kShort);
                }
                result = pop3.Retrieve(1, true, mail);
            }
            EXPECT_EQ(result, passes ? step.garbled : fault.waits ? step.timedOut : step.ended);
            pop3.Disconnect();
            watch.expectWithin(fault.waits ? 2 * std::chrono::milliseconds(kShort) : 2000ms);
            limit(5000);
            pop3.m_lHostPort = healthy.port();
            EXPECT_EQ(pop3.Connect(), 0);
            EXPECT_EQ(pop3.Retrieve(1, true, mail), 0);
            pop3.Disconnect();
        }
    }
}

TEST(WireFaults, ACapabilityListHasAnEnd) {
    ServerPart part = pop3Part();
    part.faults["CAPA"] = [](auto& c) {
        c.send("+OK\r\n"), c.flood("TOP\r\n", 4 * 10000 + 10000), c.send("+OK 5 5\r\n"), c.stall();
    };
    const ScriptedServer server(served(part));
    CZnPop3 pop3;
    pop3.m_strServer = "localhost";
    pop3.m_lHostPort = server.port();
    // The list is left after 10,000 lines; what follows is the reply to the next command.
    EXPECT_EQ(pop3.Connect(), 0);
    EXPECT_EQ(pop3.m_lMessageCount, 5);
    EXPECT_EQ(pop3.m_uCapabilities, kPop3CanTop);
    pop3.CloseSecure();
}

TEST(WireFaults, ARefusedReplySizeIsTheFirstOverTheBound) {
    const auto lines = [](int count) {
        std::string text;
        for (int i = 1; i < count; ++i) {
            text += "250-x\r\n";
        }
        return text + "250 x\r\n";
    };
    for (const auto& [count, expected] : {std::pair(1000, 0), std::pair(1001, -2004)}) {
        ServerPart part = smtpPart();
        part.replies["NOOP"] = {lines(count)};
        const ScriptedServer server(served(part));
        CZnSmtp smtp;
        smtp.m_strHost = "localhost";
        smtp.m_lHostPort = server.port();
        ASSERT_EQ(smtp.Connect(), 0);
        EXPECT_EQ(smtp.SendCommand("NOOP"), expected);
    }
    for (const auto& [count, expected] : {std::pair(1000, 0), std::pair(1001, -2122)}) {
        std::string empty;
        for (int i = 0; i < count; ++i) {
            empty += "\r\n";
        }
        ServerPart part = pop3Part();
        part.replies["NOOP"] = {empty + "+OK\r\n"};
        const ScriptedServer server(served(part));
        CZnPop3 pop3;
        pop3.m_strServer = "localhost";
        pop3.m_lHostPort = server.port();
        ASSERT_EQ(pop3.Connect(), 0);
        EXPECT_EQ(pop3.SendCommand("NOOP"), expected);
    }
}

}  // namespace
}  // namespace tessolt
