/// The messages of the C++ front end: what is thrown, `Message`, `Attachment`, safe file names. Use
/// mail.h, which has it all.
#pragma once

#include <fcntl.h>
#include <tessolt/advice.h>
#include <tessolt/message_data.h>
#include <tessolt/safe_name.h>
#include <tessolt/server.h>
#include <tessolt/tessolt.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessolt {

/// What was being done.
enum class Stage { compose, load, save, connect, send, queue, list, fetch, remove };

/// What a server said.
struct Reply {
    int code = 0;               ///< Of SMTP; 0 when there was none, and for POP3.
    std::string enhanced = {};  ///< "5.1.1" (RFC 3463) or "IN-USE" (RFC 2449); often empty.
    std::string text = {};      ///< Its words.
};

/// What a server said to one recipient.
struct Recipient {
    std::string address = {};
    Reply reply = {};
    bool accepted() const { return reply.code >= 200 && reply.code <= 299; }
};

/// How an operation went. Tests as true when it succeeded.
struct [[nodiscard]] Status {
    LONG number = 0;               ///< 0, or the error number of the catalogue.
    Stage stage = Stage::compose;  ///< What was being done.
    LONG cause = 0;                ///< A TESSOLT_CAUSE, where one is known.
    /// One line for people: what was tried, what went wrong, what the server said, what to do.
    std::string description = {};
    std::string advice = {};  ///< The last part of it alone; empty where nothing is known.
    Reply reply = {};         ///< The reply that decided, if a server was in it.
    bool cancelled = false;   ///< The progress callback wanted no more.
    /// Of a `send`: who got the message and who didn't.
    std::vector<Recipient> recipients = {};

    explicit operator bool() const { return number == 0; }
};

/// What is thrown when an operation fails.
class Error : public std::runtime_error {
public:
    explicit Error(Status status)
        : std::runtime_error(status.description),
          status_(std::make_shared<const Status>(std::move(status))) {}

    LONG number() const { return status_->number; }
    Stage stage() const { return status_->stage; }
    LONG cause() const { return status_->cause; }
    const std::string& advice() const { return status_->advice; }
    const Reply& reply() const { return status_->reply; }
    bool cancelled() const { return status_->cancelled; }
    /// Of a `send`: some of these may have got the message.
    const std::vector<Recipient>& recipients() const { return status_->recipients; }

private:
    std::shared_ptr<const Status> status_;
};

/// How far a message has come on its way.
struct Progress {
    std::uint64_t done = 0;
    std::uint64_t all = 0;  ///< 0 when the server didn't tell.
};

/// Is told of the progress at most every 50 ms; false cancels. What it throws cancels too, and
/// comes out of the operation.
using ProgressCallback = std::function<bool(Progress)>;

namespace detail {

inline constexpr LONG kAttachmentUnreadable = 37605;
inline constexpr LONG kAttachmentUnwritable = 37607;
inline constexpr LONG kNoSuchClass = -1;
inline constexpr LONG kNoMessage = 37516;
inline constexpr int kMostNames = 100000;

inline void require(const Status& status) {
    if (!status) {
        throw Error(status);
    }
}

inline void requireMemory(HRESULT result) {
    if (result == E_OUTOFMEMORY) {
        throw std::bad_alloc();
    }
}

/// Makes an object and the further interface of it.
template <class Interface, class Further>
void create(const CLSID& classId, ComPtr<Interface>& object, ComPtr<Further>& further) {
    requireMemory(CoCreateInstance(classId, nullptr, 0, Interface::kIid, object.putVoid()));
    further = object.template as<Further>();
    if (!further) {
        Status status;
        status.number = kNoSuchClass;
        status.description = "the library is older than this header";
        throw Error(std::move(status));
    }
}

template <class Interface>
std::string read(const ComPtr<Interface>& object, HRESULT (Interface::*property)(BSTR*)) {
    Text text;
    requireMemory((object.get()->*property)(text.put()));
    return text.utf8();
}

/// A text in one line, without what ends its sentence.
inline std::string oneLine(std::string text) {
    for (char& c : text) {
        c = (c >= 0 && c < ' ') || c == '\x7F' ? ' ' : c;
    }
    text.erase(text.find_last_not_of(" .") + 1);
    return text;
}

/// Puts the advice for a cause, or for a number, behind the description.
inline void advise(Status& status) {
    Text text;
    *text.put() = TessoltAllocAdvice(status.cause != 0 ? status.cause : status.number);
    status.advice = text.utf8();
    if (!status.advice.empty()) {
        status.description = oneLine(std::move(status.description)) + ". " + status.advice;
    }
}

/// The outcome of the last operation of `object`, without advice.
template <class Interface>
Status outcomeOf(const ComPtr<Interface>& object, Stage stage, const std::string& what) {
    Status status;
    status.stage = stage;
    object->get_LastError(&status.number);
    if (status.number != 0) {
        Text text;
        object->GetErrorDescription(status.number, text.put());
        status.description = what + ": " + text.utf8();
    }
    return status;
}

template <class Interface>
Status statusOf(const ComPtr<Interface>& object, Stage stage, const std::string& what) {
    Status status = outcomeOf(object, stage, what);
    if (!status) {
        advise(status);
    }
    return status;
}

inline Status failure(Stage stage, LONG number, std::string description, LONG cause = 0) {
    Status status;
    status.number = number;
    status.stage = stage;
    status.cause = cause;
    status.description = std::move(description);
    advise(status);
    return status;
}

/// What an error of the system says about a file.
inline Status fileFailure(Stage stage, LONG number, const std::string& path, int error) {
    LONG cause = TESSOLT_CAUSE_FILE_OTHER;
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            cause = TESSOLT_CAUSE_FILE_MISSING;
            break;
        case EACCES:
        case EPERM:
        case EROFS:
            cause = TESSOLT_CAUSE_FILE_FORBIDDEN;
            break;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            cause = TESSOLT_CAUSE_DISK_FULL;
            break;
        default:
            break;
    }
    return failure(stage, number, path + ": " + std::generic_category().message(error), cause);
}

inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return pieces;
}

/// A file descriptor, closed when this goes.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }
    int get() const { return number_; }
    int close() {
        const int number = std::exchange(number_, -1);
        return number >= 0 && ::close(number) != 0 ? errno : 0;
    }
    /// Writes it all; 0 or an errno number.
    int write(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::write(number_, bytes.data(), bytes.size());
            if (count < 0 && errno != EINTR) {
                return errno;
            }
            bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return 0;
    }

private:
    int number_;
};

}  // namespace detail

/// What `save_to` does about a file that is there already.
enum class Existing {
    keep,    ///< It stays, and the new one gets a number: "photo (2).jpg".
    replace  ///< The new file takes its place in one step.
};

/// One header field.
struct Header {
    std::string name;
    std::string value;  ///< Unfolded and decoded.
    std::string raw;    ///< As it stands in the message.
};

/// One part of a message's tree.
struct Part {
    int depth = 0;                  ///< 0 for the message itself.
    std::string content_type = {};  ///< "multipart/mixed".
    std::string name = {};          ///< As the sender wrote it; often empty.
    std::uint64_t size = 0;         ///< Bytes of its content as it is sent.
};

/// One attachment of a message. Good while its message isn't changed; it may outlive the `Message`.
class Attachment {
public:
    Attachment(ComPtr<IEMailMessage> message, ComPtr<IMessageData> data, LONG number)
        : message_(std::move(message)), data_(std::move(data)), number_(number) {
        Text type;
        Text id;
        Text disposition;
        detail::requireMemory(
            data_->GetAttachmentType(number, type.put(), id.put(), disposition.put()));
        type_ = type.utf8();
        id_ = id.utf8();
        disposition_ = disposition.utf8();
        Text name;
        detail::requireMemory(message_->GetAttachmentName(number, name.put()));
        name_ = name.utf8();
    }

    /// As the sender wrote it: never a path to be trusted.
    const std::string& name() const { return name_; }
    /// "image/png".
    const std::string& content_type() const { return type_; }
    /// Without brackets; empty where it has none.
    const std::string& content_id() const { return id_; }
    /// Whether it is to be shown within the text.
    bool is_inline() const { return disposition_ == "inline"; }

    /// Its decoded bytes.
    std::string bytes() const {
        const ByteView view = viewBytes();
        return view.size > 0 ? std::string(view.data, view.size) : std::string();
    }

