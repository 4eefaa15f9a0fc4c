#include "transport/tcp_socket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/scripted_server.h"

namespace tessolt {
namespace {

using support::Delivery;
using support::ScriptedConnection;
using support::ScriptedServer;

constexpr std::uint32_t kAmple = 10000;
constexpr const char* kLoopback = "127.0.0.1";

/// A socket connected to a server that runs a script.
struct Session {
    explicit Session(ScriptedServer::Script script, Delivery delivery = Delivery::kWhole)
        : server(std::move(script), delivery) {
        EXPECT_EQ(socket.Connect(kLoopback, server.port(), kAmple), 0);
    }
    std::pair<std::int32_t, std::string> line(std::uint32_t total = kAmple,
                                              std::uint32_t idle = kNoTimeLimit) {
        CZncString text("left over");
        const std::int32_t result = socket.ReceiveLine(text, total, idle);
        return {result, text.GetString()};
    }

    ScriptedServer server;
    CZncTcpSocket socket;
};

using Line = std::pair<std::int32_t, std::string>;

using Clock = std::chrono::steady_clock;

long millisecondsSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

TEST(TcpSocket, ReportsWhyAConnectFailed) {
    CZncTcpSocket socket;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(socket.Connect(kLoopback, support::unusedPort(), kAmple),
              platform::kSocketConnectionRefused);
    EXPECT_EQ(socket.Connect("", 25, kAmple), platform::kSocketHostNotFound);
    EXPECT_LT(millisecondsSince(start), 5000);
    EXPECT_FALSE(socket.IsConnected());
}

TEST(TcpSocket, ConnectOnAnOpenObjectKeepsItsConnection) {
    Session session([](ScriptedConnection& c) { c.send("still here\r\n"), c.stall(); });
    EXPECT_EQ(session.socket.Connect("no.such.host.invalid", 1, 1), 0);
    EXPECT_EQ(session.line(), Line(0, "still here"));
    EXPECT_EQ(session.socket.Close(), 0);
    EXPECT_FALSE(session.socket.IsConnected());
    EXPECT_EQ(session.socket.Connect("localhost", session.server.port() + 0x10000, kAmple), 0);
    EXPECT_EQ(session.line(), Line(0, "still here"));
}

TEST(TcpSocket, EveryCallOnAClosedSocketSaysSo) {
    CZncTcpSocket socket;
    CZncString text("QUIT");
    std::uint32_t count = 77;
    char buffer[4];
    EXPECT_EQ(socket.SendLine(text, kAmple, kAmple), kTransportNotConnected);
    EXPECT_EQ(text, "QUIT");
    EXPECT_EQ(socket.SendBuffer("x", 1, count, kAmple, kAmple), kTransportNotConnected);
    EXPECT_EQ(socket.ReceiveBuffer(buffer, sizeof buffer, count), kTransportNotConnected);
    EXPECT_EQ(count, 77u);
    EXPECT_EQ(socket.ReceiveLine(text, kAmple, kAmple), kTransportNotConnected);
    EXPECT_EQ(socket.ReceiveLine(text, 0, kAmple), kTransportTotalTimedOut);
}

TEST(TcpSocket, SplitsLinesHoweverTheyArrive) {
    using namespace std::string_literals;
    const std::string sent = "one\r\n\r\nab\r\r\ncd\r\nnul\0hidden\r\nlast\r\n"s;
    const std::vector<Line> expected = {{0, "one"}, {0, ""},     {0, "ab\r\r\ncd"},
                                        {0, "nul"}, {0, "last"}, {kTransportPeerClosed, ""}};
    for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
        Session session([&](ScriptedConnection& c) { c.send(sent); }, delivery);
        std::vector<Line> lines;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            lines.push_back(session.line());
        }
        EXPECT_EQ(lines, expected);
        EXPECT_FALSE(session.socket.IsConnected());
    }
}

TEST(TcpSocket, HandsTheRestOfARead_ToReceiveBufferFirst) {
    Session session([](ScriptedConnection& c) {
        c.send("+OK\r\nbo\r\r\ndy");
        c.readLine();
        c.send("fresh");
        c.stall();
    });
    EXPECT_EQ(session.line(), Line(0, "+OK"));
    // The reader saw no line end in "bo\r\r\n"; behind the first CR there is one.
    EXPECT_EQ(session.line(30), Line(kTransportTotalTimedOut, ""));
    char buffer[64];
    std::uint32_t count = 0;
    EXPECT_EQ(session.socket.ReceiveBuffer(buffer, 3, count), 0);
    EXPECT_EQ(std::string(buffer, count), "bo\r");
    EXPECT_EQ(session.line(), Line(0, ""));
    EXPECT_EQ(session.socket.ReceiveBuffer(buffer, 0, count), 0);
    EXPECT_TRUE(session.socket.WaitForData(0));
    EXPECT_EQ(session.socket.ReceiveBuffer(buffer, sizeof buffer, count), 0);
    EXPECT_EQ(std::string(buffer, count), "dy");
    EXPECT_FALSE(session.socket.WaitForData(0));
    EXPECT_EQ(session.socket.ReceiveBuffer(buffer, sizeof buffer, count), 0);
    EXPECT_EQ(count, 0u);
    CZncString go("go");
    EXPECT_EQ(session.socket.SendLine(go, kAmple, kAmple), 0);
    EXPECT_EQ(go, "go\r\n");
    EXPECT_TRUE(session.socket.WaitForData(kAmple));
    EXPECT_EQ(session.socket.ReceiveBuffer(buffer, sizeof buffer, count), 0);
    EXPECT_EQ(std::string(buffer, count), "fresh");
}

