#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "foundation/rules_from_settings.h"
#include "mail_servers.h"
#include "support/process_memory.h"
#include "support/scoped_settings.h"

namespace tessolt {
namespace {

using support::Identity;
using support::ScopedSettings;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::TemporaryFolder;
using support::TlsServerSetup;
using namespace std::chrono_literals;

constexpr MailClient::Route kRoutes[] = {MailClient::kSmtpTls, MailClient::kStartTls,
                                         MailClient::kPop3Tls};

TEST(SecureSessions, WorkWhateverTheServerDoesWithItsRecords) {
    const Identity authority({.commonName = "Authority", .isAuthority = true});
    const Identity right({.commonName = "right", .issuer = &authority});
    const Identity wrong({.commonName = "wrong"});
    struct Case {
        const char* name;
        std::size_t recordBytes;
        const Identity* shown;  ///< A server that asks for a certificate gets this one.
        bool must;
        bool works;
    };
    const Case cases[] = {{"many lines in a record", 16384, nullptr, false, true},
                          {"a line over many records", 1, nullptr, false, true},
                          {"certificate that may be wrong", 16384, &wrong, false, true},
                          {"wrong certificate", 16384, &wrong, true, false},
                          {"right certificate", 16384, &right, true, true}};
    // Up to TLS 1.2 a refusal is part of the handshake; then it comes in place of the first reply.
    constexpr std::int32_t kRefused[2][std::size(kRoutes)] = {{37414, 37706, 37504},
                                                              {37404, 37403, 37521}};
    for (const Case& c : cases) {
        const TemporaryFolder folder;
        folder.write("client.pem", c.shown ? c.shown->keyPem() + c.shown->certificatePem() : "");
        const ScopedSettings settings("\"ClientCertificates\"=\"" + folder.path() + "\"\n");
        for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
            for (std::size_t i = 0; i < std::size(kRoutes); ++i) {
                SCOPED_TRACE(c.name + std::to_string(i));
                TlsServerSetup setup(mailIdentity());
                setup.version = version;
                setup.recordBytes = c.recordBytes;
                setup.clientMust = c.must;
                if (c.shown) {
                    setup.clientAuthority = {authority};
                }
                MailClient client(kRoutes[i]);
                const ScriptedServer server(served(client.part(), client.tls(), setup));
                EXPECT_EQ(client.talk(server.port()),
                          c.works ? 0 : kRefused[version == TLS1_3_VERSION ? 1 : 0][i]);
            }
        }
    }
}

TEST(SecureSessions, AFailedHandshakeEndsInSilenceAndInTime) {
    constexpr std::uint32_t kLimit = 100;
    TlsServerSetup halfWay(mailIdentity());
    halfWay.version = TLS1_2_VERSION;
    halfWay.flights = 1;
    const std::string alert("\x15\x03\x03\x00\x02\x02\x28", 7);
    const auto trickle = [](ScriptedConnection& c) {
        c.send(std::string("\x16\x03\x03\x40\x00\x02\x00\x3f\xf0", 9));
        while (c.send("\x01")) {
            c.delay(5ms);
        }
    };
    struct Case {
        const char* name;
        ScriptedServer::Script script;
        std::int32_t afterStartTls;  ///< The other routes have one number for all.
    };
    const Case cases[] = {
        {"garbage", [](auto& c) { c.send(std::string(300, '\xEE')), c.stall(); }, 37706},
        {"plain text", [](auto& c) { c.readSome(), c.send("220 hi\r\n"), c.stall(); }, 37706},
        {"injected reply", [](auto& c) { c.send("250 forged\r\n"), c.stall(); }, 37706},
        {"injected reply, close", [](auto& c) { c.send("250 ok\r\n"), c.readSome(); }, 37706},
        {"alert", [&](auto& c) { c.readSome(), c.send(alert), c.stall(); }, 37706},
        {"alert, close", [&](auto& c) { c.readSome(), c.send(alert); }, 37706},
        {"close", [](auto& c) { c.readSome(); }, 37704},
        {"reset", [](auto& c) { c.readSome(), c.reset(); }, 37704},
        {"silence", [](auto& c) { c.stall(); }, 37704},
        {"half a record",
         [](auto& c) { c.send(std::string("\x16\x03\x03\x40\x00\x02", 6)), c.stall(); }, 37704},
        {"half way", [&](auto& c) { support::TlsPeer(c, halfWay).accept(), c.stall(); }, 37704},
        {"trickle", trickle, 37704}};
    for (const Case& c : cases) {
        for (const auto route : kRoutes) {
            SCOPED_TRACE(c.name + std::to_string(route));
            MailClient client(route);
            const bool startTls = route == MailClient::kStartTls;
            const std::int32_t expected = startTls          ? c.afterStartTls
                                          : client.isPop3() ? 37504
                                                            : 37414;
            expectWithin(kLimit, [&](std::uint32_t limit) {
                const TemporaryFolder folder;
                client.setLimits(limit);
                client.smtp.SetLogFile(folder.file("log").c_str());
                const ScriptedServer server([&](ScriptedConnection& connection) {
                    if (startTls) {
                        connection.send("220 hello\r\n"), connection.readLine();
                        connection.send("250-x\r\n250-STARTTLS\r\n250 x\r\n"),
                            connection.readLine();
                        connection.send("220 go\r\n");
                    }
                    c.script(connection);
                });
                const auto start = std::chrono::steady_clock::now();
                const std::int32_t number = client.talk(server.port());
                const std::string outcome = outcomeOf(number, expected, start, limit);
                const std::string received = server.receivedBy(1).at(0);
                const std::string log = TemporaryFolder::read(folder.file("log"));
                const std::string line = "] Perform secure handshake failed\r\n";
                const bool silent = received.find("QUIT") == std::string::npos &&
                                    received.find("AUTH") == std::string::npos;
                const bool logged = client.isPop3() || log.find(line) != std::string::npos;
                return outcome + (silent ? "" : " and spoke in the clear") + (logged ? "" : log);
            });
            client.setLimits(5000);
            const ScriptedServer healthy(served(client.part(), client.tls()));
            EXPECT_EQ(client.talk(healthy.port()), 0);
        }
    }
}

TEST(SecureSessions, TheServerIsCheckedWhereTheSettingAsksForIt) {
    const Identity good({.commonName = "g", .names = {"DNS:localhost"}});
    constexpr std::int32_t kRefused[] = {37414, 37706, 37504};
    const TemporaryFolder folder;
    const std::string trust =
        "\"TrustFile\"=\"" + folder.write("trust", good.certificatePem()) + "\"\n";
    for (const bool asked : {true, false}) {
        const ScopedSettings settings(trust + (asked ? "\"VerifyServer\"=\"1\"\n" : ""));
        for (const Identity& shown : {good, mailIdentity()}) {
            for (std::size_t i = 0; i < std::size(kRoutes); ++i) {
                MailClient client(kRoutes[i]);
                client.setRules(rulesFromSettings());
                const ScriptedServer server(
                    served(client.part(), client.tls(), TlsServerSetup(shown)));
                const bool refused = asked && shown.certificate() != good.certificate();
                EXPECT_EQ(client.talk(server.port()), refused ? kRefused[i] : 0);
            }
        }
    }
}

TEST(SecureSessions, AThousandOfThemLeaveNothingBehind) {
    const auto connect = [](int rounds) {
        for (const auto route : kRoutes) {
            MailClient client(route);
            const ScriptedServer server(served(client.part(), client.tls()));
            for (int round = 0; round < rounds; ++round) {
                ASSERT_EQ(client.connect(server.port()), 0);
                client.disconnect();
            }
        }
    };
    connect(30);
    const long resident = support::memoryKib("VmRSS");
    const std::ptrdiff_t files = support::openFiles();
    connect(334);
    EXPECT_EQ(support::openFiles(), files);
    if (!support::kKeepsFreedMemory) {
        EXPECT_LT(support::memoryKib("VmRSS"), resident + 1024);
    }
}

}  // namespace
}  // namespace tessolt