    /// Writes it into a folder under a safe name; the path says which. Nothing is followed out of
    /// the folder, no other file is changed, and what can't be written whole is removed again.
    std::filesystem::path save_to(const std::filesystem::path& folder,
                                  Existing existing = Existing::keep) const {
        std::filesystem::path path;
        detail::require(save_to(std::nothrow, folder, path, existing));
        return path;
    }
    Status save_to(std::nothrow_t, const std::filesystem::path& folder, std::filesystem::path& path,
                   Existing existing = Existing::keep) const {
        ByteView view = {};
        detail::requireMemory(data_->GetAttachmentBytes(number_, &view));
        Status status = detail::statusOf(message_, Stage::save, name_);
        if (!status) {
            return status;
        }
        const detail::Descriptor place(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (place.get() < 0) {
            return unwritable(folder, errno);
        }
        std::string name;
        const int error = write(place.get(), {view.data, view.size}, existing, name);
        path = folder / name;
        return error == 0 ? Status() : unwritable(path, error);
    }

private:
    ByteView viewBytes() const {
        ByteView view = {};
        detail::requireMemory(data_->GetAttachmentBytes(number_, &view));
        detail::require(detail::statusOf(message_, Stage::save, name_));
        return view;
    }

    static Status unwritable(const std::filesystem::path& path, int error) {
        return detail::fileFailure(Stage::save, detail::kAttachmentUnwritable, path.string(),
                                   error);
    }

    static std::string numbered(const std::string& name, int number) {
        const std::size_t ending = detail::endingOf(name);
        return name.substr(0, ending) + " (" + std::to_string(number) + ")" + name.substr(ending);
    }

    /// Writes a new file; 0 or an errno number. `name` is the one that it got.
    int write(int folder, std::string_view bytes, Existing existing, std::string& name) const {
        constexpr int kMode = 0666;
        const std::string wanted = safe_name(name_);
        const std::string first = existing == Existing::replace ? wanted + ".new" : wanted;
        name = first;
        int number = -1;
        for (int i = 2; i < detail::kMostNames && number < 0; ++i) {
            number = ::openat(folder, name.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode);
            if (number < 0 && errno != EEXIST) {
                return errno;
            }
            if (number < 0) {
                name = numbered(first, i);
            }
        }
        if (number < 0) {
            return EEXIST;
        }
        detail::Descriptor file(number);
        int error = file.write(bytes);
        const int closed = file.close();
        error = error != 0 ? error : closed;
        if (error == 0 && existing == Existing::replace) {
            error = ::renameat(folder, name.c_str(), folder, wanted.c_str()) == 0 ? 0 : errno;
        }
        if (error != 0) {
            ::unlinkat(folder, name.c_str(), 0);
        } else if (existing == Existing::replace) {
            name = wanted;
        }
        return error;
    }

    ComPtr<IEMailMessage> message_;
    ComPtr<IMessageData> data_;
    LONG number_;
    std::string name_, type_, id_, disposition_;
};

/// One message: composed here, loaded, or fetched.
class Message {
public:
    /// An empty one.
    Message() {
        detail::create(CLSID_EMailMessage, message_, data_);
        data_->UseRules(TESSOLT_RULES_CURRENT);
    }
    /// What a session fetched.
    explicit Message(ComPtr<IEMailMessage> message)
        : message_(std::move(message)), data_(message_.as<IMessageData>()) {}
    Message(Message&&) = default;
    Message& operator=(Message&&) = default;

    /// The message in these bytes, or in a file.
    static Message parse(std::string_view bytes) {
        Message message;
        detail::require(message.parse(std::nothrow, bytes));
        return message;
    }
    Status parse(std::nothrow_t, std::string_view bytes) {
        detail::requireMemory(data_->LoadBytes(bytes.data(), bytes.size()));
        return status(Stage::load, "load");
    }
    static Message load(const std::filesystem::path& file) {
        Message message;
        detail::require(message.load(std::nothrow, file));
        return message;
    }
    Status load(std::nothrow_t, const std::filesystem::path& file) {
        std::string bytes;
        const Status status = readFile(Stage::load, file, bytes);
        return status ? parse(std::nothrow, bytes) : status;
    }

    // Composing. Each returns the message, so that calls can follow each other.

