/// The program `tessolt` as its users have it: every usual failure told so that they can act on it,
/// and its subcommands against the mail host of the examples.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "loopback_host.h"
#include "mail/mail_servers.h"
#include "support/scoped_settings.h"

namespace tessolt {
namespace {

namespace fs = std::filesystem;
using support::Identity;
using support::ScopedEnv;
using support::ScriptedServer;
using support::TemporaryFolder;
using support::TlsServerSetup;

struct Outcome {
    int code;
    std::string out, error;
};

class Shell : public ::testing::Test {
protected:
    Shell() {
        folder_.write("trusted.pem", mailIdentity().certificatePem() + expired().certificatePem() +
                                         otherName().certificatePem());
        fs::create_directory(folder_.file("queue"));
        for (const char* name : {"logo.png", "report.pdf"}) {
            folder_.write(name, std::string("content of ") + name);
        }
        folder_.write("password.txt", "wrong\n");
        fs::current_path(folder_.path());
    }
    ~Shell() override { fs::current_path("/"); }

    static const Identity& expired() {
        static const Identity made({.commonName = "localhost", .daysFrom = -3, .daysTo = -1});
        return made;
    }
    static const Identity& otherName() {
        static const Identity made({.commonName = "other.example"});
        return made;
    }
    /// Runs a line of the shell in the folder of the test.
    static Outcome run(const std::string& line) {
        const int status = std::system(("{ " + line + "\n} >out 2>err </dev/null").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, TemporaryFolder::read("out"),
                TemporaryFolder::read("err")};
    }
    static std::string place(std::uint16_t port, const char* host = "localhost") {
        return std::string(host) + ":" + std::to_string(port);
    }
    std::string smtp() const { return place(host_.smtpPort(), "127.0.0.1"); }
    std::string pop3() const { return place(host_.pop3Port(), "127.0.0.1"); }

