/// How the operations of the C++ front end tell their outcome. Use mail.h, which has it all.
#pragma once

#include <tessolt/advice.h>
#include <tessolt/error_numbers.h>
#include <tessolt/tessolt.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
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
    std::string address = {};  ///< As it was given.
    Reply reply = {};          ///< What the server said to it.
    /// Whether the server took it.
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

    /// Whether it succeeded.
    explicit operator bool() const { return number == 0; }
};

/// What is thrown when an operation fails.
class Error : public std::runtime_error {
public:
    /// Of a failure.
    explicit Error(Status status)
        : std::runtime_error(status.description),
          status_(std::make_shared<const Status>(std::move(status))) {}

    /// The error number (error_numbers.h).
    LONG number() const { return status_->number; }
    /// What was being done.
    Stage stage() const { return status_->stage; }
    /// A TESSOLT_CAUSE, where one is known.
    LONG cause() const { return status_->cause; }
    /// What to do about it; empty where nothing is known.
    const std::string& advice() const { return status_->advice; }
    /// The reply that decided, if a server was in it.
    const Reply& reply() const { return status_->reply; }
    /// Whether the progress callback wanted no more.
    bool cancelled() const { return status_->cancelled; }
    /// Of a `send`: some of these may have got the message.
    const std::vector<Recipient>& recipients() const { return status_->recipients; }

private:
    std::shared_ptr<const Status> status_;
};

/// How far a message has come on its way.
struct Progress {
    std::uint64_t done = 0;  ///< Bytes that went over.
    std::uint64_t all = 0;   ///< 0 when the server didn't tell.
};

/// Is told of the progress at most every 50 ms; false cancels. What it throws cancels too, and
/// comes out of the operation.
using ProgressCallback = std::function<bool(Progress)>;

namespace detail {

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
        status.number = TESSOLT_ERROR_OTHER;
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

}  // namespace detail

}  // namespace tessolt