    Message& from(const std::string& address, const std::string& name = {}) {
        message_->put_FromAddress(Text(address));
        message_->put_FromName(Text(name));
        return *this;
    }
    /// Adds a recipient, or several with commas between them, which then get no name.
    Message& to(const std::string& address, const std::string& name = {}) {
        detail::require(to(std::nothrow, address, name));
        return *this;
    }
    Status to(std::nothrow_t, const std::string& address, const std::string& name = {}) {
        detail::requireMemory(message_->AddTo(Text(address), Text(name)));
        return status(Stage::compose, address);
    }
    Message& cc(const std::string& address, const std::string& name = {}) {
        detail::requireMemory(message_->AddCc(Text(address), Text(name)));
        return checked(address);
    }
    Message& bcc(const std::string& address, const std::string& name = {}) {
        detail::requireMemory(message_->AddBcc(Text(address), Text(name)));
        return checked(address);
    }
    Message& reply_to(const std::string& address) {
        message_->put_ReplyAddress(Text(address));
        return *this;
    }
    Message& subject(const std::string& text) {
        message_->put_Subject(Text(text));
        return *this;
    }
    Message& text(const std::string& text) {
        message_->put_BodyPlainText(Text(text));
        return *this;
    }
    Message& html(const std::string& html) {
        message_->put_BodyHtml(Text(html));
        return *this;
    }
    /// When it was written, as a clock shows it that is so many minutes ahead of UTC; without this,
    /// the time of sending.
    Message& date(std::chrono::system_clock::time_point time, int minutesAhead = 0) {
        const auto seconds =
            std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch());
        if (data_->SetDate(seconds.count(), minutesAhead) != S_OK) {
            throw Error(detail::failure(Stage::compose, -1, "date: out of range"));
        }
        return *this;
    }
    /// With brackets: "<1@example.org>". Without this, one is made.
    Message& message_id(const std::string& id) { return header("Message-ID", id); }
    /// What this answers, and all that it follows.
    Message& in_reply_to(const std::string& id) { return header("In-Reply-To", id); }
    Message& references(const std::vector<std::string>& ids) {
        std::string all;
        for (const std::string& id : ids) {
            all += all.empty() ? id : " " + id;
        }
        return header("References", all);
    }
    /// Sets a field of one's own.
    Message& header(const std::string& name, const std::string& value) {
        detail::requireMemory(data_->SetField(Text(name), Text(value)));
        return checked(name);
    }

    /// Attaches a file under its name.
    Message& attach(const std::filesystem::path& file) {
        detail::require(attach(std::nothrow, file));
        return *this;
    }
    Status attach(std::nothrow_t, const std::filesystem::path& file) {
        std::string bytes;
        const Status status = readFile(Stage::compose, file, bytes);
        return status ? add(bytes, file.filename().string(), {}) : status;
    }
    /// Attaches bytes; without a content type it is told from the name.
    Message& attach(std::string_view bytes, const std::string& name, const std::string& type = {}) {
        detail::require(add(bytes, name, type));
        return *this;
    }
    /// The same of a vector, array or the like of bytes.
    template <class Bytes,
              class = std::enable_if_t<!std::is_convertible_v<const Bytes&, std::string_view> &&
                                       sizeof(*std::data(std::declval<const Bytes&>())) == 1>>
    Message& attach(const Bytes& bytes, const std::string& name, const std::string& type = {}) {
        return attach(viewOf(bytes), name, type);
    }
    /// Adds an image that the HTML shows as "cid:" + `contentId`.
    Message& embed(std::string_view bytes, const std::string& name, const std::string& contentId,
                   const std::string& type = {}) {
        attach(bytes, name, type);
        LONG count = 0;
        message_->CountAttachments(&count);
        detail::requireMemory(data_->SetInline(count, Text(contentId)));
        return checked(contentId);
    }
    template <class Bytes,
              class = std::enable_if_t<!std::is_convertible_v<const Bytes&, std::string_view> &&
                                       sizeof(*std::data(std::declval<const Bytes&>())) == 1>>
    Message& embed(const Bytes& bytes, const std::string& name, const std::string& contentId,
                   const std::string& type = {}) {
        return embed(viewOf(bytes), name, contentId, type);
    }

    // Reading.