TEST(TcpSocket, EndsAWaitAtTheLimitThatRunsOutFirst) {
    struct Case {
        std::uint32_t total, idle;
        std::int32_t result;
    };
    for (const Case& c :
         {Case{80, 5000, kTransportTotalTimedOut}, Case{kNoTimeLimit, 80, kTransportIdleTimedOut},
          Case{0, 0, kTransportTotalTimedOut}}) {
        Session session([](ScriptedConnection& s) { s.send("unfinished"), s.stall(); });
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(session.line(c.total, c.idle), Line(c.result, ""));
        EXPECT_GE(millisecondsSince(start), c.total == 0 ? 0 : 75);
        EXPECT_LT(millisecondsSince(start), 280);
        EXPECT_TRUE(session.socket.IsConnected());
    }
}

TEST(TcpSocket, EachArrivalStartsTheIdleLimitAgain) {
    Session session([](ScriptedConnection& c) {
        for (const char* piece : {"a", "b", "c", "d\r\n"}) {
            c.delay(std::chrono::milliseconds(60));
            c.send(piece);
        }
        c.stall();
    });
    EXPECT_EQ(session.line(kAmple, 150), Line(0, "abcd"));
}

TEST(TcpSocket, TakesALineOfTheLargestSizeAndRefusesALongerOne) {
    const std::string longest(kMaxLineBytes, 'x');
    Session session([&](ScriptedConnection& c) {
        c.send(longest + "\r\n");
        c.send(longest + "y\r\n");
        c.flood("no end ", 3'000'000);
        c.stall();
    });
    EXPECT_EQ(session.line(), Line(0, longest));
    EXPECT_EQ(session.line(), Line(kTransportLineTooLong, ""));
    EXPECT_EQ(session.line(), Line(kTransportLineTooLong, ""));
    EXPECT_TRUE(session.socket.IsConnected());
}

TEST(TcpSocket, TellsAResetFromAClose) {
    Session reset([](ScriptedConnection& c) { c.readLine(), c.reset(); });
    CZncString command("NOOP");
    EXPECT_EQ(reset.socket.SendLine(command, kAmple, kAmple), 0);
    EXPECT_EQ(reset.line(), Line(kTransportBroken, ""));
    EXPECT_FALSE(reset.socket.IsConnected());

    Session dropped([](ScriptedConnection& c) { c.drop(); });
    ASSERT_TRUE(dropped.socket.WaitForData(kAmple));
    char byte;
    std::uint32_t count = 0;
    EXPECT_EQ(dropped.socket.ReceiveBuffer(&byte, 1, count), kTransportPeerClosed);
    EXPECT_FALSE(dropped.socket.IsConnected());
}

TEST(TcpSocket, SendingToAPeerThatIsGoneEndsWithoutASignal) {
    Session session([](ScriptedConnection& c) { c.reset(); });
    const std::string block(100'000, 'x');
    std::uint32_t sent = 0;
    std::int32_t result = 0;
    for (int i = 0; i < 100 && result == 0; ++i) {
        result = session.socket.SendBuffer(block.data(), static_cast<std::uint32_t>(block.size()),
                                           sent, kAmple, kAmple);
    }
    // A reset shows as such once, after that as a broken pipe.
    EXPECT_TRUE(result == kTransportPeerClosed || result == kTransportBroken) << result;
    EXPECT_FALSE(session.socket.IsConnected());
}

TEST(TcpSocket, SendsMoreThanTheNetworkHoldsAndStopsAtItsLimits) {
    const std::string large(8'000'000, 'x');
    const auto size = static_cast<std::uint32_t>(large.size());
    std::uint32_t sent = 0;
    Session reading([](ScriptedConnection& c) { c.stall(); });
    EXPECT_EQ(reading.socket.SendBuffer("", 0, sent, kAmple, kAmple), 0);
    EXPECT_EQ(reading.socket.SendBuffer(large.data(), size, sent, kNoTimeLimit, 3000), 0);
    EXPECT_EQ(sent, size);
    reading.socket.Close();
    EXPECT_EQ(reading.server.receivedBy(1).at(0).size(), large.size());

    struct Case {
        std::uint32_t total, idle;
        std::int32_t result;
    };
    for (const Case& c : {Case{100, 5000, kTransportTotalTimedOut},
                          Case{kNoTimeLimit, 100, kTransportIdleTimedOut}}) {
        Session stuck([](ScriptedConnection& s) { s.readNothing(); });
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(stuck.socket.SendBuffer(large.data(), size, sent, c.total, c.idle), c.result);
        EXPECT_LT(millisecondsSince(start), 1500);
        EXPECT_GT(sent, 0u);
        EXPECT_LT(sent, size);
        EXPECT_TRUE(stuck.socket.IsConnected());
    }
}

}  // namespace
}  // namespace tessolt
