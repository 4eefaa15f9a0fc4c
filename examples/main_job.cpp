// The whole job, one line a step: compose, send, fetch, save, queue, and both ways over TLS.
//   main_job                                          against a mail host inside this program
//   main_job --smtp HOST:PORT --pop3 HOST:PORT --user U --password P --to ADDRESS
#include <tessolt/mail.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

#include "example_support.h"
#include "loopback_host.h"

namespace {

namespace fs = std::filesystem;
using example::check;
using example::number;
using example::text;
using tessolt::IEMailMessage;
using tessolt::IPop3;
using tessolt::ISmtp;
using tessolt::Text;
using tessolt::Value;

constexpr const char* kMarkHeader = "X-Main-Job";
constexpr const char* kSubject = "Grüße, Привет, 你好, γειά σου 😀";
constexpr const char* kPlainBody =
    "Smörgåsbord für alle. Пока! 再见! さようなら! 안녕! 👋\r\n.\r\nA lone dot stood above.\r\n";
constexpr const char* kHtmlBody =
    "<html><body><p>Smörgåsbord für <b>alle</b>. Пока! 再见! 👋</p></body></html>";
constexpr const char* kTextFile = "Заметки 日本語 📝.txt";
constexpr int kDeliveryTries = 120;
constexpr LONG kDeliveryWait = 500;
constexpr LONG kNewestLookedAt = 10;
constexpr std::size_t kLogLinesShown = 5;

struct Options {
    example::Server smtp;
    example::Server pop3;
    std::string user = "user";
    std::string password = "password";
    std::string to = "user@example.com";
};

void report(const std::string& step, const std::string& result) {
    std::cout << "[ok] " << step << ": " << result << '\n';
}

void require(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error("failed: " + what);
    }
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A folder of the job's own with the attachments, the queue and the settings; removed at the end.
class Workspace {
public:
    Workspace() {
        std::string pattern = fs::temp_directory_path() / "tessolt-job-XXXXXX";
        require(::mkdtemp(pattern.data()) != nullptr, "making a temporary folder");
        root_ = pattern;
        for (const char* folder : {"queue", "saved"}) {
            fs::create_directory(root_ / folder);
        }
        std::string all_bytes;
        for (int value = 0; value < 256; ++value) {
            all_bytes += static_cast<char>(value);
        }
        writeFile(root_ / kTextFile, "First line\nSecond line\n");
        writeFile(root_ / "all-bytes.bin", all_bytes);
        writeFile(root_ / "settings",
                  "[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n\"Queue\"=\"" +
                      path("queue") + "\"\n\"TrustFile\"=\"" + path("certificate.pem") + "\"\n");
        ::setenv("TESSOLT_SETTINGS", (root_ / "settings").c_str(), 1);
    }
    ~Workspace() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    /// Different for every job.
    std::string name() const { return root_.filename(); }
    fs::path operator/(const char* name) const { return root_ / name; }
    std::string path(const char* name) const { return root_ / name; }

private:
    fs::path root_;
};

tessolt::ComPtr<IEMailMessage> compose(const Workspace& files, const Options& options,
                                       const std::string& mark) {
    auto message = example::create<IEMailMessage>("Tessolt.EMailMessage");
    message->put_FromName(Text("Jürgen Пример"));
    message->put_FromAddress(Text(options.to));
    message->put_Subject(Text(kSubject));
    message->put_BodyPlainText(Text(kPlainBody));
    message->put_BodyHtml(Text(kHtmlBody));
    message->AddTo(Text(options.to), Text("Zoë 例"));
    check(*message, "AddTo");
    message->AddAttachment(Text(files.path(kTextFile) + "|" + files.path("all-bytes.bin")));
    check(*message, "AddAttachment");
    message->AddHeader(Text(kMarkHeader), Text(mark));
    report("compose", std::string(kSubject) + ", two bodies, " +
                          std::to_string(number(*message, &IEMailMessage::CountAttachments)) +
                          " attachments");
    return message;
}

void send(IEMailMessage& message, const Options& options, const Workspace& files) {
    auto smtp = example::create<ISmtp>("Tessolt.Smtp");
    smtp->put_LogFile(Text(files.path("job.log")));
    smtp->put_HostPort(options.smtp.port);
    smtp->Connect(Text(options.smtp.host), Text(options.user), Text(options.password));
    check(*smtp, "Connect");
    report("Smtp.Connect", options.smtp.host + ":" + std::to_string(options.smtp.port));
    smtp->Send(Value(&message));
    check(*smtp, "Send");
    report("Smtp.Send", text(*smtp, &ISmtp::get_LastSmtpResponse));
    smtp->Disconnect();
}

/// The newest message with the mark, or null: headers are looked at first.
tessolt::ComPtr<IEMailMessage> findMarked(IPop3& pop3, const std::string& mark) {
    LONG count = 0;
    pop3.CountMessages(&count);
    for (LONG id = count; id > std::max<LONG>(0, count - kNewestLookedAt); --id) {
        Value header;
        pop3.GetEmailHeader(id, header.put());
        check(pop3, "GetEmailHeader");
        Text found;
        header.object<IEMailMessage>()->GetHeaderValue(Text(kMarkHeader), found.put());
        if (found.utf8() == mark) {
            Value whole;
            pop3.GetEmailMessage(id, whole.put());
            check(pop3, "GetEmailMessage");
            return whole.object<IEMailMessage>();
        }
    }
    return nullptr;
}

tessolt::ComPtr<IEMailMessage> fetch(const Options& options, const std::string& mark) {
    auto pop3 = example::create<IPop3>("Tessolt.Pop3");
    pop3->put_HostPort(options.pop3.port);
    for (int attempt = 0; attempt < kDeliveryTries; ++attempt) {
        pop3->Connect(Text(options.pop3.host), Text(options.user), Text(options.password));
        check(*pop3, "Pop3.Connect");
        auto found = findMarked(*pop3, mark);
        pop3->Disconnect();
        if (found) {
            report("Pop3.GetEmailMessage",
                   "ID " + std::to_string(number(*found, &IEMailMessage::get_ID)) + ", " +
                       std::to_string(number(*found, &IEMailMessage::get_Size)) + " bytes");
            return found;
        }
        pop3->Sleep(kDeliveryWait);
    }
    throw std::runtime_error("failed: the message has not arrived");
}

void compareTexts(IEMailMessage& got, const std::string& where) {
    require(text(got, &IEMailMessage::get_Subject) == kSubject, where + ": the subject");
    // Servers may end the text with a further line end.
    require(text(got, &IEMailMessage::get_BodyPlainText).starts_with(kPlainBody),
            where + ": the plain body");
    require(text(got, &IEMailMessage::get_BodyHtml).starts_with(kHtmlBody),
            where + ": the HTML body");
}

void printAndSave(IEMailMessage& got, const Workspace& files) {
    compareTexts(got, "fetch");
    report("From", text(got, &IEMailMessage::get_FromName) + " <" +
                       text(got, &IEMailMessage::get_FromAddress) + ">");
    report("Subject", text(got, &IEMailMessage::get_Subject));
    const std::string plain = text(got, &IEMailMessage::get_BodyPlainText);
    report("BodyPlainText", plain.substr(0, plain.find('\r')) + " ... (equal to what was sent)");
    report("BodyHtml", text(got, &IEMailMessage::get_BodyHtml));
    require(number(got, &IEMailMessage::CountAttachments) == 2, "two attachments");
    for (LONG i = 1; i <= 2; ++i) {
        Text name;
        got.GetAttachmentName(i, name.put());
        const fs::path target = files / "saved" / name.utf8();
        got.SaveAttachment(i, Text(target.string()));
        check(got, "SaveAttachment");
        require(readFile(target) == readFile(files / name.utf8().c_str()),
                "equal bytes of " + name.utf8());
        report("SaveAttachment", name.utf8() + ", " + std::to_string(fs::file_size(target)) +
                                     " bytes, equal to what was sent");
    }
}

void saveAndLoad(IEMailMessage& got, const Workspace& files) {
    got.SaveMIME(Text(files.path("copy.eml")));
    check(got, "SaveMIME");
    report("SaveMIME", std::to_string(fs::file_size(files / "copy.eml")) + " bytes");
    auto again = example::create<IEMailMessage>("Tessolt.EMailMessage");
    again->LoadMIME(Text(files.path("copy.eml")));
    check(*again, "LoadMIME");
    compareTexts(*again, "LoadMIME");
    report("LoadMIME", "equal subject and bodies, " +
                           std::to_string(number(*again, &IEMailMessage::CountAttachments)) +
                           " attachments");
}

void queue(IEMailMessage& message, const Options& options, const Workspace& files) {
    auto smtp = example::create<ISmtp>("Tessolt.Smtp");
    smtp->put_LogFile(Text(files.path("job.log")));
    smtp->Queue(Value(&message), Text(options.smtp.host), options.smtp.port, 0, Text(options.user),
                Text(options.password));
    check(*smtp, "Queue");
    const fs::directory_iterator entry(files / "queue");
    require(entry != fs::directory_iterator(), "a file in the queue folder");
    report("Smtp.Queue", entry->path().filename().string());
    std::istringstream lines(readFile(entry->path()));
    for (std::string line; std::getline(lines, line) && line != "\r";) {
        std::cout << "     " << line << '\n';
    }
}

/// Sends what was queued by the program that quickstart names, and looks for it.
void sendQueued(const Options& options, const std::string& mark) {
    const char* program = std::getenv("TESSOLT_QUEUE_PROGRAM");
    if (program == nullptr) {
        return;
    }
    const std::string command = std::string(program) + " run --once";
    require(std::system(command.c_str()) == 0, "the queue is sent");
    auto got = fetch(options, mark);
    compareTexts(*got, "queue");
    report("tessolt-queue run", "the queued message has arrived, equal to what was queued");
}

/// The same both ways over TLS: the host shows a certificate of its own, which the settings name as
/// the one to trust, and which is checked.
void sendAndFetchOverTls(const loopback::LoopbackHost& host, const Options& options,
                         const Workspace& files) {
    writeFile(files / "certificate.pem", host.certificatePem());
    tessolt::SessionOptions server;
    server.host = "127.0.0.1";  // some machines know no "localhost"
    server.port = host.smtpsPort();
    server.security = tessolt::Security::tls;
    server.user = options.user;
    server.password = options.password;
    tessolt::SmtpSession smtp(server);
    tessolt::Message message;
    message.from(options.to).to(options.to).subject(kSubject).text(kPlainBody);
    smtp.send(message);
    report("SmtpSession::send", smtp.tls().version + " with " + smtp.tls().names);

    server.port = host.pop3sPort();
    tessolt::Pop3Session pop3(server);
    const tessolt::Message got = pop3.fetch(pop3.list().back());
    require(got.subject() == kSubject && got.text() == kPlainBody, "equal texts over TLS");
    report("Pop3Session::fetch", pop3.tls().version + ", " + std::to_string(got.raw().size()) +
                                     " bytes, equal to what was sent");
}

void showLog(const Workspace& files) {
    std::istringstream log(readFile(files / "job.log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(log, line);) {
        lines.push_back(line);
    }
    require(!lines.empty(), "a log");
    report("LogFile", std::to_string(lines.size()) + " lines, the last of them:");
    for (std::size_t i = lines.size() - std::min(lines.size(), kLogLinesShown); i < lines.size();
         ++i) {
        std::cout << "     " << lines[i] << '\n';
    }
}

/// The options of the command line, none for the embedded host.
std::map<std::string, std::string> parseArguments(int argc, char** argv) {
    std::map<std::string, std::string> given;
    for (int i = 1; i + 1 < argc; i += 2) {
        given[argv[i]] = argv[i + 1];
    }
    const std::vector<std::string> wanted{"--password", "--pop3", "--smtp", "--to", "--user"};
    std::vector<std::string> names;
    names.reserve(given.size());
    for (const auto& [name, value] : given) {
        names.push_back(name);
    }
    if (argc > 1 && (argc % 2 == 0 || names != wanted)) {
        throw std::invalid_argument(
            "usage: [--smtp HOST:PORT --pop3 HOST:PORT --user U --password P --to ADDRESS]");
    }
    return given;
}

void runJob(int argc, char** argv) {
    const auto given = parseArguments(argc, argv);
    Options options;
    std::unique_ptr<loopback::LoopbackHost> host;
    if (given.empty()) {
        host = std::make_unique<loopback::LoopbackHost>(options.user, options.password);
        options.smtp = {"127.0.0.1", host->smtpPort()};
        options.pop3 = {"127.0.0.1", host->pop3Port()};
        report("mail host", "SMTP on port " + std::to_string(options.smtp.port) +
                                ", POP3 on port " + std::to_string(options.pop3.port) +
                                ", inside this program");
    } else {
        options = {example::parseServer(given.at("--smtp")),
                   example::parseServer(given.at("--pop3")), given.at("--user"),
                   given.at("--password"), given.at("--to")};
    }
    const Workspace files;
    const std::string mark = files.name();
    auto message = compose(files, options, mark);
    send(*message, options, files);
    auto got = fetch(options, mark);
    printAndSave(*got, files);
    saveAndLoad(*got, files);
    const std::string queuedMark = mark + "-queued";
    message->AddHeader(Text(kMarkHeader), Text(queuedMark));
    queue(*message, options, files);
    sendQueued(options, queuedMark);
    if (host) {
        sendAndFetchOverTls(*host, options, files);
    }
    showLog(files);
    std::cout << "All steps done.\n";
}

}  // namespace

int main(int argc, char** argv) {
    return example::runProgram([argc, argv] { runJob(argc, argv); });
}
