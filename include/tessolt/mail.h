/// E-mail from C++17 in values and exceptions: texts are UTF-8 `std::string`s, what fails throws a
/// `tessolt::Error`. Nothing but this header and the library is needed.
///
///     tessolt::Message m;
///     m.from("ann@example.org", "Ann").to("bob@example.org").subject("Grüße 👋").text("Hello.");
///     m.attach("photo.jpg").attach(bytes, "data.bin");
///     tessolt::SmtpOptions options;
///     options.host = "mail.example.org";
///     options.user = "ann";
///     options.password = secret;
///     tessolt::SmtpSession(options).send(m);
///
///     for (tessolt::Message& mail : tessolt::Pop3Session(mailbox).messages()) {
///         for (tessolt::Attachment& a : mail.attachments()) {
///             a.save_to(folder);  // never outside of it, and over no other file
///         }
///     }
///
/// Where exceptions aren't wanted, give `std::nothrow` first: the call then returns a `Status`, and
/// only the end of memory throws. Everything works by the current rules of docs/rules.md, whatever
/// the settings say: certificates are checked, and no password leaves without TLS but to this very
/// machine.
///
/// Sessions can be moved, messages copied too. Each belongs to one thread at a time.
#pragma once

#include <tessolt/mail_message.h>
#include <tessolt/transfer.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessolt {

/// How a connection is made safe.
enum class Security {
    usual,     ///< TLS from the start on port 465 or 995, which are the usual ones; elsewhere
               ///< STARTTLS or STLS where the server offers it. No password goes without.
    tls,       ///< TLS from the start, whatever the port.
    starttls,  ///< STARTTLS or STLS, or no mail at all.
    none       ///< In the clear: passwords then go to this very machine only.
};

/// Where and how to connect.
struct SessionOptions {
    std::string host = {};                ///< Its name or address.
    std::string user = {};                ///< Without one there is no login.
    std::string password = {};            ///< It goes out over TLS only, or to this machine.
    int port = 0;                         ///< 0 is the usual one.
    Security security = Security::usual;  ///< How the connection is made safe.
    std::chrono::milliseconds connect_timeout{20000};  ///< A TLS handshake has it again.
    std::chrono::milliseconds reply_timeout{30000};    ///< For each command.
    std::chrono::milliseconds data_timeout{120000};    ///< With nothing moving in a message.
    std::string log_file = {};                         ///< Grows by a line for each step.
};
/// Those of a session with SMTP.
using SmtpOptions = SessionOptions;
/// Those of a session with POP3.
using Pop3Options = SessionOptions;

/// What TLS agreed on; all empty without it.
struct TlsInfo {
    std::string version = {};   ///< "TLSv1.3".
    std::string cipher = {};    ///< By its name of RFC 8446 or 5246.
    std::string names = {};     ///< Those in the server's certificate.
    std::string issuer = {};    ///< Who signed it.
    std::string last_day = {};  ///< When it expires.
};

