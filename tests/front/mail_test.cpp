/// include/tessolt/mail.h as its users have it: the usual jobs, against the mail host of the
/// examples.
#include <gtest/gtest.h>
#include <tessolt/mail.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "loopback_host.h"
#include "mail/mail_servers.h"
#include "support/scoped_settings.h"

namespace tessolt {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class Front : public ::testing::Test {
protected:
    SessionOptions at(std::uint16_t port, const char* password = "secret") const {
        SessionOptions options;
        options.host = "127.0.0.1";
        options.port = port;
        options.user = "ann";
        options.password = password;
        return options;
    }
    SessionOptions smtp() const { return at(host_.smtpPort()); }
    SessionOptions pop3() const { return at(host_.pop3Port()); }
    static Message letter(const std::string& subject) {
        Message m;
        m.from("ann@example.org", "Ann").to("bob@example.org").subject(subject).text("Hello.\r\n");
        return m;
    }
    std::string delivered() { return host_.mailbox().messages().back(); }

    loopback::LoopbackHost host_{"ann", "secret"};
    support::TemporaryFolder folder_;
};

TEST_F(Front, SendsText) {
    Message m;
    m.from("ann@example.org", "Ann").to("bob@example.org").subject("Grüße 👋").text("Привет.");
    SmtpSession session(smtp());
    session.send(m);
    const Message read = Message::parse(delivered());
    EXPECT_EQ(read.subject() + read.text() + read.from_name(), "Grüße 👋Привет.Ann");
    EXPECT_EQ(session.recipients().at(0).address, "bob@example.org");
    EXPECT_TRUE(session.recipients().at(0).accepted());
    EXPECT_EQ(session.last_reply().code, 250);
    EXPECT_EQ(session.capabilities().at(0), "8BITMIME");
}

TEST_F(Front, SendsHtmlWithImageAndAttachmentFromMemory) {
    const std::vector<unsigned char> image = {0x89, 'P', 'N', 'G', 0, 0xFF};
    Message m;
    m.from("ann@example.org").to("bob@example.org", "Боб").subject("Bild").text("Ein Bild.");
    m.html("<p>Ein Bild: <img src=\"cid:logo@x\"></p>").embed(image, "logo.png", "logo@x");
    m.attach(std::string_view("a\0b", 3), "Отчёт 日本.bin")
        .date(std::chrono::system_clock::time_point(1709647389s), 60);
    m.message_id("<1@example.org>").references({"<a@b>", "<c@d>"}).header("X-Note", "Größe");
    SmtpSession(smtp()).send(m);

    const Message read = Message::parse(delivered());
    ASSERT_EQ(read.attachments().size(), 2U);
    const Attachment logo = read.attachments()[0];
    const Attachment data = read.attachments()[1];
    EXPECT_EQ(logo.content_type() + " " + logo.content_id(), "image/png logo@x");
    EXPECT_TRUE(logo.is_inline() && !data.is_inline());
    EXPECT_EQ(logo.bytes(), std::string(image.begin(), image.end()));
    EXPECT_EQ(data.name(), "Отчёт 日本.bin");
    EXPECT_EQ(data.bytes(), std::string("a\0b", 3));
    EXPECT_EQ(read.header("Date"), "Tue, 5 Mar 2024 15:03:09 +0100");
    EXPECT_EQ(read.header("Message-ID") + read.header("References") + read.header("X-Note"),
              "<1@example.org><a@b> <c@d>Größe");
    const std::string source = delivered();
    std::vector<std::size_t> places;
    for (const char* type : {"multipart/mixed", "multipart/alternative", "text/plain",
                             "multipart/related", "text/html", "image/png", "octet-stream"}) {
        places.push_back(source.find(type));
        EXPECT_NE(places.back(), std::string::npos) << type;
    }
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end())) << source;
    EXPECT_EQ(std::ranges::count_if(read.headers(), [](auto& h) { return h.name == "Date"; }), 1);
}

TEST_F(Front, SendsACopyToEach) {
    Message common = letter("to all");
    common.bcc("hidden@example.org").attach("bytes of it", "data.bin");
    SmtpSession session(smtp());
    for (const char* name : {"one@example.org", "two@example.org"}) {
        Message own = common;
        session.send(own.to(name));
        EXPECT_EQ(session.recipients().size(), 3U);
        EXPECT_EQ(Message::parse(delivered()).to(),
                  (std::vector<std::string>{"bob@example.org", name}));
    }
    EXPECT_EQ(common.to().size(), 1U);
    Message moved = std::move(common);
    common = moved;
    EXPECT_EQ(common.attachments().at(0).bytes(), "bytes of it");
}