    TemporaryFolder folder_;
    loopback::LoopbackHost host_{"ann", "secret"};
    const support::ScopedSettings settings_{"\"TrustFile\"=\"" + folder_.file("trusted.pem") +
                                            "\"\n\"Queue\"=\"" + folder_.file("queue") + "\""};
    const ScopedEnv path_{
        "PATH",
        (fs::path(TESSOLT_SHELL).parent_path().string() + ":" + std::getenv("PATH")).c_str()};
    const ScopedEnv password_{"TESSOLT_PASSWORD", "secret"};
};

constexpr const char* kSend = "tessolt send --from a@x.test --to b@x.test --text hi ";
constexpr const char* kMail = "EHLO:250-x~250 AUTH PLAIN|AUTH:235 in|";

/// A port whose queue of connections is full: no further one comes about.
class FullPort {
public:
    FullPort() : listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        auto* const plain = reinterpret_cast<sockaddr*>(&address_);
        EXPECT_EQ(::bind(listener_, plain, size), 0);
        EXPECT_EQ(::listen(listener_, 0), 0);
        ::getsockname(listener_, plain, &size);
        for (int i = 0; i < 4; ++i) {
            waiting_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            (void)::connect(waiting_.back(), plain, size);
        }
    }
    ~FullPort() {
        for (const int each : waiting_) {
            ::close(each);
        }
        ::close(listener_);
    }
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;
    std::uint16_t port() const { return ntohs(address_.sin_port); }

private:
    int listener_;
    sockaddr_in address_{};
    std::vector<int> waiting_;
};

/// The message alone has to say what went wrong and what to do.
TEST_F(Shell, EveryUsualFailureIsToldSoThatOneCanAct) {
    const FullPort full;
    struct Row {
        const char* name;
        std::string line;  ///< "%" is the place of the server.
        ScriptedServer::Script server;
        int code;
        std::vector<const char*> says;
    };
    const std::string send = std::string(kSend) + "-s % ";
    const std::string login = send + "-u ann ";
    const std::string tls = send + "--security tls ";
    const std::string fetch = "tessolt fetch -s % -u ann box ";
    const auto smtpWith = [](const std::string& changes) {
        return served(smtpPart(kMail + changes));
    };
    const auto tlsWith = [](const Identity& identity) {
        return served(smtpPart(), Tls::kFromStart, TlsServerSetup(identity));
    };
    static const Identity stranger({.commonName = "localhost"});
    const Row rows[] = {
        {"wrong port", send, served(pop3Part()), 3, {"another service", "465, 587 or 25"}},
        {"wrong port, POP3", fetch, served(smtpPart()), 3, {"another service", "995 or 110"}},
        {"TLS on a plain port", tls, served(smtpPart()), 4, {"doesn't speak TLS", "STARTTLS"}},
        {"plain on a TLS port",
         send + "--timeout 1",
         tlsWith(mailIdentity()),
         3,
         {"no welcome came within 1 s", "TLS from the start"}},
        {"name not found", std::string(kSend) + "-s no-such-host.invalid", {}, 3, {"name"}},
        {"refused",
         std::string(kSend) + "-s " + place(support::unusedPort()),
         {},
         3,
         {"refused", "Check host and port"}},
        {"timed out",
         std::string(kSend) + "--timeout 1 -s " + place(full.port(), "127.0.0.1"),
         {},
         3,
         {"no connection within 1 s", "firewall"}},
        {"unreachable",
         std::string(kSend) + "-s 224.0.0.1",
         {},
         3,
         {"network can't be reached", "routes"}},
        {"certificate expired", tls, tlsWith(expired()), 4, {"expired on", "renew"}},
        {"other name",
         tls,
         tlsWith(otherName()),
         4,
         {"wanted [localhost]", "other.example", "Use the host name"}},
        {"unknown issuer", tls, tlsWith(stranger), 4, {"isn't trusted", "TrustFile"}},
        {"login refused",
         login,
         smtpWith("AUTH:535 5.7.8 no"),
         5,
         {"login was refused", "535 5.7.8 no", "Check user name and password"}},
        {"login refused, POP3",
         fetch,
         served(pop3Part("PASS:-ERR no")),
         5,
         {"login was refused", "-ERR no", "Check user name and password"}},
        {"locked, POP3",
         fetch,
         served(pop3Part("PASS:-ERR [IN-USE] busy")),
         7,
         {"in use", "Another program"}},
        {"mechanism not offered",
         login,
         smtpWith("EHLO:250-x~250 AUTH GSSAPI"),
         5,
         {"only GSSAPI", "465 or 587"}},
        {"no login offered", login, smtpWith("EHLO:250 x"), 5, {"offers no login", "no user name"}},
        {"no TLS offered",
         login + "--security starttls ",
         smtpWith(""),
         4,
         {"offers no TLS", "465 (SMTP)"}},
        {"TLS required",
         send,
         smtpWith("MAIL:530 5.7.0 Must issue a STARTTLS command first"),
         5,
         {"wants TLS first", "530", "Use TLS"}},
        {"login required",
         send,
         smtpWith("MAIL:530 5.7.0 Authentication required"),
         5,
         {"login first", "user name and password"}},
        {"sender refused",
         send,
         smtpWith("MAIL:550 5.7.1 not you"),
         6,
         {"sender was refused", "550 5.7.1 not you", "sender's address"}},
        {"recipient refused",
         send,
         smtpWith("RCPT:550 5.1.1 who"),
         6,
         {"recipient was refused", "who", "recipient's address"}},
        {"above the limit",
         send,
         smtpWith("EHLO:250-x~250 SIZE 20"),
         6,
         {"takes at most 20", "smaller"}},
        {"too large", send, smtpWith(".:552 5.3.4 too big"), 6, {"larger", "too big", "smaller"}},
        {"mailbox full", send, smtpWith("RCPT:452 4.2.2 full"), 7, {"mailbox is full", "452"}},
        {"mailbox full for good", send, smtpWith("RCPT:552 full"), 6, {"mailbox is full", "552"}},
        {"greylisted",
         send,
         smtpWith("RCPT:451 4.7.1 greylisted"),
         7,
         {"puts it off", "greylisted", "some minutes"}},
        {"content refused", send, smtpWith(".:554 spam"), 6, {"message was refused", "spam"}},
        {"server closes", send, smtpWith(":421 busy"), 7, {"421 busy", "again"}},
        {"cut off",
         send,
         served([] {
             ServerPart part = smtpPart(kMail);
             part.faults["MAIL"] = [](support::ServerStream& stream) { stream.drop(); };
             return part;
         }()),
         3,
         {"connection was lost", "Try again"}},
        {"file not found",
         send + "--attach missing.pdf",
         smtpWith(""),
         8,
         {"missing.pdf: No such file", "Check the path"}},
        {"disk full", "tessolt error 550 >/dev/full", {}, 8, {"No space left on device"}},
        {"reader gone", "set -o pipefail; tessolt show big.eml | true", {}, 8, {"Broken pipe"}},
    };
    folder_.write("big.eml", "\n" + std::string(1'000'000, 'x'));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string line = row.line;
        std::unique_ptr<ScriptedServer> server;
        if (row.server) {
            server = std::make_unique<ScriptedServer>(row.server);
            line.replace(line.find('%'), 1, place(server->port()));
        }
        const Outcome outcome = run("bash -c '" + line + "'");
        EXPECT_EQ(outcome.code, row.code) << outcome.error;
        for (const char* words : row.says) {
            EXPECT_NE(outcome.error.find(words), std::string::npos)
                << words << " isn't in: " << outcome.error;
        }
    }
}