namespace detail {

struct UsualPorts {
    int tls, starttls, clear;
};
inline constexpr UsualPorts kSmtpPorts = {465, 587, 25};
inline constexpr UsualPorts kPop3Ports = {995, 110, 110};

/// The connection that a session, and what it gave out, share. It takes leave when the last goes.
template <class Interface>
class Connection {
public:
    Connection(const CLSID& classId, const UsualPorts& usual, SessionOptions options)
        : options_(std::move(options)) {
        create(classId, object_, transfer_);
        transfer_->UseRules(TESSOLT_RULES_CURRENT);
        isTls_ = options_.security == Security::tls ||
                 (options_.security == Security::usual &&
                  (options_.port == 0 || options_.port == usual.tls));
        const int port = isTls_                                    ? usual.tls
                         : options_.security == Security::starttls ? usual.starttls
                                                                   : usual.clear;
        options_.port = options_.port != 0 ? options_.port : port;
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { object_->Disconnect(); }

    const ComPtr<Interface>& object() const { return object_; }
    const ComPtr<ITransfer>& transfer() const { return transfer_; }
    const SessionOptions& options() const { return options_; }
    bool isTls() const { return isTls_; }

    bool isOpen() const {
        VARIANT_BOOL open = VARIANT_FALSE;
        transfer_->IsOpen(&open);
        return open != VARIANT_FALSE;
    }

    Status open() {
        if (isOpen()) {
            return {};
        }
        const auto count = [](std::chrono::milliseconds time) {
            return static_cast<LONG>(time.count());
        };
        object_->put_HostPort(options_.port);
        object_->put_TimeoutConnect(count(options_.connect_timeout));
        object_->put_TimeoutAuthentication(count(options_.reply_timeout));
        object_->put_TimeoutCommand(count(options_.reply_timeout));
        object_->put_TimeoutData(count(options_.data_timeout));
        if (!options_.log_file.empty()) {
            object_->put_LogFile(Text(options_.log_file));
        }
        if (isTls_) {
            object_->SetSecure(options_.port);
        }
        transfer_->RequireTls(isTls_ || options_.security == Security::starttls ? VARIANT_TRUE
                                                                                : VARIANT_FALSE);
        requireMemory(
            object_->Connect(Text(options_.host), Text(options_.user), Text(options_.password)));
        return status(Stage::connect,
                      "connect to " + options_.host + ":" + std::to_string(options_.port));
    }

    Reply reply() const {
        Reply reply;
        LONG code = 0;
        Text enhanced;
        Text text;
        requireMemory(transfer_->GetLastReply(&code, enhanced.put(), text.put()));
        return {code, enhanced.utf8(), text.utf8()};
    }

    Status status(Stage stage, const std::string& what) const {
        Status status = outcomeOf(object_, stage, what);
        if (!status) {
            VARIANT_BOOL cancelled = VARIANT_FALSE;
            transfer_->WasCancelled(&cancelled);
            const bool transfers = stage == Stage::send || stage == Stage::fetch;
            status.cancelled = transfers && cancelled != VARIANT_FALSE;
            status.reply = reply();
            explain(status, what);
        }
        return status;
    }

    /// Runs a transfer with an observer. What that throws comes out behind it.
    template <class Operation>
    void watched(const ProgressCallback& callback, Operation operation) {
        if (!callback) {
            operation();
            return;
        }
        Watch watch{&callback, nullptr};
        transfer_->SetObserver(&Watch::tell, &watch);
        operation();
        transfer_->SetObserver(nullptr, nullptr);
        if (watch.thrown) {
            std::rethrow_exception(watch.thrown);
        }
    }

    TlsInfo tls() const {
        Text version;
        Text cipher;
        Text names;
        Text issuer;
        Text lastDay;
        requireMemory(transfer_->GetTls(version.put(), cipher.put(), names.put()));
        requireMemory(transfer_->GetCertificate(issuer.put(), lastDay.put()));
        return {version.utf8(), cipher.utf8(), names.utf8(), issuer.utf8(), lastDay.utf8()};
    }
    std::vector<std::string> capabilities() const {
        Text lines;
        requireMemory(transfer_->GetCapabilities(lines.put()));
        return split(lines.utf8(), '\n');
    }

private:
    /// Says what went wrong, what the server said, and what to do.
    void explain(Status& status, const std::string& what) const {
        if (status.cancelled) {
            status.description = what + ": cancelled";
            return;
        }
        Text text;
        Text advice;
        requireMemory(transfer_->GetFailure(&status.cause, text.put(), advice.put()));
        status.description = text.empty() ? status.description : what + ": " + text.utf8();
        if (!status.reply.text.empty()) {
            status.description += "; the server said: ";
            status.description +=
                status.reply.code != 0 ? std::to_string(status.reply.code) + " " : "";
            status.description += status.reply.enhanced.empty() || status.reply.code == 0
                                      ? ""
                                      : status.reply.enhanced + " ";
            status.description += oneLine(status.reply.text);
        }
        advise(status);
    }

    struct Watch {
        const ProgressCallback* callback;
        std::exception_ptr thrown;

        static std::int32_t tell(void* context, std::uint64_t done, std::uint64_t all) {
            auto* const self = static_cast<Watch*>(context);
            try {
                return (*self->callback)({done, all}) ? 0 : 1;
            } catch (...) {
                self->thrown = std::current_exception();
                return 1;
            }
        }
    };

    ComPtr<Interface> object_;
    ComPtr<ITransfer> transfer_;
    SessionOptions options_;
    bool isTls_ = false;
};

/// What the two sessions share.
template <class Interface>
class Session {
public:
    bool is_open() const { return connection_->isOpen(); }
    /// Takes leave. The next operation connects again.
    void close() { connection_->object()->Disconnect(); }
    TlsInfo tls() const { return connection_->tls(); }
    /// What the server said that it can do, a line each.
    std::vector<std::string> capabilities() const { return connection_->capabilities(); }
    /// How it was logged in, "SCRAM-SHA-256" for one; empty without.
    std::string mechanism() const {
        Text name;
        detail::requireMemory(connection_->transfer()->GetMechanism(name.put()));
        return name.utf8();
    }
    /// The reply that decided the last operation.
    Reply last_reply() const { return connection_->reply(); }
    /// The object behind it, for what isn't here.
    const ComPtr<Interface>& object() const { return connection_->object(); }

protected:
    Session(const CLSID& classId, const UsualPorts& usual, SessionOptions options)
        : connection_(std::make_shared<Connection<Interface>>(classId, usual, std::move(options))) {
    }