TEST_F(Front, ReadsBytesInMemory) {
    const std::string source =
        "From mbox\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\nX:  a\n b\n\nhello\n";
    const Message m = Message::parse(source);
    EXPECT_EQ(m.raw(), source);
    EXPECT_EQ(m.subject(), "Grüße");
    ASSERT_EQ(m.headers().size(), 2U);
    EXPECT_EQ(m.headers()[1].name + "|" + m.headers()[1].value + "|" + m.headers()[1].raw,
              "X|a b|  a\n b");
}

TEST_F(Front, FetchesAndDeletesWhatWasSaved) {
    SmtpSession sender(smtp());
    for (const char* subject : {"one", "two", "three"}) {
        sender.send(letter(subject).attach("bytes of it", std::string(subject) + ".txt"));
    }
    std::vector<std::string> names;
    {
        Pop3Session mailbox(pop3());
        EXPECT_EQ(mailbox.list().size(), 3U);
        for (Message& mail : mailbox.messages()) {
            for (const Attachment& a : mail.attachments()) {
                names.push_back(a.save_to(folder_.path()).filename().string());
            }
            EXPECT_FALSE(mail.unique_id().empty());
            EXPECT_EQ(mail.raw(), host_.mailbox().messages()[std::size_t(mail.number()) - 1]);
            if (mail.subject() != "two") {
                mailbox.erase(mail);
            }
        }
        EXPECT_EQ(mailbox.fetch_header({2}).subject(), "two");
    }
    EXPECT_EQ(names, (std::vector<std::string>{"one.txt", "two.txt", "three.txt"}));
    int left = 0;
    for (Message& mail : Pop3Session(pop3()).messages()) {
        EXPECT_EQ(mail.subject(), "two");
        ++left;
    }
    EXPECT_EQ(left, 1);
}

TEST_F(Front, SendsManyOverOneConnectionWithProgress) {
    SmtpSession session(smtp());
    Progress last;
    for (int i = 0; i < 1000; ++i) {
        session.send(letter("mail " + std::to_string(i)), [&](Progress p) {
            last = p;
            return true;
        });
    }
    EXPECT_EQ(host_.mailbox().messages().size(), 1000U);
    EXPECT_TRUE(last.all > 200 && last.done == last.all) << last.done << "/" << last.all;
}

/// What an error tells.
template <class Action>
std::string errorOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return std::to_string(error.number()) + " " + error.what();
    }
    return "no error";
}

TEST_F(Front, ErrorsTellWhatWentWrong) {
    const std::string port = std::to_string(host_.smtpPort());
    EXPECT_EQ(
        errorOf([&] { SmtpSession(at(host_.smtpPort(), "wrong")); }),
        "37411 connect to 127.0.0.1:" + port +
            ": the login was refused; the server said: 535 authentication failed. Check user name "
            "and password. The user name is often the whole address, and some providers want "
            "a password made for mail programs.");
    EXPECT_EQ(errorOf([&] { Pop3Session(at(host_.pop3Port(), "wrong")); }).substr(0, 5), "37508");
    SessionOptions strict = smtp();
    strict.security = Security::starttls;
    EXPECT_EQ(errorOf([&] { SmtpSession{strict}; }).substr(0, 6), "37708 ");
    EXPECT_EQ(errorOf([&] { SmtpSession(smtp()).send(Message()); }).substr(0, 5), "37609");
    EXPECT_EQ(errorOf([&] { Message().to("nobody"); }).substr(0, 5), "37610");
    EXPECT_EQ(errorOf([&] { Message().attach("/no/file"); }),
              "37605 /no/file: No such file or directory. Check the path.");
    EXPECT_EQ(errorOf([&] { Message().header("A", "b\r\nBcc: c@d"); }).substr(0, 5), "36002");
    EXPECT_EQ(errorOf([&] { Message().header("A:", "b"); }).substr(0, 5), "36002");
    EXPECT_EQ(errorOf([&] { Message().attach("x", "a\r\nb"); }).substr(0, 5), "36002");
    EXPECT_EQ(errorOf([&] { Message().html("h").embed("x", "a", "b c"); }).substr(0, 5), "36002");
    const Status status = SmtpSession(std::nothrow, strict).send(std::nothrow, letter("s"));
    EXPECT_TRUE(!status && status.stage == Stage::connect && status.number == 37708);
}