    std::string from_address() const { return read(&IEMailMessage::get_FromAddress); }
    std::string from_name() const { return read(&IEMailMessage::get_FromName); }
    std::string subject() const { return read(&IEMailMessage::get_Subject); }
    std::string text() const { return read(&IEMailMessage::get_BodyPlainText); }
    std::string html() const { return read(&IEMailMessage::get_BodyHtml); }
    /// The addresses of the recipients.
    std::vector<std::string> to() const { return addresses(&IEMailMessage::get_ToAddress); }
    std::vector<std::string> cc() const { return addresses(&IEMailMessage::get_CcAddress); }
    std::vector<std::string> bcc() const { return addresses(&IEMailMessage::get_BccAddress); }
    /// The text of the first field of that name, empty without one; of a composed message as it was
    /// last rendered.
    std::string header(const std::string& name) const {
        Text value;
        detail::requireMemory(message_->GetHeaderValue(Text(name), value.put()));
        return value.utf8();
    }
    /// All fields in their order.
    std::vector<Header> headers() const {
        LONG count = 0;
        detail::requireMemory(data_->CountFields(&count));
        std::vector<Header> fields;
        for (LONG i = 1; i <= count; ++i) {
            Text name;
            Text value;
            ByteView raw = {};
            detail::requireMemory(data_->GetField(i, name.put(), value.put(), &raw));
            fields.push_back({name.utf8(), value.utf8(), std::string(raw.data, raw.size)});
        }
        return fields;
    }
    /// The tree of parts, each in front of those within it.
    std::vector<Part> parts() const {
        LONG count = 0;
        detail::requireMemory(data_->CountParts(&count));
        std::vector<Part> tree;
        for (LONG i = 1; i <= count; ++i) {
            LONG depth = 0;
            Text type;
            Text name;
            Part part;
            detail::requireMemory(data_->GetPart(i, &depth, type.put(), name.put(), &part.size));
            part.depth = depth;
            part.content_type = type.utf8();
            part.name = name.utf8();
            tree.push_back(std::move(part));
        }
        return tree;
    }
    std::vector<Attachment> attachments() const {
        LONG count = 0;
        message_->CountAttachments(&count);
        std::vector<Attachment> all;
        for (LONG i = 1; i <= count; ++i) {
            all.emplace_back(message_, data_, i);
        }
        return all;
    }
    /// The bytes as they were fetched or loaded, for an archive; empty for a composed message. Good
    /// while the message isn't changed.
    std::string_view raw() const {
        ByteView view = {};
        data_->GetLoadedBytes(&view);
        return {view.data, view.size};
    }
    /// The MIME text that would be sent now.
    std::string mime() const {
        render();
        ByteView view = {};
        detail::requireMemory(data_->GetMimeBytes(&view));
        return {view.data, view.size};
    }
    /// The number and the unique id in the mailbox that it was fetched from; 0 and empty otherwise.
    LONG number() const {
        LONG number = 0;
        message_->get_ID(&number);
        return number;
    }
    const std::string& unique_id() const { return uniqueId_; }
    void unique_id(std::string id) { uniqueId_ = std::move(id); }

    /// The object behind it, for what isn't here.
    const ComPtr<IEMailMessage>& object() const { return message_; }

private:
    std::string read(HRESULT (IEMailMessage::*property)(BSTR*)) const {
        return detail::read(message_, property);
    }
    std::vector<std::string> addresses(HRESULT (IEMailMessage::*property)(BSTR*)) const {
        return detail::split(read(property), ';');
    }
    Status status(Stage stage, const std::string& what) const {
        return detail::statusOf(message_, stage, what);
    }
    Message& checked(const std::string& what) {
        detail::require(status(Stage::compose, what));
        return *this;
    }
    void render() const {
        detail::requireMemory(message_->Encode());
        detail::require(status(Stage::compose, "encode"));
    }
    Status add(std::string_view bytes, const std::string& name, const std::string& type) {
        detail::requireMemory(
            data_->AddAttachmentBytes(bytes.data(), bytes.size(), Text(name), Text(type)));
        return status(Stage::compose, name);
    }
    template <class Bytes>
    static std::string_view viewOf(const Bytes& bytes) {
        return {reinterpret_cast<const char*>(std::data(bytes)), std::size(bytes)};
    }
    static Status readFile(Stage stage, const std::filesystem::path& file, std::string& bytes) {
        std::error_code error;
        std::ifstream stream;
        if (std::filesystem::is_regular_file(file, error)) {
            stream.open(file, std::ios::binary);
        }
        if (!stream.is_open()) {
            const int reason = error                                        ? error.value()
                               : std::filesystem::is_directory(file, error) ? EISDIR
                               : std::filesystem::exists(file, error)       ? EACCES
                                                                            : ENOENT;
            return detail::fileFailure(stage, detail::kAttachmentUnreadable, file.string(), reason);
        }
        bytes.assign(std::istreambuf_iterator<char>(stream), {});
        return stream.bad()
                   ? detail::fileFailure(stage, detail::kAttachmentUnreadable, file.string(), EIO)
                   : Status();
    }

    ComPtr<IEMailMessage> message_;
    ComPtr<IMessageData> data_;
    std::string uniqueId_;
};

}  // namespace tessolt
