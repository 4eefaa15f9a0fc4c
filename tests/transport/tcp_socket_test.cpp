#include "transport/tcp_socket.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/code_page.h"
#include "support/scripted_server.h"
#include "transport/address_race.h"

namespace {

std::string askedName;

}  // namespace

/// In place of the system's: takes every name in coded form for this machine.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** found) {
    static const auto resolve =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    askedName = node;
    return resolve(askedName.starts_with("xn--") ? "127.0.0.1" : node, service, hints, found);
}

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

TEST(TcpSocket, LooksUpNamesBeyondAsciiInTheirAsciiForm) {
    const platform::ScopedAnsiCodePage page(65001);
    ScriptedServer server([](ScriptedConnection& connection) { connection.stall(); });
    CZncTcpSocket socket;
    EXPECT_EQ(socket.Connect("stra\xC3\x9F"
                             "e.test",
                             server.port(), 5000),
              0);
    EXPECT_EQ(askedName, "xn--strae-oqa.test");
    const platform::ScopedAnsiCodePage latin(1252);
    EXPECT_EQ(CZncTcpSocket().Connect(std::string(64, '\xE9').c_str(), server.port(), 5000), 11001);
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
    // Not before the client knows that it is connected.
    Session session(
        [](ScriptedConnection& c) { c.delay(std::chrono::milliseconds(50)), c.reset(); });
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

using platform::SocketAddress;

/// A listening socket on a loopback address. A deaf one has no room for another connection: who
/// connects to it gets no answer at all.
class Listener {
public:
    Listener(const char* host, std::uint16_t port, bool deaf = false) {
        std::vector<SocketAddress> found;
        EXPECT_EQ(platform::resolveAddresses(host, port, found), 0);
        const auto* address = reinterpret_cast<const sockaddr*>(found.at(0).bytes.data());
        m_sockets.push_back(::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        m_isOpen = ::bind(m_sockets[0], address, found[0].size) == 0 &&
                   ::listen(m_sockets[0], deaf ? 0 : 8) == 0;
        sockaddr_in6 bound{};
        socklen_t size = sizeof bound;
        getsockname(m_sockets[0], reinterpret_cast<sockaddr*>(&bound), &size);
        m_port = ntohs(bound.sin6_port);  // at the same place in both families
        for (int i = 0; deaf && i < 4; ++i) {
            m_sockets.push_back(
                ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            found.clear();
            platform::resolveAddresses(host, m_port, found);
            ::connect(m_sockets.back(), reinterpret_cast<const sockaddr*>(found[0].bytes.data()),
                      found[0].size);
        }
    }
    ~Listener() {
        for (const int socket : m_sockets) {
            ::close(socket);
        }
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool m_isOpen = false;
    std::uint16_t m_port = 0;

private:
    std::vector<int> m_sockets;
};

TEST(AddressRace, ADeadAddressCostsLittle) {
    const Listener live("127.0.0.1", 0);
    const Listener deaf("127.0.0.2", live.m_port, true);
    const Listener deaf6("::1", live.m_port, true);
    ASSERT_TRUE(live.m_isOpen && deaf.m_isOpen);
    struct Case {
        std::vector<const char*> hosts;  ///< Nothing listens on 127.0.0.3 and behind.
        std::int32_t result;
        int least, most;  ///< Milliseconds.
    };
    const std::vector<Case> cases = {
        {{"127.0.0.1"}, 0, 0, 100},
        {{"127.0.0.3", "127.0.0.4", "127.0.0.1"}, 0, 0, 100},
        {{"127.0.0.2", "127.0.0.1"}, 0, 200, 300},
        {{"::1", "127.0.0.1"}, 0, deaf6.m_isOpen ? 200 : 0, 300},
        {{"127.0.0.2", "127.0.0.3", "127.0.0.1"}, 0, 200, 300},
        {{"127.0.0.3", "127.0.0.4"}, platform::kSocketConnectionRefused, 0, 100},
        {{"127.0.0.2", "127.0.0.3"}, kTransportConnectTimedOut, 600, 900},
        {{}, platform::kSocketNoData, 0, 100},
    };
    for (const Case& c : cases) {
        std::vector<SocketAddress> addresses;
        for (const char* host : c.hosts) {
            EXPECT_EQ(platform::resolveAddresses(host, live.m_port, addresses), 0);
        }
        long time = c.most + 1;
        // Another try where the machine was too busy.
        for (int tries = 0; tries < 5 && time > c.most; ++tries) {
            platform::SocketHandle socket = platform::kNoSocket;
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(RaceAddresses(addresses, 700, socket), c.result);
            time = (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
            EXPECT_GE(time, c.least) << &c - cases.data();
            EXPECT_EQ(socket != platform::kNoSocket, c.result == 0);
            EXPECT_EQ(platform::peerIsLoopback(socket), c.result == 0);
            platform::closeSocket(socket);
        }
        EXPECT_LE(time, c.most) << &c - cases.data();
    }
}

TEST(AddressRace, FamiliesTakeTurns) {
    std::vector<SocketAddress> addresses;
    for (const char* host : {"::2", "[::3]", "::4", "127.0.0.1", "127.0.0.2"}) {
        ASSERT_EQ(platform::resolveAddresses(host, 25, addresses), 0);
    }
    std::string order;
    for (const SocketAddress& address : InterleaveFamilies(addresses)) {
        order += address.isIpv6() ? "6" : "4";
    }
    EXPECT_EQ(order, "64646");
}

TEST(AddressRace, AHostWithIpv6OnlyIsReachedByCurrentRulesOnly) {
    const Listener live("::1", 0);
    if (!live.m_isOpen) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    CZncTcpSocket socket;
    EXPECT_NE(socket.Connect("::1", live.m_port, 1000), 0);
    EXPECT_EQ(socket.ConnectToAny("::1", live.m_port, 1000), 0);
    EXPECT_TRUE(socket.PeerIsLoopback());
}

}  // namespace
}  // namespace tessolt