TEST_F(Front, SendsBytesByAnEnvelopeOfTheirOwn) {
    SmtpSession session(smtp());
    const auto transfer = session.object().as<ITransfer>();
    const std::string bytes = "Bcc: c@d\nSubject: s\r\n\r\n.\r\nend";
    transfer->SendBytes(bytes.data(), bytes.size(), Text("a@b"), Text("e@f\ng@h\n"));
    EXPECT_EQ(delivered(), "Bcc: c@d\r\nSubject: s\r\n\r\n.\r\nend\r\n");
    ASSERT_EQ(session.recipients().size(), 2U);
    EXPECT_EQ(session.recipients()[1].address, "g@h");
    EXPECT_EQ(transfer->SendBytes(nullptr, 1, {}, {}), E_POINTER);
    LONG number = 0;
    const auto mailbox = CreateObject<IPop3>("Tessolt.Pop3");
    EXPECT_EQ(mailbox.as<ITransfer>()->SendBytes("x", 1, {}, {}), S_OK);
    mailbox->get_LastError(&number);
    EXPECT_EQ(number, 36002);
}

TEST_F(Front, QueuesAMessage) {
    const support::ScopedSettings settings("\"Queue\"=\"" + folder_.path() + "\"");
    queue(letter("later"), smtp());
    const auto first = fs::directory_iterator(folder_.path());
    ASSERT_NE(first, fs::directory_iterator());
    EXPECT_EQ(first->path().extension(), ".znq");
    EXPECT_EQ(Message::load(first->path()).subject(), "later");
}

TEST_F(Front, WorksInSeveralThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this, i] {
            SmtpSession session(smtp());
            session.send(letter("thread " + std::to_string(i)));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(host_.mailbox().messages().size(), 4U);
}

