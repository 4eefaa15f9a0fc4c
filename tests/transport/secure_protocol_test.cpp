#include "transport/secure_protocol.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "platform/code_page.h"
#include "support/scoped_settings.h"
#include "support/temporary_folder.h"
#include "support/tls_peer.h"

namespace tessolt {
namespace {

using namespace std::string_literals;
using support::Delivery;
using support::Identity;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::TlsPeer;
using support::TlsServerSetup;

constexpr std::uint32_t kAmple = 10000;
constexpr const char* kHost = "mail.test";
const Identity& authority() {
    static const Identity made({.commonName = "Test Authority", .isAuthority = true});
    return made;
}
const Identity& serverIdentity() {
    static const Identity made(
        {.commonName = "server", .names = {"DNS:mail.test"}, .issuer = &authority()});
    return made;
}

/// The channel with its inner side open.
class Channel : public CZnSecureProtocol {
public:
    Channel() : CZnSecureProtocol("Channel") {}
    using CZnSecureProtocol::m_strCheckedName;
    using CZnSecureProtocol::SendRecords;

    std::string line(std::uint32_t timeoutMs = kAmple) {
        CZncString text("left over");
        const std::int32_t result = ReceiveLineSecure(text, timeoutMs);
        return result == 0 ? text.GetString() : std::to_string(result);
    }
    /// `count` bytes, or those that came before a failure, with its number behind them.
    std::string bytes(std::size_t count, std::uint32_t atOnce = 100000) {
        std::string all;
        std::vector<char> block(atOnce);
        while (all.size() < count) {
            std::uint32_t got = 0;
            const auto room = std::min(atOnce, static_cast<std::uint32_t>(count - all.size()));
            const std::int32_t result = ReceiveSecure(block.data(), room, got);
            if (result != 0) {
                return all + std::to_string(result);
            }
            all.append(block.data(), got);
            if (got == 0) {
                WaitForData(kAmple);
            }
        }
        return all;
    }
};

/// A channel in front of a server that runs `script` on each connection.
struct Session {
    explicit Session(ScriptedServer::Script script, Delivery delivery = Delivery::kWhole)
        : server(std::move(script), delivery) {
        channel.m_strHost = kHost;
        channel.m_strCheckedName = kHost;
        channel.SetLogFile(folder.file("log").c_str());
        EXPECT_EQ(channel.Connect("127.0.0.1", server.port(), kAmple), 0);
    }
    std::string log() const { return support::TemporaryFolder::read(folder.file("log")); }

    support::TemporaryFolder folder;
    ScriptedServer server;
    Channel channel;
};

/// Runs `talk` on an accepted TLS connection.
ScriptedServer::Script overTls(std::function<void(TlsPeer&)> talk, TlsServerSetup setup) {
    return [talk = std::move(talk), setup = std::move(setup)](ScriptedConnection& connection) {
        TlsPeer peer(connection, setup);
        if (peer.accept()) {
            talk(peer);
        } else {
            connection.stall();
        }
    };
}
ScriptedServer::Script overTls(std::function<void(TlsPeer&)> talk) {
    return overTls(std::move(talk), TlsServerSetup(serverIdentity()));
}

void tellServerName(TlsPeer& peer) {
    peer.send("[" + peer.serverName() + "]\r\n");
    peer.stall();
}

std::string pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i * 31 + i / 251);
    }
    return text;
}