    std::shared_ptr<Connection<Interface>> connection_;
};

}  // namespace detail

/// A connection to an SMTP server, ended with this object. After a failure that cost it, a
/// cancelled message for one, the next `send` connects again.
class SmtpSession : public detail::Session<ISmtp> {
public:
    /// Connects.
    explicit SmtpSession(SmtpOptions options) : SmtpSession(std::nothrow, std::move(options)) {
        detail::require(open(std::nothrow));
    }
    /// Connects at the first use.
    SmtpSession(std::nothrow_t, SmtpOptions options)
        : Session(CLSID_Smtp, detail::kSmtpPorts, std::move(options)) {
        if (connection_->options().security == Security::none) {
            connection_->object()->put_UseStartTls(VARIANT_FALSE);
        }
    }
    SmtpSession(SmtpSession&&) = default;
    /// Takes over the connection of the other.
    SmtpSession& operator=(SmtpSession&&) = default;

    /// Connects, unless that is done.
    Status open(std::nothrow_t) { return connection_->open(); }

    /// Sends a message. It fails when one recipient was refused, though the others have it then:
    /// `Error::recipients` tells.
    void send(const Message& message, const ProgressCallback& progress = {}) {
        detail::require(send(std::nothrow, message, progress));
    }
    Status send(std::nothrow_t, const Message& message, const ProgressCallback& progress = {}) {
        Status status = connection_->open();
        if (!status) {
            return status;
        }
        HRESULT result = S_OK;
        connection_->watched(
            progress, [&] { result = connection_->object()->Send(Value(message.object())); });
        detail::requireMemory(result);
        status = connection_->status(Stage::send, "send");
        if (!status) {
            status.recipients = recipients();
        }
        return status;
    }

    /// What the server said to each recipient of the last `send`.
    std::vector<Recipient> recipients() const {
        LONG count = 0;
        connection_->transfer()->CountRecipients(&count);
        std::vector<Recipient> all;
        for (LONG i = 1; i <= count; ++i) {
            Text address;
            Text enhanced;
            Text text;
            LONG code = 0;
            detail::requireMemory(connection_->transfer()->GetRecipient(
                i, address.put(), &code, enhanced.put(), text.put()));
            all.push_back({address.utf8(), {code, enhanced.utf8(), text.utf8()}});
        }
        return all;
    }