TEST_F(Shell, SendsFetchesShowsAndExtracts) {
    EXPECT_EQ(run(std::string(kSend) + "-s " + smtp() +
                  " -u ann --bcc c@x.test --subject 'Grüße 👋' --html '<b>' --inline logo.png "
                  "--attach report.pdf --header 'X-Note: 1'")
                  .code,
              0);
    const std::string fetch = "tessolt fetch -s " + pop3() + " -u ann --new ";
    EXPECT_NE(run(fetch + "box").out.find("1 saved\n"), std::string::npos);
    EXPECT_NE(run(fetch + "box").out.find("0 saved, 1 known before"), std::string::npos);
    EXPECT_EQ(run("cat box/*.eml").out, host_.mailbox().messages().at(0));
    EXPECT_NE(run(fetch + "--maildir --delete dir && cat dir/new/*").out.find("report.pdf"),
              std::string::npos);
    EXPECT_TRUE(host_.mailbox().messages().empty());

    const std::string shown = run("tessolt show box/*.eml").out;
    for (const char* words :
         {"Subject: Grüße 👋\n", "\n  multipart/mixed, ", "\n    multipart/alternative",
          "        image/png, ", ", report.pdf\n", "\nhi\n"}) {
        EXPECT_NE(shown.find(words), std::string::npos) << words << " isn't in: " << shown;
    }
    EXPECT_EQ(shown.find("c@x.test"), std::string::npos);
    EXPECT_EQ(run("tessolt extract box/*.eml --into files && cat box/*.eml | tessolt extract "
                  "--into files -")
                  .out,
              "files/logo.png\nfiles/report.pdf\nfiles/logo (2).png\nfiles/report (2).pdf\n");
    EXPECT_EQ(TemporaryFolder::read("files/report.pdf"), "content of report.pdf");

    EXPECT_EQ(
        run("tessolt send --eml box/*.eml -s " + smtp() + " --json | grep '\"sent\": true'").code,
        0);
    EXPECT_EQ(host_.mailbox().messages().at(0),
              TemporaryFolder::read(run("echo -n box/*.eml").out));
}

TEST_F(Shell, TellsWhoWasRefused) {
    const ScriptedServer server(served(smtpPart("RCPT:250 ok;550 5.1.1 who")));
    const Outcome outcome = run(std::string(kSend) + "--to c@x.test -s " + place(server.port()));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "sent to b@x.test\nrefused for c@x.test: 550 5.1.1 who\n");
}

// What can't be put on the disk stays on the server.
TEST_F(Shell, DeletesNothingThatIsNotSaved) {
    host_.mailbox().deliver("Subject: keep me\r\n\r\nx\r\n");
    fs::create_directory("dir");
    folder_.write("dir/new", "a file where a folder must be");
    EXPECT_EQ(run("tessolt fetch --maildir --delete dir -u ann -s " + pop3()).code, 8);
    EXPECT_EQ(host_.mailbox().messages().size(), 1U);
}

TEST_F(Shell, ShowsNothingThatATerminalObeys) {
    folder_.write("evil.eml",
                  "Subject: =?utf-8?q?a=1B[2Jb=C2=9B31m=E2=80=AEc?=\nContent-Type: text/plain; "
                  "charset=utf-8; name=\"x\ty\"\n\n\x1B]0;t\x07 \x7F\xC2\x85 end\n");
    const Outcome shown = run("tessolt show --all-headers evil.eml");
    EXPECT_EQ(shown.code, 0);
    EXPECT_TRUE(std::ranges::all_of(shown.out, [](char c) {
        return c < 0 || c >= ' ' || c == '\n';
    })) << shown.out;
    for (const char* units : {"\xC2\x9B", "\xC2\x85", "\xE2\x80\xAE", "\x7F"}) {
        EXPECT_EQ(shown.out.find(units), std::string::npos);
    }
    EXPECT_NE(shown.out.find("a␛[2Jb"), std::string::npos) << shown.out;
    const ScriptedServer server(served(smtpPart("MAIL:550 \x1B[31mred")));
    EXPECT_EQ(run(std::string(kSend) + "-s " + place(server.port())).error.find('\x1B'),
              std::string::npos);
}

