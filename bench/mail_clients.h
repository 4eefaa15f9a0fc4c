#pragma once

#include <curl/curl.h>
#include <tessolt/message_data.h>
#include <tessolt/tessolt.h>
#include <tessolt/transfer.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "mail/pop3.h"
#include "mail/smtp.h"
#include "mail_server.h"
#include "message/znmail.h"

namespace bench {

using tessolt::ComPtr;
using tessolt::IEMailMessage;
using tessolt::IMessageData;
using tessolt::IPop3;
using tessolt::ISmtp;
using tessolt::ITransfer;
using tessolt::Text;
using tessolt::Value;

// NOLINTBEGIN(readability-identifier-naming): one block of plain values
struct Place {
    int port;
    bool secure = false;
    LONG rules = tessolt::TESSOLT_RULES_CLASSIC;
    int count = 1;  ///< Messages in the session.
};
// NOLINTEND(readability-identifier-naming)

// The interfaces.

struct Body {
    std::string text;
    std::string file = {};
};

inline ComPtr<IEMailMessage> makeMessage(const Body& body, LONG rules) {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    message.as<IMessageData>()->UseRules(rules);
    message->put_FromName(Text("Ann"));
    message->put_FromAddress(Text("ann@bench.test"));
    message->AddTo(Text("bob@bench.test"), Text("Bob"));
    message->put_Subject(Text("A letter of some length"));
    message->put_BodyPlainText(Text(body.text));
    if (!body.file.empty()) {
        message->AddAttachment(Text(body.file));
    }
    return message;
}

template <class Session>
ComPtr<Session> connect(const char16_t* name, const Place& place) {
    auto session = tessolt::CreateObject<Session>(name);
    session.template as<ITransfer>()->UseRules(place.rules);
    session->put_HostPort(place.port);
    session->put_TimeoutCommand(60000);
    if (place.secure) {
        session->SetSecure(place.port);
    }
    session->Connect(Text("127.0.0.1"), Text(), Text());
    return session;
}

template <class Session>
void require(const ComPtr<Session>& session, const char* what) {
    LONG number = 0;
    session->get_LastError(&number);
    if (number != 0) {
        fail(what);
    }
}

/// `next` gives each message that is sent.
template <class Next>
void sendPublic(const Place& place, Next next) {
    const auto smtp = connect<ISmtp>(u"Tessolt.Smtp", place);
    for (int i = 0; i < place.count; ++i) {
        smtp->Send(Value(next()));
        require(smtp, "our send failed");
    }
    smtp->Disconnect();
}

inline void fetchPublic(const Place& place) {
    const auto pop3 = connect<IPop3>(u"Tessolt.Pop3", place);
    for (int i = 1; i <= place.count; ++i) {
        Value message;
        pop3->GetEmailMessage(i, message);
        require(pop3, "our fetch failed");
    }
    pop3->Disconnect();
}

// The classes behind them, with a text that is there already, or that nobody reads.

inline void sendCore(const Place& place, std::string_view text) {
    tessolt::CZnSmtp smtp;
    smtp.m_strHost = "127.0.0.1";
    smtp.m_lHostPort = place.port;
    smtp.m_bSecure = place.secure;
    smtp.m_lTimeoutCommand = 60000;
    tessolt::RecipientList to;
    to.add(u"", u"bob@bench.test");
    bool isDone = smtp.Connect() == 0;
    for (int i = 0; i < place.count && isDone; ++i) {
        isDone =
            smtp.MailFrom("ann@bench.test") == 0 && smtp.RcptTo(to) == 0 && smtp.Data(text) == 0;
    }
    if (!isDone) {
        fail("the engine's send failed");
    }
    smtp.Disconnect();
}

inline void fetchCore(const Place& place) {
    tessolt::CZnPop3 pop3;
    pop3.m_strServer = "127.0.0.1";
    pop3.m_lHostPort = place.port;
    pop3.m_bSecure = place.secure;
    bool isDone = pop3.Connect() == 0;
    for (int i = 1; i <= place.count && isDone; ++i) {
        std::string text;
        isDone = pop3.RetrieveText(i, true, text) == 0;
    }
    if (!isDone) {
        fail("the engine's fetch failed");
    }
    pop3.Disconnect();
}

// libcurl.

/// What libcurl reads from or writes to.
struct CurlData {
    std::string_view upload;
    std::string download;
};

inline std::size_t onRead(char* buffer, std::size_t size, std::size_t count, void* user) {
    auto* data = static_cast<CurlData*>(user);
    const std::size_t part = data->upload.copy(buffer, size * count);
    data->upload.remove_prefix(part);
    return part;
}

inline std::size_t onWrite(char* buffer, std::size_t size, std::size_t count, void* user) {
    static_cast<CurlData*>(user)->download.append(buffer, size * count);
    return size * count;
}

/// A handle that leaves the certificate unchecked, as ours does by classic rules.
class Curl {
public:
    Curl(const std::string& scheme, const Place& place)
        : base_(scheme + (place.secure ? "s" : "") + "://127.0.0.1:" + std::to_string(place.port) +
                "/") {
        set(CURLOPT_SSL_VERIFYPEER, 0L);
        set(CURLOPT_SSL_VERIFYHOST, 0L);
        set(CURLOPT_READFUNCTION, onRead);
        set(CURLOPT_READDATA, &data);
        set(CURLOPT_WRITEFUNCTION, onWrite);
        set(CURLOPT_WRITEDATA, &data);
        set(CURLOPT_UPLOAD_BUFFERSIZE, 2L * 1024 * 1024);
        set(CURLOPT_BUFFERSIZE, 512L * 1024);
    }
    ~Curl() { curl_easy_cleanup(curl_); }
    Curl(const Curl&) = delete;
    Curl& operator=(const Curl&) = delete;

    template <class Argument>
    void set(CURLoption option, Argument argument) {
        curl_easy_setopt(curl_, option, argument);
    }
    void perform(const std::string& path) {
        set(CURLOPT_URL, (base_ + path).c_str());
        if (curl_easy_perform(curl_) != CURLE_OK) {
            fail("libcurl failed");
        }
    }

    CurlData data;

private:
    CURL* curl_ = curl_easy_init();
    std::string base_;
};

inline void sendCurl(const Place& place, std::string_view text) {
    Curl curl("smtp", place);
    curl_slist* to = curl_slist_append(nullptr, "bob@bench.test");
    curl.set(CURLOPT_MAIL_FROM, "ann@bench.test");
    curl.set(CURLOPT_MAIL_RCPT, to);
    curl.set(CURLOPT_UPLOAD, 1L);
    for (int i = 0; i < place.count; ++i) {
        curl.data.upload = text;
        curl.perform("bench");
    }
    curl_slist_free_all(to);
}

inline void fetchCurl(const Place& place) {
    Curl curl("pop3", place);
    curl.set(CURLOPT_USERNAME, "u");
    curl.set(CURLOPT_PASSWORD, "p");
    for (int i = 1; i <= place.count; ++i) {
        curl.data.download = {};
        curl.perform(std::to_string(i));
    }
}

}  // namespace bench