    /// Leaves a message in the queue folder (docs/queue.md), with the server that gets it. Connects
    /// to nothing.
    void queue(const Message& message) { detail::require(queue(std::nothrow, message)); }
    Status queue(std::nothrow_t, const Message& message) {
        const SessionOptions& options = connection_->options();
        detail::requireMemory(connection_->object()->Queue(
            Value(message.object()), Text(options.host), options.port, connection_->isTls() ? 1 : 0,
            Text(options.user), Text(options.password)));
        return detail::statusOf(connection_->object(), Stage::queue, "queue");
    }
};

/// Leaves a message in the queue folder for `tessolt-queue`, which sends it to that server.
inline Status queue(std::nothrow_t, const Message& message, SmtpOptions options) {
    return SmtpSession(std::nothrow, std::move(options)).queue(std::nothrow, message);
}
inline void queue(const Message& message, SmtpOptions options) {
    detail::require(queue(std::nothrow, message, std::move(options)));
}

/// A message of a mailbox as the server lists it.
struct MailboxEntry {
    LONG number = 0;         ///< In this session, from 1.
    std::uint64_t size = 0;  ///< In bytes.
    /// The same in every session; empty where the server has none.
    std::string unique_id = {};
};

/// A connection to a POP3 mailbox, ended with this object and the ranges that it gave; only then,
/// or by `close`, what was erased goes.
class Pop3Session : public detail::Session<IPop3> {
    using SharedConnection = std::shared_ptr<detail::Connection<IPop3>>;

    static Status list(const SharedConnection& connection, std::vector<MailboxEntry>& entries) {
        entries.clear();
        Status status = connection->open();
        LONG count = 0;
        if (status) {
            detail::requireMemory(connection->transfer()->ListMessages(&count));
            status = connection->status(Stage::list, "list");
        }
        for (LONG i = 1; status && i <= count; ++i) {
            MailboxEntry entry;
            Text id;
            detail::requireMemory(
                connection->transfer()->GetListed(i, &entry.number, &entry.size, id.put()));
            entry.unique_id = id.utf8();
            entries.push_back(std::move(entry));
        }
        return status;
    }

    /// Connects again. Numbers are those of one session, so only a unique id tells which message
    /// was meant.
    static Status findAgain(const SharedConnection& connection, MailboxEntry& entry) {
        std::vector<MailboxEntry> entries;
        Status status = list(connection, entries);
        if (!status) {
            return status;
        }
        for (const MailboxEntry& each : entries) {
            if (!entry.unique_id.empty() && each.unique_id == entry.unique_id) {
                entry.number = each.number;
                return {};
            }
        }
        return detail::failure(Stage::fetch, TESSOLT_ERROR_POP3_NO_SUCH_MESSAGE,
                               "fetch: a new connection has no message with this unique id");
    }

    static Status fetch(const SharedConnection& connection, const MailboxEntry& entry, bool whole,
                        const ProgressCallback& progress, std::optional<Message>& message) {
        message.reset();
        MailboxEntry found = entry;
        if (!connection->isOpen()) {
            Status status = findAgain(connection, found);
            if (!status) {
                return status;
            }
        }
        Value value;
        HRESULT result = S_OK;
        connection->watched(progress, [&] {
            IPop3& pop3 = *connection->object();
            result = whole ? pop3.GetEmailMessage(found.number, value.put())
                           : pop3.GetEmailHeader(found.number, value.put());
        });
        detail::requireMemory(result);
        Status status = connection->status(Stage::fetch, "fetch " + std::to_string(found.number));
        if (status) {
            message.emplace(value.object<IEMailMessage>());
            message->unique_id(entry.unique_id);
        }
        return status;
    }

public:
    /// The messages of a mailbox one after the other, each fetched as the loop comes to it. It
    /// keeps the connection open.
    class Messages {
    public:
        class iterator {
        public:
            using iterator_category = std::input_iterator_tag;
            using value_type = Message;
            using difference_type = std::ptrdiff_t;
            using pointer = Message*;
            using reference = Message&;