TEST_F(Shell, ConvertsAndCountsWhatIsLost) {
    struct Row {
        const char* from;
        const char* to;
        std::string text, expected;
        int code;
        const char* says;
    };
    const std::string replacement = "\xEF\xBF\xBD";
    const Row rows[] = {
        {"cp1252", "utf-8",
         "Gr\xFC\xDF"
         "e \x80",
         "Grüße €", 0, ""},
        {"utf-8", "ISO-8859-1", "Grüße 👋я!",
         "Gr\xFC\xDF"
         "e !",
         1, "2 characters are lost"},
        {"utf-8", "koi8-r", "привет", "\xD0\xD2\xC9\xD7\xC5\xD4", 0, ""},
        {"utf-8", "iso-2022-jp", "日я本👋", "\x1B$BF|\x27qK\\\x1B(B", 1, "1 character is lost"},
        {"utf-8", "utf-16be", "a👋", std::string("\0a\xD8\x3D\xDC\x4B", 6), 0, ""},
        {"utf-16le", "utf-8", std::string("\x3D\xD8\x4B\xDC\xFD\xFF", 6), "👋" + replacement, 0, ""},
        {"utf-8", "utf-8",
         "a\xFF"
         "b",
         "a" + replacement + "b", 1, "1 character is lost"},
        {"gb18030", "utf-8", "\x94\x39\xD0\x39", "👋", 0, ""},
        {"utf-8", "utf-7", "a👋", "a+2D3cSw-", 0, ""},
        {"utf-8", "gb18030", "x", "", 2, "can't be converted"},
        {"utf-9", "utf-8", "x", "", 2, "no charset of the name utf-9"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.from) + " to " + row.to + ", " + row.text);
        folder_.write("text", row.text);
        const Outcome outcome =
            run(std::string("tessolt convert --from ") + row.from + " --to " + row.to + " text");
        EXPECT_EQ(outcome.out, row.expected);
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_NE(outcome.error.find(row.says), std::string::npos) << outcome.error;
    }
}

TEST_F(Shell, TellsErrorsSettingsAndHowItIsUsed) {
    EXPECT_NE(run("tessolt error 37411").out.find("Authorization failed\nCheck user name"),
              std::string::npos);
    EXPECT_EQ(run("tessolt error 12").code, 2);
    const std::string settings = run("tessolt settings --json").out;
    EXPECT_NE(settings.find("\"value\": \"" + folder_.file("queue")), std::string::npos)
        << settings;
    EXPECT_EQ(
        run("tessolt settings init new/file && TESSOLT_SETTINGS=new/file tessolt settings").code,
        0);
    EXPECT_EQ(run("tessolt settings init new/file").code, 8);
    EXPECT_EQ(run("TESSOLT_SETTINGS=/none tessolt settings").code, 8);
    const std::pair<const char*, const char*> kWrongUses[] = {
        {"tessolt", "tessolt: A subcommand is required\n`tessolt --help` tells more.\n"},
        {"tessolt sned",
         "tessolt: there is no subcommand \"sned\"\n`tessolt --help` tells more.\n"},
        {"tessolt send", "tessolt send: --server is required\n`tessolt send --help` tells more.\n"},
    };
    for (const auto& [line, told] : kWrongUses) {
        const Outcome outcome = run(line);
        EXPECT_EQ(outcome.code, 2) << line;
        EXPECT_EQ(outcome.error, told);
    }
    EXPECT_EQ(run("for c in send fetch show extract convert check error settings; do tessolt $c "
                  "--help || exit; done")
                  .code,
              0);
    // The manual and the completion know every option.
    const std::string man = TemporaryFolder::read(TESSOLT_PACKAGE_FOLDER "/tessolt.1");
    const std::string completion = TemporaryFolder::read(TESSOLT_PACKAGE_FOLDER "/tessolt.bash");
    const std::string words =
        run("for c in send fetch show extract convert check error settings; do "
            "tessolt $c --help; done | sed -n 's/^  .*\\(--[a-z0-9-]*\\).*/\\1/p' "
            "| sort -u")
            .out;
    for (std::size_t at = 0; at < words.size(); at = words.find('\n', at) + 1) {
        const std::string option = words.substr(at, words.find('\n', at) - at);
        std::string escaped;
        for (const char c : option) {
            escaped += c == '-' ? "\\-" : std::string(1, c);
        }
        EXPECT_NE(completion.find(option), std::string::npos) << option;
        EXPECT_TRUE(option == "--help" || man.find(escaped) != std::string::npos) << option;
    }
}

