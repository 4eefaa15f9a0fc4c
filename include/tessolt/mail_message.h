/// The messages of the C++ front end. Use mail.h, which has it all.
#pragma once

#include <tessolt/mail_attachment.h>
#include <tessolt/mail_status.h>
#include <tessolt/message_data.h>
#include <tessolt/tessolt.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessolt {

namespace detail {

/// Holds for ranges of bytes that are no texts.
template <class Bytes>
using IfBytes = std::enable_if_t<!std::is_convertible_v<const Bytes&, std::string_view> &&
                                 sizeof(*std::data(std::declval<const Bytes&>())) == 1>;

}  // namespace detail

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
    /// A copy of all of it, blind copies, attachments and bytes as they came included. Bytes
    /// that were loaded are shared.
    Message(const Message& other) : uniqueId_(other.uniqueId_) {
        if (other.data_) {
            detail::requireMemory(other.data_->Copy(message_.put()));
            data_ = message_.as<IMessageData>();
        }
    }
    /// Takes over the message of the other, which is a copy where that one stays.
    Message& operator=(Message other) noexcept {
        message_ = std::move(other.message_);
        data_ = std::move(other.data_);
        uniqueId_ = std::move(other.uniqueId_);
        return *this;
    }
    ~Message() = default;

    /// The message in these bytes.
    static Message parse(std::string_view bytes) {
        Message message;
        detail::require(message.parse(std::nothrow, bytes));
        return message;
    }
    Status parse(std::nothrow_t, std::string_view bytes) {
        detail::requireMemory(data_->LoadBytes(bytes.data(), bytes.size()));
        return status(Stage::load, "load");
    }
    /// The message in a file.
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

    /// Who sends it.
    Message& from(const std::string& address, const std::string& name = {}) {
        message_->put_FromAddress(Text(address));
        message_->put_FromName(Text(name));
        return *this;
    }
    /// Adds a recipient, or several with commas between them, which then get no name.
    Message& to(const std::string& address, const std::string& name = {}) {
        return checked(to(std::nothrow, address, name));
    }
    Status to(std::nothrow_t, const std::string& address, const std::string& name = {}) {
        return addTo(&IEMailMessage::AddTo, address, name);
    }
    /// The same for those who get a copy.
    Message& cc(const std::string& address, const std::string& name = {}) {
        return checked(cc(std::nothrow, address, name));
    }
    Status cc(std::nothrow_t, const std::string& address, const std::string& name = {}) {
        return addTo(&IEMailMessage::AddCc, address, name);
    }
    /// The same for those who get a copy of which the others don't know.
    Message& bcc(const std::string& address, const std::string& name = {}) {
        return checked(bcc(std::nothrow, address, name));
    }
    Status bcc(std::nothrow_t, const std::string& address, const std::string& name = {}) {
        return addTo(&IEMailMessage::AddBcc, address, name);
    }
    /// Where answers go, if not to the sender.
    Message& reply_to(const std::string& address) {
        message_->put_ReplyAddress(Text(address));
        return *this;
    }
    /// What it is about.
    Message& subject(const std::string& text) {
        message_->put_Subject(Text(text));
        return *this;
    }
    /// The letter as plain text.
    Message& text(const std::string& text) {
        message_->put_BodyPlainText(Text(text));
        return *this;
    }
    /// The letter as HTML.
    Message& html(const std::string& html) {
        message_->put_BodyHtml(Text(html));
        return *this;
    }
    /// When it was written, as a clock shows it that is so many minutes ahead of UTC; without this,
    /// the time of sending.
    Message& date(std::chrono::system_clock::time_point time, int minutesAhead = 0) {
        return checked(date(std::nothrow, time, minutesAhead));
    }
    Status date(std::nothrow_t, std::chrono::system_clock::time_point time, int minutesAhead = 0) {
        const auto seconds =
            std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch());
        return data_->SetDate(seconds.count(), minutesAhead) == S_OK
                   ? Status()
                   : detail::failure(Stage::compose, TESSOLT_ERROR_INVALID_ARGUMENT,
                                     "date: out of range");
    }
    /// With brackets: "<1@example.org>". Without this, one is made.
    Message& message_id(const std::string& id) { return header("Message-ID", id); }
    /// What this answers, and all that it follows.
    Message& in_reply_to(const std::string& id) { return header("In-Reply-To", id); }
    /// The ids of the messages before it, the oldest first.
    Message& references(const std::vector<std::string>& ids) {
        std::string all;
        for (const std::string& id : ids) {
            all += all.empty() ? id : " " + id;
        }
        return header("References", all);
    }
    /// Sets a field of one's own.
    Message& header(const std::string& name, const std::string& value) {
        return checked(header(std::nothrow, name, value));
    }
    Status header(std::nothrow_t, const std::string& name, const std::string& value) {
        detail::requireMemory(data_->SetField(Text(name), Text(value)));
        return status(Stage::compose, name);
    }

    /// Attaches a file under its name.
    Message& attach(const std::filesystem::path& file) {
        return checked(attach(std::nothrow, file));
    }
    Status attach(std::nothrow_t, const std::filesystem::path& file) {
        std::string bytes;
        const Status status = readFile(Stage::compose, file, bytes);
        return status ? add(bytes, file.filename().string(), {}) : status;
    }
    /// Attaches bytes; without a content type it is told from the name.
    Message& attach(std::string_view bytes, const std::string& name, const std::string& type = {}) {
        return checked(add(bytes, name, type));
    }
    Status attach(std::nothrow_t, std::string_view bytes, const std::string& name,
                  const std::string& type = {}) {
        return add(bytes, name, type);
    }
    /// The same of a vector, array or the like of bytes.
    template <class Bytes, class = detail::IfBytes<Bytes>>
    Message& attach(const Bytes& bytes, const std::string& name, const std::string& type = {}) {
        return attach(viewOf(bytes), name, type);
    }
    /// Adds an image that the HTML shows as "cid:" + `contentId`.
    Message& embed(std::string_view bytes, const std::string& name, const std::string& contentId,
                   const std::string& type = {}) {
        return checked(embed(std::nothrow, bytes, name, contentId, type));
    }
    Status embed(std::nothrow_t, std::string_view bytes, const std::string& name,
                 const std::string& contentId, const std::string& type = {}) {
        Status status = add(bytes, name, type);
        if (status) {
            LONG count = 0;
            message_->CountAttachments(&count);
            detail::requireMemory(data_->SetInline(count, Text(contentId)));
            status = this->status(Stage::compose, contentId);
        }
        return status;
    }
    /// The same of a vector, array or the like of bytes.
    template <class Bytes, class = detail::IfBytes<Bytes>>
    Message& embed(const Bytes& bytes, const std::string& name, const std::string& contentId,
                   const std::string& type = {}) {
        return embed(viewOf(bytes), name, contentId, type);
    }

    // Reading.

    /// The address of the sender.
    std::string from_address() const { return read(&IEMailMessage::get_FromAddress); }
    /// The name of the sender; empty without one.
    std::string from_name() const { return read(&IEMailMessage::get_FromName); }
    /// What it is about.
    std::string subject() const { return read(&IEMailMessage::get_Subject); }
    /// The letter as plain text.
    std::string text() const { return read(&IEMailMessage::get_BodyPlainText); }
    /// The letter as HTML.
    std::string html() const { return read(&IEMailMessage::get_BodyHtml); }
    /// The addresses of the recipients.
    std::vector<std::string> to() const { return addresses(&IEMailMessage::get_ToAddress); }
    /// The addresses of those who get a copy.
    std::vector<std::string> cc() const { return addresses(&IEMailMessage::get_CcAddress); }
    /// The addresses of those who get a hidden copy.
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
    /// Its attachments, images of the HTML among them.
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
        std::string bytes;
        detail::require(mime(std::nothrow, bytes));
        return bytes;
    }
    Status mime(std::nothrow_t, std::string& bytes) const {
        detail::requireMemory(message_->Encode());
        Status encoded = status(Stage::compose, "encode");
        ByteView view = {};
        if (encoded) {
            detail::requireMemory(data_->GetMimeBytes(&view));
        }
        bytes.assign(view.size > 0 ? view.data : "", view.size);
        return encoded;
    }
    /// The number in the mailbox that it was fetched from; 0 otherwise.
    LONG number() const {
        LONG number = 0;
        message_->get_ID(&number);
        return number;
    }
    /// The id in that mailbox, the same in every session; empty otherwise.
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
    Message& checked(const Status& status) {
        detail::require(status);
        return *this;
    }
    Status addTo(HRESULT (IEMailMessage::*list)(TextArgument, TextArgument),
                 const std::string& address, const std::string& name) {
        detail::requireMemory((message_.get()->*list)(Text(address), Text(name)));
        return status(Stage::compose, address);
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
            return detail::fileFailure(stage, TESSOLT_ERROR_OPEN_ATTACHMENT_FAILED, file.string(),
                                       reason);
        }
        bytes.assign(std::istreambuf_iterator<char>(stream), {});
        return stream.bad() ? detail::fileFailure(stage, TESSOLT_ERROR_OPEN_ATTACHMENT_FAILED,
                                                  file.string(), EIO)
                            : Status();
    }

    ComPtr<IEMailMessage> message_;
    ComPtr<IMessageData> data_;
    std::string uniqueId_;
};

}  // namespace tessolt