            explicit iterator(Messages* range = nullptr) : range_(range) {}
            Message& operator*() const { return *range_->current_; }
            Message* operator->() const { return &*range_->current_; }
            iterator& operator++() {
                range_ = range_->advance() ? range_ : nullptr;
                return *this;
            }
            void operator++(int) { ++*this; }
            friend bool operator==(const iterator& a, const iterator& b) {
                return a.range_ == b.range_;
            }
            friend bool operator!=(const iterator& a, const iterator& b) { return !(a == b); }

        private:
            Messages* range_;
        };

        /// Fetches the first message. To be called once.
        iterator begin() { return advance() ? iterator(this) : iterator(); }
        /// Behind the last.
        iterator end() { return iterator(); }

    private:
        friend class Pop3Session;
        Messages(SharedConnection connection, ProgressCallback progress)
            : connection_(std::move(connection)), progress_(std::move(progress)) {
            detail::require(Pop3Session::list(connection_, entries_));
        }
        bool advance() {
            if (next_ == entries_.size()) {
                current_.reset();
                return false;
            }
            detail::require(
                Pop3Session::fetch(connection_, entries_[next_++], true, progress_, current_));
            return true;
        }

        SharedConnection connection_;
        ProgressCallback progress_;
        std::vector<MailboxEntry> entries_;
        std::size_t next_ = 0;
        std::optional<Message> current_;
    };

    /// Connects.
    explicit Pop3Session(Pop3Options options) : Pop3Session(std::nothrow, std::move(options)) {
        detail::require(open(std::nothrow));
    }
    /// Connects at the first use.
    Pop3Session(std::nothrow_t, Pop3Options options)
        : Session(CLSID_Pop3, detail::kPop3Ports, std::move(options)) {}
    Pop3Session(Pop3Session&&) = default;
    /// Takes over the connection of the other.
    Pop3Session& operator=(Pop3Session&&) = default;

    /// Connects, unless that is done.
    Status open(std::nothrow_t) { return connection_->open(); }

    /// The messages that aren't erased.
    std::vector<MailboxEntry> list() {
        std::vector<MailboxEntry> entries;
        detail::require(list(connection_, entries));
        return entries;
    }
    Status list(std::nothrow_t, std::vector<MailboxEntry>& entries) {
        return list(connection_, entries);
    }
    /// For a loop over all messages. What fails in it throws; without exceptions use `list` and
    /// `fetch`.
    Messages messages(ProgressCallback progress = {}) { return {connection_, std::move(progress)}; }
    /// One message, or its header alone.
    Message fetch(const MailboxEntry& entry, const ProgressCallback& progress = {}) {
        return take(entry, true, progress);
    }
    /// The header of a message alone.
    Message fetch_header(const MailboxEntry& entry) { return take(entry, false, {}); }
    /// The same as `fetch` without exceptions: no message where it fails.
    Status fetch(std::nothrow_t, const MailboxEntry& entry, std::optional<Message>& message,
                 const ProgressCallback& progress = {}) {
        return fetch(connection_, entry, true, progress, message);
    }
    Status fetch_header(std::nothrow_t, const MailboxEntry& entry,
                        std::optional<Message>& message) {
        return fetch(connection_, entry, false, {}, message);
    }
    /// Marks a message for deletion, which the server does when the session is closed.
    void erase(const Message& message) { detail::require(erase(std::nothrow, message.number())); }
    void erase(const MailboxEntry& entry) { detail::require(erase(std::nothrow, entry.number)); }
    Status erase(std::nothrow_t, const Message& message) {
        return erase(std::nothrow, message.number());
    }
    Status erase(std::nothrow_t, const MailboxEntry& entry) {
        return erase(std::nothrow, entry.number);
    }
    Status erase(std::nothrow_t, LONG number) {
        // The numbers are those of the session that is open: another might have other ones.
        detail::requireMemory(connection_->object()->DeleteMessage(number));
        return connection_->status(Stage::remove, "erase " + std::to_string(number));
    }

private:
    Message take(const MailboxEntry& entry, bool whole, const ProgressCallback& progress) {
        std::optional<Message> message;
        detail::require(fetch(connection_, entry, whole, progress, message));
        return std::move(*message);
    }
};

}  // namespace tessolt
