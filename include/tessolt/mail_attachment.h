/// The attachments of the C++ front end. Use mail.h, which has it all.
#pragma once

#include <fcntl.h>
#include <tessolt/mail_status.h>
#include <tessolt/message_data.h>
#include <tessolt/safe_name.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace tessolt {

namespace detail {

inline constexpr int kMostNames = 100000;

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
    std::string name;   ///< "Subject".
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
    /// Number `number` of a message; `Message::attachments` gives them.
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
        std::string bytes;
        detail::require(this->bytes(std::nothrow, bytes));
        return bytes;
    }
    Status bytes(std::nothrow_t, std::string& bytes) const {
        ByteView view = {};
        Status status = viewBytes(view);
        bytes.assign(status && view.size > 0 ? view.data : "", status ? view.size : 0);
        return status;
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
        Status status = viewBytes(view);
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
    Status viewBytes(ByteView& view) const {
        detail::requireMemory(data_->GetAttachmentBytes(number_, &view));
        return detail::statusOf(message_, Stage::save, name_);
    }

    static Status unwritable(const std::filesystem::path& path, int error) {
        return detail::fileFailure(Stage::save, TESSOLT_ERROR_SAVE_ATTACHMENT_FAILED, path.string(),
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

}  // namespace tessolt
