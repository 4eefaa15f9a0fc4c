// Sends 25 MB by SMTP and fetches them by POP3 over loopback, plain and over TLS, ours and libcurl
// in turn in one run. The server is a process of its own.

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "mail/pop3.h"
#include "mail/smtp.h"
#include "message/znmail.h"
#include "peer_timing.h"

namespace {

constexpr std::size_t kMessageBytes = 25'000'000;
constexpr double kMegabytes = kMessageBytes / 1e6;
constexpr std::size_t kReadBytes = 256 * 1024;
constexpr int kRuns = 15;
constexpr std::string_view kEndMark = "\r\n.\r\n";

/// A message with one base64 attachment, as most big ones are.
std::string makeMessage() {
    std::string text =
        "From: a@bench.test\r\nTo: b@bench.test\r\nSubject: bench\r\nMIME-Version: 1.0\r\n"
        "Content-Type: application/octet-stream; name=data.bin\r\n"
        "Content-Disposition: attachment; filename=data.bin\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\n";
    unsigned state = 1;
    while (text.size() < kMessageBytes) {
        for (int i = 0; i < 76; ++i) {
            state = state * 1664525 + 1013904223;
            text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[state >> 26];
        }
        text += "\r\n";
    }
    return text;
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "mail_bench: %s\n", what);
    std::_Exit(1);
}

/// One connection of the server, plain or TLS.
class Stream {
public:
    Stream(int socket, SSL_CTX* context) : socket_(socket) {
        if (context != nullptr) {
            ssl_ = SSL_new(context);
            SSL_set_fd(ssl_, socket);
            if (SSL_accept(ssl_) != 1) {
                open_ = false;
            }
        }
    }
    ~Stream() {
        SSL_free(ssl_);
        close(socket_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void send(std::string_view text) {
        while (open_ && !text.empty()) {
            const auto count = ssl_ != nullptr
                                   ? SSL_write(ssl_, text.data(), static_cast<int>(text.size()))
                                   : ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
            open_ = count > 0;
            text.remove_prefix(open_ ? static_cast<std::size_t>(count) : 0);
        }
    }
    /// Reads until what was read ends in `end`; keeps no more than that of it.
    bool readTo(std::string_view end) {
        std::string tail;
        while (open_) {
            const auto count = ssl_ != nullptr ? SSL_read(ssl_, block_.get(), kReadBytes)
                                               : ::recv(socket_, block_.get(), kReadBytes, 0);
            open_ = count > 0;
            if (open_) {
                tail.append(block_.get(), static_cast<std::size_t>(count));
                if (tail.size() > 4096) {
                    tail.erase(0, tail.size() - 4096);
                }
                last_ = tail;
                if (tail.ends_with(end)) {
                    return true;
                }
            }
        }
        return false;
    }
    bool lastBegins(const char* verb) const {
        return strncasecmp(last_.c_str(), verb, std::strlen(verb)) == 0;
    }

private:
    int socket_;
    SSL* ssl_ = nullptr;
    bool open_ = true;
    std::string last_;
    std::unique_ptr<char[]> block_ = std::make_unique_for_overwrite<char[]>(kReadBytes);
};

void serveSmtp(Stream& stream) {
    stream.send("220 bench\r\n");
    while (stream.readTo("\r\n")) {
        if (stream.lastBegins("DATA")) {
            stream.send("354 go\r\n");
            stream.readTo(kEndMark);
        }
        if (stream.lastBegins("QUIT")) {
            stream.send("221 bye\r\n");
            return;
        }
        stream.send("250 ok\r\n");
    }
}

void servePop3(Stream& stream, const std::string& reply) {
    stream.send("+OK bench\r\n");
    while (stream.readTo("\r\n")) {
        if (stream.lastBegins("RETR")) {
            stream.send(reply);
        } else if (stream.lastBegins("STAT")) {
            stream.send("+OK 1 25000000\r\n");
        } else if (stream.lastBegins("CAPA")) {
            stream.send("+OK\r\nUSER\r\n.\r\n");
        } else {
            stream.send("+OK\r\n");
        }
    }
}

SSL_CTX* makeContext() {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    X509_sign(certificate, key, EVP_sha256());
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    SSL_CTX_use_certificate(context, certificate);
    SSL_CTX_use_PrivateKey(context, key);
    return context;
}

/// A server process on a loopback port.
class Server {
public:
    Server(bool secure, const std::function<void(Stream&)>& serve) {
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            listen(listener, 8) != 0 ||
            getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
            fail("no port to listen on");
        }
        port_ = ntohs(address.sin_port);
        child_ = fork();
        if (child_ == 0) {
            SSL_CTX* const context = secure ? makeContext() : nullptr;
            for (;;) {
                const int accepted = accept(listener, nullptr, nullptr);
                const int on = 1;
                setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
                Stream stream(accepted, context);
                serve(stream);
            }
        }
        close(listener);
    }
    ~Server() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    int port() const { return port_; }

private:
    int port_ = 0;
    pid_t child_ = -1;
};

void sendOurs(const std::string& message, int port, bool secure) {
    tessolt::CZnSmtp smtp;
    smtp.m_strHost = "127.0.0.1";
    smtp.m_lHostPort = port;
    smtp.m_bSecure = secure;
    smtp.m_lTimeoutCommand = 60000;
    tessolt::RecipientList to;
    to.add(u"", u"b@bench.test");
    if (smtp.Connect() != 0 || smtp.MailFrom("a@bench.test") != 0 || smtp.RcptTo(to) != 0 ||
        smtp.Data(message) != 0) {
        fail("our send failed");
    }
    smtp.Disconnect();
}

void fetchOurs(int port, bool secure, std::size_t expected) {
    tessolt::CZnPop3 pop3;
    pop3.m_strServer = "127.0.0.1";
    pop3.m_lHostPort = port;
    pop3.m_bSecure = secure;
    std::string body;
    if (pop3.Connect() != 0 || pop3.RetrieveText(1, true, body) != 0 || body.size() != expected) {
        fail("our fetch failed");
    }
    pop3.Disconnect();
}

/// What libcurl reads from or writes to.
struct CurlData {
    std::string_view upload;
    std::string download;
};

std::size_t onRead(char* buffer, std::size_t size, std::size_t count, void* user) {
    auto* data = static_cast<CurlData*>(user);
    const std::size_t part = data->upload.copy(buffer, size * count);
    data->upload.remove_prefix(part);
    return part;
}

std::size_t onWrite(char* buffer, std::size_t size, std::size_t count, void* user) {
    static_cast<CurlData*>(user)->download.append(buffer, size * count);
    return size * count;
}

/// A handle that leaves the certificate unchecked, as ours does by default.
CURL* makeCurl(const char* scheme, int port, const char* path, CurlData& data) {
    CURL* curl = curl_easy_init();
    const std::string url =
        std::string(scheme) + "://127.0.0.1:" + std::to_string(port) + "/" + path;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, onRead);
    curl_easy_setopt(curl, CURLOPT_READDATA, &data);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, onWrite);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &data);
    curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, 2L * 1024 * 1024);
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 512L * 1024);
    return curl;
}