class SecureVersions : public testing::TestWithParam<std::tuple<int, Delivery>> {
protected:
    TlsServerSetup setup() const {
        TlsServerSetup made(serverIdentity());
        made.version = std::get<0>(GetParam());
        return made;
    }
    Delivery delivery() const { return std::get<1>(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(All, SecureVersions,
                         testing::Combine(testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                                          testing::Values(Delivery::kWhole, Delivery::kBytes)));

TEST_P(SecureVersions, LinesComeWholeHoweverTheRecordsAreCut) {
    Session session(overTls(
                        [](TlsPeer& peer) {
                            peer.hold(true);
                            peer.send("one\r\ntwo\r\n");  // many lines in one record
                            peer.setRecordBytes(1);
                            peer.send("three\r\n");  // one line over many records
                            peer.setRecordBytes(16384);
                            peer.send("fo\rur\r\nfi\nve\r\n\r\r\n\r\n");
                            peer.send(std::string("a\0b\r\nrest", 9));
                            peer.hold(false);
                            peer.stall();
                        },
                        setup()),
                    delivery());
    ASSERT_EQ(session.channel.Handshake(), 0);
    for (const char* expected : {"one", "two", "three", "fo", "fi", "", "", "ab"}) {
        EXPECT_EQ(session.channel.line(), expected);
    }
    EXPECT_EQ(session.channel.bytes(1, 1), "r");
    EXPECT_EQ(session.channel.bytes(3, 2), "est");
    EXPECT_EQ(session.channel.line(20), "-1014");
}

TEST_P(SecureVersions, BytesSurviveNewKeysInTheMiddleAndACloseBehindThem) {
    const std::string text = pattern(50000);
    Session session(overTls(
                        [&](TlsPeer& peer) {
                            peer.send(text);
                            peer.rekey();
                            if (peer.readBytes(text.size()) == text) {
                                peer.rekey();
                                peer.send(text);
                                peer.readBytes(1);  // and closes without a word
                            }
                        },
                        setup()),
                    delivery());
    ASSERT_EQ(session.channel.Handshake(), 0);
    EXPECT_TRUE(session.channel.bytes(text.size(), 7000) == text);
    EXPECT_EQ(session.channel.SendRecords(text), 0);
    EXPECT_TRUE(session.channel.bytes(text.size()) == text);
    EXPECT_EQ(session.channel.SendRecords("x"), 0);
    EXPECT_EQ(session.channel.line(), "-9");
    EXPECT_FALSE(session.channel.IsConnected());
}

TEST(SecureProtocol, AnAnswerOwedToAServerThatHasGoneCostsNothing) {
    TlsServerSetup setup(serverIdentity());
    setup.version = TLS1_3_VERSION;
    Session session(overTls(
        [](TlsPeer& peer) {
            peer.hold(true);
            peer.rekey();
            peer.send("last\r\n" + std::string(100000, 'x') + "\r\n");
            peer.hold(false);
        },
        setup));
    ASSERT_EQ(session.channel.Handshake(), 0);
    session.server.receivedBy(1);
    EXPECT_EQ(session.channel.line(), "last");
    EXPECT_EQ(session.channel.line().size(), 100000u);
    EXPECT_EQ(session.channel.line(), "-9");
}

TEST(SecureProtocol, EchoesEverySizeAroundARecord) {
    constexpr std::size_t kSizes[] = {1, 16383, 16384, 16385, 3000000};
    Session session(overTls([&](TlsPeer& peer) {
        for (const std::size_t size : kSizes) {
            peer.send(peer.readBytes(size + 2));
        }
        peer.stall();
    }));
    ASSERT_EQ(session.channel.Handshake(), 0);
    for (const std::size_t size : kSizes) {
        CZncString text(std::string(size, 'x'));
        EXPECT_EQ(session.channel.SendSecure(text), 0);
        EXPECT_TRUE(session.channel.bytes(size + 2) == text.GetString());
    }
}

TEST(SecureProtocol, SendsNothingWithoutAChannel) {
    Session session([](ScriptedConnection& connection) { connection.send("in the clear\r\n"); });
    EXPECT_EQ(session.channel.Handshake(), -1007);
    CZncString text("QUIT");
    EXPECT_EQ(session.channel.SendSecure(text), -1009);
    EXPECT_EQ(text, "QUIT");
    EXPECT_EQ(session.channel.line(), "-1009");
    EXPECT_EQ(session.channel.CloseSecure(), 0);
    EXPECT_EQ(session.log(), "");
}

TEST(SecureProtocol, TheEndOfAChannelShowsInItsKind) {
    struct Case {
        const char* name;
        std::function<void(ScriptedConnection&, TlsPeer&)> end;
        const char* expected;
    };
    const Case cases[] = {
        {"close without notice", [](auto& c, auto&) { c.drop(); }, "-9"},
        {"close with notice", [](auto& c, auto& p) { p.closeNotify(), c.drop(); }, "-9"},
        {"notice and no close", [](auto& c, auto& p) { p.closeNotify(), c.stall(); }, "-1014"},
        {"alert", [](auto& c, auto& p) { p.alert(), c.stall(); }, "-1011"},
        {"forged record",
         [](auto& c, auto&) { c.send(std::string("\x17\x03\x03\x00\x04oops", 9)), c.stall(); },
         "-1011"},
        {"reset", [](auto& c, auto&) { c.delay(std::chrono::milliseconds(50)), c.reset(); },
         "-10"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Session session([&](ScriptedConnection& connection) {
            TlsPeer peer(connection, TlsServerSetup(serverIdentity()));
            peer.accept();
            peer.send("last words\r\n");
            c.end(connection, peer);
        });
        ASSERT_EQ(session.channel.Handshake(), 0);
        EXPECT_EQ(session.channel.line(), "last words");
        EXPECT_EQ(session.channel.line(200), c.expected);
        // Nor does it say anything else afterwards, as long as there is a connection.
        if (session.channel.IsConnected()) {
            EXPECT_EQ(session.channel.line(50), c.expected);
        }
    }
}

TEST(SecureProtocol, ALineIsBounded) {
    Session session(overTls([](TlsPeer& peer) {
        peer.send(std::string(kMaxLineBytes, 'x') + "\r\n");
        peer.send(std::string(kMaxLineBytes + 3, 'y'));
        peer.stall();
    }));
    ASSERT_EQ(session.channel.Handshake(), 0);
    EXPECT_EQ(session.channel.line().size(), kMaxLineBytes);
    EXPECT_EQ(session.channel.line(), "-8");
}

TEST(SecureProtocol, LogsWhatWasNegotiated) {
    constexpr struct {
        int version;
        const char *ciphers, *lines;
    } kCases[] = {{TLS1_3_VERSION, "TLS_AES_256_GCM_SHA384",
                   "Protocol: [0x2000]|Cipher: [0x6610]|Cipher strength: [256]|Hash: [0x800d]"},
                  {TLS1_3_VERSION, "TLS_AES_128_GCM_SHA256",
                   "Protocol: [0x2000]|Cipher: [0x660e]|Cipher strength: [128]|Hash: [0x800c]"},
                  {TLS1_3_VERSION, "TLS_CHACHA20_POLY1305_SHA256",
                   "Protocol: [0x2000]|Cipher: [0x0]|Cipher strength: [256]|Hash: [0x800c]"},
                  {TLS1_2_VERSION, "ECDHE-ECDSA-AES128-SHA",
                   "Protocol: [0x800]|Cipher: [0x660e]|Cipher strength: [128]|Hash: [SHA]"}};
    for (const auto& c : kCases) {
        TlsServerSetup setup(serverIdentity());
        setup.version = c.version;
        (c.version == TLS1_3_VERSION ? setup.ciphers13 : setup.ciphers12) = c.ciphers;
        Session session(overTls([](TlsPeer& peer) { peer.stall(); }, setup));
        ASSERT_EQ(session.channel.Handshake(), 0) << c.ciphers;
        std::string log = session.log();
        std::string lines;
        for (std::size_t at = log.find("] \t"); at != std::string::npos;
             at = log.find("] \t", at)) {
            at += 3;
            lines += (lines.empty() ? "" : "|") + log.substr(at, log.find("\r\n", at) - at);
        }
        EXPECT_EQ(lines, c.lines + "|Key exchange: [0xae06]|Key exchange: [253]"s);
        EXPECT_NE(log.find("] Secure connection details:\r\n"), std::string::npos);
        EXPECT_TRUE(log.ends_with("] Server certificate not checked\r\n"));
    }
}

TEST(SecureProtocol, TellsTheServerTheHostUnlessItIsAnAddress) {
    for (const char* name : {"mail.test", "127.0.0.1", "::1", ""}) {
        Session session(overTls(tellServerName));
        session.channel.m_strHost = name;
        ASSERT_EQ(session.channel.Handshake(), 0);
        EXPECT_EQ(session.channel.line(), name == std::string(kHost) ? "[mail.test]" : "[]");
    }
}

TEST(SecureProtocol, ShowsTheFirstClientCertificateThatTheServerAccepts) {
    const Identity other({.commonName = "Other Authority", .isAuthority = true});
    const Identity right({.commonName = "right", .issuer = &authority(), .usage = "clientAuth"});
    const Identity second({.commonName = "second", .issuer = &authority()});
    const Identity forServers(
        {.commonName = "servers", .issuer = &authority(), .usage = "serverAuth"});
    const Identity wrong({.commonName = "wrong", .issuer = &other});
    const auto pem = [](const Identity& it) { return it.keyPem() + it.certificatePem(); };

    const struct {
        const char* name;
        std::vector<std::string> files;
        const char* seen;
    } cases[] = {
        {"none there", {}, "[]"},
        {"wrong issuer", {pem(wrong)}, "[]"},
        {"not for clients", {pem(forServers)}, "[]"},
        {"rubbish", {"no certificate", right.certificatePem(), pem(right).substr(0, 700)}, "[]"},
        {"key of another", {wrong.keyPem() + right.certificatePem()}, "[]"},
        {"first that works", {pem(wrong), pem(forServers), pem(right), pem(second)}, "[right]"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const support::TemporaryFolder certificates;
        for (std::size_t i = 0; i < c.files.size(); ++i) {
            certificates.write(std::to_string(i) + ".pem", c.files[i]);
        }
        std::filesystem::create_directory(certificates.file("a folder"));
        const support::ScopedSettings settings("\"ClientCertificates\"=\"" + certificates.path() +
                                               "\"\n");
        TlsServerSetup setup(serverIdentity());
        setup.clientAuthority = {authority()};
        const auto tellName = [](TlsPeer& peer) {
            peer.send("[" + peer.clientName() + "]\r\n");
            peer.stall();
        };
        Session session(overTls(tellName, setup));
        ASSERT_EQ(session.channel.Handshake(), 0);
        EXPECT_EQ(session.channel.line(), c.seen);
    }
    const support::ScopedSettings missing("\"ClientCertificates\"=\"/no/such/folder\"\n");
    Session session([](ScriptedConnection& connection) { connection.stall(); });
    EXPECT_EQ(session.channel.Handshake(), -1006);
}

TEST(SecureProtocol, ChecksNameAndChainOfTheServerWhereTheSettingAsksForIt) {
    const Identity between({.commonName = "Between", .issuer = &authority(), .isAuthority = true});
    const std::vector<std::string> names = {"DNS:mail.test", "DNS:*.wild.test", "IP:127.0.0.1"};
    const Identity good({.commonName = "g", .names = names, .issuer = &authority()});
    const Identity deep({.commonName = "d", .names = names, .issuer = &between});
    const Identity nameless({.commonName = "c.test", .issuer = &authority()});
    const Identity addressed(
        {.commonName = "c.test", .names = {"IP:127.0.0.1"}, .issuer = &authority()});
    const Identity stranger({.commonName = "Stranger"});
    const Identity unknown({.commonName = "u", .names = names, .issuer = &stranger});
    const Identity expired(
        {.commonName = "e", .names = names, .issuer = &authority(), .daysFrom = -9, .daysTo = -1});
    const Identity early(
        {.commonName = "f", .names = names, .issuer = &authority(), .daysFrom = 5});
    const Identity beyond(
        {.commonName = "i", .names = {"DNS:xn--bcher-kva.test"}, .issuer = &authority()});
    const struct {
        const Identity& shown;
        std::vector<Identity> chain;
        const char* checked;
        const char* cause;           ///< Empty: the channel comes up.
        const char* told = nullptr;  ///< The server name, where it isn't the one to check.
    } cases[] = {
        {good, {}, "MAIL.test", ""},
        {good, {}, "a.wild.test", ""},
        {good, {}, "a.b.wild.test", "name differs"},
        {good, {}, "mail.test.", "", "mail.test"},
        {good, {}, ".wild.test", "there is no name to check it for"},
        {good, {}, "127.0.0.1", "", ""},
        {good, {}, "127.0.0.2", "name differs, wanted [127.0.0.2]"},
        {good,
         {},
         "mail.tes",
         "name differs, wanted [mail.tes], certificate is for [mail.test, *.wild.test, 127.0.0.1]"},
        {good, {}, "", "there is no name to check it for"},
        {expired, {}, "mail.test", "expired on "},
        {early, {}, "mail.test", "not yet valid, begins on "},
        {stranger, {}, "Stranger", "self-signed"},
        {unknown, {}, "mail.test", "unknown issuer [CN=Stranger]"},
        {nameless, {}, "c.test", ""},
        {addressed, {}, "c.test", "name differs, wanted [c.test], certificate is for [127.0.0.1]"},
        {beyond,
         {},
         "b\xC3\xBC"
         "cher.test",
         "",
         "xn--bcher-kva.test"},
        {beyond,
         {},
         "B\xC3\x9C"
         "CHER\xE3\x80\x82test.",
         "",
         "xn--bcher-kva.test"},
        {nameless, {}, "d.test", "name differs, wanted [d.test], certificate is for [c.test]"},
        {deep, {between}, "mail.test", ""},
        {deep, {}, "mail.test", "unknown issuer [CN=Between]"}};
    const platform::ScopedAnsiCodePage page(65001);
    const std::string asked = "\"TrustFile\"=\"";
    const support::TemporaryFolder folder;
    const support::ScopedSettings settings(
        asked + folder.write("trust", authority().certificatePem()) + "\"\n");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.checked);
        TlsServerSetup setup(c.shown);
        setup.chain = c.chain;
        Session session(overTls(tellServerName, setup));
        session.channel.m_strHost = "";
        session.channel.m_strCheckedName = c.checked;
        session.channel.m_rules.verifyServer = true;
        const bool refused = *c.cause != '\0';
        EXPECT_EQ(session.channel.Handshake(), refused ? -1007 : 0);
        EXPECT_TRUE(refused ||
                    session.channel.line() == "[" + std::string(c.told ? c.told : c.checked) + "]");
        const std::string line = "] Server certificate refused: ";
        EXPECT_EQ(session.log().find(line + c.cause) != std::string::npos, refused);
        EXPECT_EQ(session.log().find("not checked"), std::string::npos);
    }
    // Whatever stands in the file is trusted, an authority or not. The system doesn't know ours,
    // and a file that isn't there knows nobody.
    const std::pair<std::string, std::int32_t> trusts[] = {
        {folder.write("between", between.certificatePem()), 0},
        {folder.write("server", deep.certificatePem()), 0},
        {"", -1007},
        {folder.path(), -1003},
        {"/no/such/file", -1003}};
    for (const auto& [trust, result] : trusts) {
        const support::ScopedSettings other(asked + trust + "\"\n");
        Session session(overTls(tellServerName, TlsServerSetup(deep)));
        session.channel.m_rules.verifyServer = true;
        EXPECT_EQ(session.channel.Handshake(), result) << trust;
    }
}

TEST(SecureProtocol, NoHandshakeWithSettingsThatCannotBeRead) {
    const support::TemporaryFolder folder;
    const support::ScopedEnv settings("TESSOLT_SETTINGS", folder.path().c_str());
    Session session([](ScriptedConnection& connection) { connection.stall(); });
    EXPECT_EQ(session.channel.Handshake(), -1003);
    EXPECT_TRUE(session.log().ends_with("] The settings can't be used: " + folder.path() +
                                        ": Is a directory\r\n"));
}

TEST(SecureProtocol, CheckingTheServerCostsLittle) {
    constexpr int kRoots = 140;
    constexpr int kRounds = 20;
    constexpr double kMostMillis = 2;
    const support::TemporaryFolder folder;
    std::string roots = authority().certificatePem();
    for (int i = 0; i < kRoots; ++i) {
        roots += Identity({.commonName = std::to_string(i), .isAuthority = true}).certificatePem();
    }
    folder.write("roots", roots);
    const auto millis = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
    };
    double spent[2] = {};
    for (const bool checks : {false, true}) {
        const support::ScopedSettings settings("\"TrustFile\"=" + folder.file("roots") + "\n");
        for (int round = 0; round <= kRounds; ++round) {
            Session session(overTls([](TlsPeer& peer) { peer.stall(); }));
            session.channel.m_rules.verifyServer = checks;
            const double start = millis();
            ASSERT_EQ(session.channel.Handshake(), 0);
            // The first one loads the roots.
            spent[checks] += round == 0 ? 0 : millis() - start;
        }
    }
    EXPECT_LT((spent[1] - spent[0]) / kRounds, kMostMillis);
}

TEST(SecureProtocol, LeavesTheErrorsOfTheProgramAlone) {
    const auto raise = [] {
        ERR_clear_error();
        ERR_raise_data(ERR_LIB_USER, 7, "of the program");
        ERR_raise(ERR_LIB_SYS, EACCES);
    };
    raise();
    Session good(overTls([](TlsPeer& peer) {
        peer.send("one\r\n");
        peer.alert();
        peer.stall();
    }));
    EXPECT_EQ(good.channel.Handshake(), 0);
    EXPECT_EQ(good.channel.line(), "one");
    EXPECT_EQ(good.channel.line(), "-1011");
    Session bad([](ScriptedConnection& connection) { connection.send("in the clear\r\n"); });
    EXPECT_EQ(bad.channel.Handshake(), -1007);
    const char* text = nullptr;
    int flags = 0;
    EXPECT_EQ(ERR_GET_REASON(ERR_peek_error_data(&text, &flags)), 7);
    EXPECT_STREQ(text, "of the program");
    EXPECT_EQ(ERR_GET_LIB(ERR_get_error()), ERR_LIB_USER);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), EACCES);
    EXPECT_EQ(ERR_get_error(), 0u);
}

TEST(SecureProtocol, AHandshakeThatIsTooLongIsAFailedRead) {
    std::vector<std::string> names(8000);
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i] = "DNS:" + std::to_string(i) + ".long.test";
    }
    const Identity endless({.commonName = "e", .names = names});
    Session session(overTls([](TlsPeer& peer) { peer.stall(); }, TlsServerSetup(endless)));
    EXPECT_EQ(session.channel.Handshake(), -1005);
}

TEST(SecureProtocol, ASocketThatIsNoneAnyMoreFailsOnlyWithinARecord) {
    for (const char* begun : {"", "\x17\x03\x03"}) {
        Session session([&](ScriptedConnection& connection) {
            TlsPeer peer(connection, TlsServerSetup(serverIdentity()));
            peer.accept();
            connection.send(begun);
            connection.stall();
        });
        ASSERT_EQ(session.channel.Handshake(), 0);
        EXPECT_EQ(session.channel.line(300), "-1014");
        const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(none, support::socketTo(session.server.port()));
        close(none);
        EXPECT_EQ(session.channel.line(50), *begun != '\0' ? "-1004" : "-1014");
    }
}

}  // namespace
}  // namespace tessolt