/// The usual jobs as users have them, but for where the servers are.
TEST_F(Shell, RunsTheScriptsOfTheExamples) {
    const ScriptedServer secureBox(served(pop3Part("CAPA:+OK~TOP~UIDL~."), Tls::kFromStart));
    const ScriptedServer secureSmtp(
        served(smtpPart("EHLO:250-x~250-STARTTLS~250 AUTH PLAIN|STAR:220 go|AUTH:235 in"),
               Tls::kOnCommand));
    folder_.write(
        "message.eml",
        "Subject: hello\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
        "--b\n\nthe letter\n--b\nContent-Disposition: attachment; filename=\"../a.txt\"\n\n"
        "attached\n--b--\n");
    fs::create_directory("outbox");
    for (const char* name : {"1", "2", "3"}) {
        folder_.write(std::string("outbox/") + name + ".eml",
                      "From: <ann@example.org>\nTo: <bob@example.org>\n\nhi\n");
    }
    struct Row {
        const char* script;
        std::vector<const char*> says;
    };
    const Row rows[] = {
        {"send_text", {"sent to bob@example.org"}},
        {"send_html", {"sent to bob@example.org"}},
        {"read_message", {"Subject: hello", "  multipart/mixed", "the letter", "\"depth\": 1"}},
        {"save_attachments", {"attachments/a.txt"}},
        {"fetch_and_delete", {"mail/one.eml", "2 saved"}},
        {"send_many", {"queued\nqueued\nqueued\n", "recipients=1"}},
        {"wrong_password", {"the password is wrong", "535"}},
        {"require_tls", {"sent to bob@example.org"}},
        {"queue_message", {"queued", "NEXT TRY"}},
        {"check_host", {"TLSv1.3", "for localhost", "trusted", "ann is welcome"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.script);
        const bool isSecure = std::string(row.script) == "require_tls";
        const std::string mail = isSecure ? place(secureSmtp.port()) : smtp();
        const Outcome outcome = run("sed 's/mail.example.org/" + mail + "/; s/pop.example.org/" +
                                    place(secureBox.port()) + "/' " TESSOLT_SCRIPT_FOLDER "/" +
                                    row.script + ".sh | bash -eo pipefail");
        EXPECT_EQ(outcome.code, 0) << outcome.error;
        for (const char* words : row.says) {
            EXPECT_NE((outcome.out + outcome.error).find(words), std::string::npos)
                << words << " isn't in: " << outcome.out << outcome.error;
        }
    }
    EXPECT_EQ(
        static_cast<std::size_t>(std::distance(fs::directory_iterator(TESSOLT_SCRIPT_FOLDER), {})),
        std::size(rows));
    EXPECT_EQ(host_.mailbox().messages().size(), 5U);
}

TEST_F(Shell, RunsTheBlockOfTheReadme) {
    folder_.write("message.eml", "Subject: hello\n\nthe letter\n");
    folder_.write("photo.jpg", "a photo");
    folder_.write("latin1.txt",
                  "Gr\xFC\xDF"
                  "e\n");
    const std::string readme = TemporaryFolder::read(TESSOLT_README);
    const std::size_t begin = readme.find("```sh\ntessolt ") + 6;
    ASSERT_NE(begin, 5U);
    folder_.write("block", readme.substr(begin, readme.find("```", begin) - begin));
    const Outcome outcome = run("sed 's/mail.example.org/" + smtp() + "/; s/pop.example.org/" +
                                pop3() + "/' block | bash -eo pipefail");
    EXPECT_EQ(outcome.code, 0) << outcome.error;
    EXPECT_NE(outcome.out.find("the letter"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("1 saved"), std::string::npos) << outcome.out;
}

}  // namespace
}  // namespace tessolt