void sendCurl(const std::string& message, int port, bool secure) {
    CurlData data{message, {}};
    CURL* curl = makeCurl(secure ? "smtps" : "smtp", port, "bench", data);
    curl_slist* to = curl_slist_append(nullptr, "b@bench.test");
    curl_easy_setopt(curl, CURLOPT_MAIL_FROM, "a@bench.test");
    curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, to);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    if (curl_easy_perform(curl) != CURLE_OK) {
        fail("libcurl's send failed");
    }
    curl_slist_free_all(to);
    curl_easy_cleanup(curl);
}

void fetchCurl(int port, bool secure, std::size_t expected) {
    CurlData data;
    CURL* curl = makeCurl(secure ? "pop3s" : "pop3", port, "1", data);
    curl_easy_setopt(curl, CURLOPT_USERNAME, "u");
    curl_easy_setopt(curl, CURLOPT_PASSWORD, "p");
    if (curl_easy_perform(curl) != CURLE_OK || data.download.size() + 2 < expected) {
        fail("libcurl's fetch failed");
    }
    curl_easy_cleanup(curl);
}

/// Both in turn; whole sessions by the wall clock and by this process's own work.
void compareSessions(const char* label, const std::function<void()>& ours,
                     const std::function<void()>& peer) {
    std::vector<double> wall[2];
    std::vector<double> own[2];
    for (int run = 0; run < kRuns; ++run) {
        for (int who = 0; who < 2; ++who) {
            const auto start = std::chrono::steady_clock::now();
            own[who].push_back(bench::seconds(who == 0 ? ours : peer));
            wall[who].push_back(
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
    }
    const double wallOurs = bench::median(wall[0]);
    const double wallPeer = bench::median(wall[1]);
    const double ownOurs = bench::median(own[0]);
    const double ownPeer = bench::median(own[1]);
    std::printf(
        "%-22s ours %7.1f MB/s  libcurl %7.1f MB/s  ratio %5.2f   processor %5.1f / %5.1f ms"
        "  ratio %5.2f\n",
        label, kMegabytes / wallOurs, kMegabytes / wallPeer, wallPeer / wallOurs, ownOurs * 1e3,
        ownPeer * 1e3, ownPeer / ownOurs);
}

}  // namespace

int main() {
    const std::string message = makeMessage();
    const std::string reply =
        "+OK " + std::to_string(message.size()) + " octets\r\n" + message + ".\r\n";
    curl_global_init(CURL_GLOBAL_DEFAULT);
    for (const bool secure : {false, true}) {
        const Server sink(secure, serveSmtp);
        compareSessions(
            secure ? "SMTP 25 MB, TLS" : "SMTP 25 MB, plain",
            [&] { sendOurs(message, sink.port(), secure); },
            [&] { sendCurl(message, sink.port(), secure); });
    }
    for (const bool secure : {false, true}) {
        const Server source(secure, [&](Stream& stream) { servePop3(stream, reply); });
        // The empty line that the end mark turns into is part of ours.
        compareSessions(
            secure ? "POP3 25 MB, TLS" : "POP3 25 MB, plain",
            [&] { fetchOurs(source.port(), secure, message.size() + 2); },
            [&] { fetchCurl(source.port(), secure, message.size()); });
    }
    curl_global_cleanup();
    return 0;
}