TEST_F(Front, WorksWithoutExceptions) {
    Message m;
    EXPECT_TRUE(m.from("ann@example.org").to(std::nothrow, "bob@example.org"));
    EXPECT_TRUE(m.bcc(std::nothrow, "eve@example.org"));
    EXPECT_EQ(m.cc(std::nothrow, "nobody").number, TESSOLT_ERROR_BAD_CC_ADDRESS);
    EXPECT_EQ(m.header(std::nothrow, "A:", "b").number, TESSOLT_ERROR_INVALID_ARGUMENT);
    const auto tooEarly = std::chrono::system_clock::time_point(std::chrono::hours(-24 * 36500));
    EXPECT_EQ(m.date(std::nothrow, tooEarly).number, TESSOLT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(m.attach(std::nothrow, "/no/file").number, TESSOLT_ERROR_OPEN_ATTACHMENT_FAILED);
    EXPECT_TRUE(m.attach(std::nothrow, "abc", "a.txt"));
    EXPECT_EQ(m.embed(std::nothrow, "x", "i.png", "b c").number, TESSOLT_ERROR_INVALID_ARGUMENT);
    std::string mime;
    EXPECT_TRUE(m.mime(std::nothrow, mime) && mime.find("a.txt") != mime.npos);
    SmtpSession sender(std::nothrow, smtp());
    EXPECT_TRUE(sender.send(std::nothrow, m));

    Pop3Session mailbox(std::nothrow, pop3());
    std::vector<MailboxEntry> entries;
    std::optional<Message> mail;
    ASSERT_TRUE(mailbox.list(std::nothrow, entries) && entries.size() == 1);
    EXPECT_TRUE(mailbox.fetch_header(std::nothrow, entries[0], mail) && mail);
    ASSERT_TRUE(mailbox.fetch(std::nothrow, entries[0], mail) && mail);
    std::string bytes;
    EXPECT_TRUE(mail->attachments().at(0).bytes(std::nothrow, bytes) && bytes == "abc");
    EXPECT_TRUE(mailbox.erase(std::nothrow, *mail));
    EXPECT_EQ(mailbox.erase(std::nothrow, entries[0]).number, TESSOLT_ERROR_POP3_DELETE_FAILED);
}

TEST_F(Front, RunsTheBlockOfTheReadme) {
    folder_.write("photo.jpg", "a photo");
    const fs::path before = fs::current_path();
    fs::current_path(folder_.path());
    const std::vector<unsigned char> bytes = {0, 1, 2};
    const std::string secret = "secret";
    const Pop3Options mailbox = pop3();
    const fs::path folder = folder_.file("saved");
    fs::create_directory(folder);
    const int port = host_.smtpPort();
    {
#include "readme_block.inc"
    } fs::current_path(before);
    EXPECT_EQ(folder_.read((folder / "photo.jpg").string()), "a photo");
    EXPECT_EQ(folder_.read((folder / "data.bin").string()), std::string("\0\1\2", 3));
}

// The TLS servers of the tests show a certificate for "localhost", signed by itself.
class FrontWithTls : public Front {
protected:
    FrontWithTls() { folder_.write("trusted.pem", mailIdentity().certificatePem()); }
    SessionOptions tlsAt(std::uint16_t port) const {
        SessionOptions options = at(port);
        options.host = "localhost";
        options.security = Security::tls;
        return options;
    }
    const support::ScopedSettings settings_{"\"TrustFile\"=\"" + folder_.file("trusted.pem") +
                                            "\""};
};

TEST_F(FrontWithTls, TellsWhatWasAgreedOn) {
    const support::ScriptedServer server(
        served(smtpPart("EHLO:250-x~250 AUTH PLAIN"), Tls::kFromStart));
    SmtpSession session(tlsAt(server.port()));
    session.send(letter("safe"));
    EXPECT_EQ(session.tls().version + " " + session.tls().names, "TLSv1.3 localhost");
    EXPECT_NE(session.tls().cipher, "");
    session.close();
    EXPECT_NE(errorOf([&] {
                  SessionOptions other = tlsAt(server.port());
                  other.host = "127.0.0.1";
                  SmtpSession{other};
              }),
              "no error");
}

// A message of 25 MB, cancelled in the middle: the call is back at once, the session says so, and
// goes on with the next message.
TEST_F(FrontWithTls, CancelsInTheMiddle) {
    const std::string big(25'000'000, 'x');
    std::string lines;
    for (std::size_t i = 0; i < big.size(); i += 76) {
        lines += big.substr(i, 76) + "\r\n";
    }
    for (const bool tls : {false, true}) {
        SCOPED_TRACE(tls);
        std::chrono::steady_clock::time_point asked;
        const ProgressCallback cancelling = [&](Progress p) {
            asked = std::chrono::steady_clock::now();
            return p.done < p.all / 2;
        };
        const auto check = [&](const Status& status) {
            const auto now = std::chrono::steady_clock::now();
            EXPECT_TRUE(!status && status.cancelled) << status.description;
            EXPECT_LT(now - asked, 100ms);
        };
        const tessolt::Tls kind = tls ? Tls::kFromStart : Tls::kNone;
        ServerPart slow = smtpPart("EHLO:250-x~250 AUTH PLAIN");
        slow.faults["DATA"] = [first = true](support::ServerStream& s) mutable {
            s.send("354 go on\r\n");
            for (int i = 0; first && i < 40 && !s.readSome().empty(); ++i) {
                s.delay(25ms);
            }
            first = false;
        };
        const support::ScriptedServer sink(served(slow, kind));
        SessionOptions options = tls ? tlsAt(sink.port()) : at(sink.port());
        SmtpSession sender(options);
        Message m = letter("big");
        m.attach(big, "big.bin");
        check(sender.send(std::nothrow, m, [&](Progress p) {
            asked = std::chrono::steady_clock::now();
            return p.done < p.all / 20;
        }));
        EXPECT_FALSE(sender.is_open());
        EXPECT_EQ(sender.open(std::nothrow).description, "");

        ServerPart mailbox = pop3Part();
        mailbox.replies["LIST"] = {"+OK 1 " + std::to_string(lines.size()) + "\r\n"};
        mailbox.faults["RETR"] = [&lines](support::ServerStream& s) {
            s.send("+OK\r\n");
            for (std::size_t at = 0; at < lines.size() && s.send(lines.substr(at, 500'000));
                 at += 500'000) {
                s.delay(10ms);
            }
        };
        const support::ScriptedServer source(served(mailbox, kind));
        Pop3Session reader(tls ? tlsAt(source.port()) : at(source.port()));
        std::optional<Message> message;
        check(reader.fetch(std::nothrow, {1}, message, cancelling));
        EXPECT_FALSE(message || reader.is_open());
        EXPECT_EQ(reader.open(std::nothrow).description, "");
    }
}

// Whatever a sender calls an attachment, it ends in the folder under a name of its own, and nothing
// else changes.
TEST_F(Front, HostileNamesStayInTheFolder) {
    const std::string longName(300, 'n');
    std::string longWide;
    for (int i = 0; i < 100; ++i) {
        longWide += "日";
    }
    const std::vector<std::string> names = {"../up.txt",
                                            "..\\up.txt",
                                            "/etc/passwd",
                                            "C:\\boot.ini",
                                            "..",
                                            ".",
                                            "",
                                            "...",
                                            "a/../b",
                                            ".bashrc",
                                            "-rf",
                                            "~root",
                                            "CON",
                                            "con.txt",
                                            "LPT1.log",
                                            "nul",
                                            "a:b",
                                            "a|b",
                                            "a*?<>\"",
                                            "same.txt",
                                            "same.txt",
                                            "same.txt",
                                            "SAME.TXT",
                                            longName + ".txt",
                                            longName + ".pdf",
                                            longWide + ".jpeg",
                                            "link",
                                            "there.txt",
                                            "Отчёт.pdf",
                                            "報告書.pdf",
                                            "تقرير.pdf",
                                            "דוח.pdf",
                                            "रिपोर्ट.pdf",
                                            "รายงาน.pdf",
                                            "αναφορά.pdf",
                                            "👋.png",
                                            "evil\u202Egpj.exe",
                                            " blank ",
                                            "dots...",
                                            "a\tb",
                                            "x\u0085y",
                                            "%2e%2e%2fup",
                                            "a.tar.gz",
                                            "aux.h.gch"};
    const std::string outside = folder_.file("outside.txt");
    folder_.write("outside.txt", "old");
    const fs::path inside = folder_.file("inside");
    fs::create_directory(inside);
    fs::create_symlink(outside, inside / "link");
    folder_.write("inside/there.txt", "old");

    std::string source = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    const auto coded = [](const std::string& name) {
        std::string text;
        for (const char c : name) {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
            text += hex;
        }
        return text;
    };
    std::vector<std::string> sent = names;
    sent.push_back(std::string("nul\0byte", 8));
    for (std::size_t i = 0; i < sent.size(); ++i) {
        source +=
            "--b\r\nContent-Type: application/x-test\r\nContent-Disposition: attachment; "
            "filename*=utf-8''" +
            coded(sent[i]) + "\r\n\r\ncontent " + std::to_string(i) + "\r\n";
    }
    source += "--b--\r\n";
    const Message m = Message::parse(source);
    ASSERT_EQ(m.attachments().size(), sent.size());
    std::set<fs::path> paths;
    std::size_t at = 0;
    for (const Attachment& a : m.attachments()) {
        const fs::path path = a.save_to(inside);
        SCOPED_TRACE(path);
        EXPECT_TRUE(paths.insert(path).second);
        EXPECT_EQ(path.parent_path(), inside);
        EXPECT_EQ(fs::canonical(path).parent_path(), fs::canonical(inside));
        EXPECT_LE(path.filename().string().size(), 255U);
        EXPECT_EQ(path.filename().string().find_first_of("<>:\"|?*\\\n\t"), std::string::npos);
        EXPECT_EQ(folder_.read(path.string()), "content " + std::to_string(at++));
    }
    EXPECT_EQ(folder_.read(outside), "old");
    EXPECT_EQ(folder_.read((inside / "there.txt").string()), "old");
    EXPECT_EQ(static_cast<std::size_t>(std::distance(fs::directory_iterator(inside), {})),
              sent.size() + 2);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 2);
    EXPECT_EQ(safe_name("報告書.pdf"), "報告書.pdf");
    m.attachments()[27].save_to(inside, Existing::replace);
    EXPECT_EQ(folder_.read((inside / "there.txt").string()), "content 27");
    m.attachments()[26].save_to(inside, Existing::replace);
    EXPECT_EQ(folder_.read(outside), "old") << "a link is replaced, not followed";
}

}  // namespace
}  // namespace tessolt
