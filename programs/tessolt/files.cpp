#include "files.h"

#include <fcntl.h>
#include <tessolt/mail.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "exit_codes.h"

namespace tessolt::shell {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kReadBytes = 64UL * 1024;
constexpr int kMostNames = 100000;
constexpr const char* kStandardInput = "-";

int openFor(const std::string& path) {
    return path == kStandardInput ? ::dup(STDIN_FILENO)
                                  : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

/// A name that no other file of this machine has now.
std::string uniqueName() {
    static std::atomic<unsigned> count{0};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    const auto rest = std::chrono::duration_cast<std::chrono::microseconds>(now - seconds);
    std::array<char, 256> host{};
    ::gethostname(host.data(), host.size() - 1);
    return std::to_string(seconds.count()) + ".M" + std::to_string(rest.count()) + "P" +
           std::to_string(::getpid()) + "Q" + std::to_string(++count) + "." +
           safe_name(host.data());
}

void syncFolder(const fs::path& folder) {
    const detail::Descriptor handle(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (handle.get() < 0 || ::fsync(handle.get()) != 0) {
        failFile(folder.string(), errno);
    }
}

/// A file under a name that means nothing yet, removed when this goes.
class Draft {
public:
    Draft(fs::path path, std::string_view bytes) : path_(std::move(path)) {
        const int number = ::open(
            path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kNewFileMode);
        if (number < 0) {
            failFile(path_.string(), errno);
        }
        detail::Descriptor file(number);
        int error = file.write(bytes);
        error = error == 0 && ::fsync(file.get()) != 0 ? errno : error;
        const int closed = file.close();
        if (error != 0 || closed != 0) {
            ::unlink(path_.c_str());
            failFile(path_.string(), error != 0 ? error : closed);
        }
    }
    ~Draft() { ::unlink(path_.c_str()); }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    /// Gives the content a name of its own. 0 or an errno number.
    int publish(const fs::path& target) const {
        return ::link(path_.c_str(), target.c_str()) == 0 ? 0 : errno;
    }

private:
    fs::path path_;
};

}  // namespace

void failFile(const std::string& path, int error) {
    const Status status =
        detail::fileFailure(Stage::save, TESSOLT_ERROR_SAVE_ATTACHMENT_FAILED, path, error);
    throw Problem{kFile, status.description};
}

std::string readWhole(const std::string& path) {
    const detail::Descriptor file(openFor(path));
    std::string bytes;
    ssize_t count = file.get() < 0 ? -1 : 1;
    while (count > 0) {
        const std::size_t before = bytes.size();
        bytes.resize(before + kReadBytes);
        do {
            count = ::read(file.get(), bytes.data() + before, kReadBytes);
        } while (count < 0 && errno == EINTR);
        bytes.resize(before + (count > 0 ? static_cast<std::size_t>(count) : 0));
    }
    if (count < 0) {
        failFile(path == kStandardInput ? "standard input" : path, errno);
    }
    return bytes;
}

void makeFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        failFile(folder.string(), error.value());
    }
}

fs::path writeDurably(const fs::path& folder, const std::string& name, std::string_view bytes) {
    const Draft draft(folder / ("." + uniqueName() + ".part"), bytes);
    const std::string safe = safe_name(name);
    const std::size_t ending = detail::endingOf(safe);
    fs::path target = folder / safe;
    int error = draft.publish(target);
    for (int i = 2; error == EEXIST && i < kMostNames; ++i) {
        target = folder /
                 (safe.substr(0, ending) + " (" + std::to_string(i) + ")" + safe.substr(ending));
        error = draft.publish(target);
    }
    if (error != 0) {
        failFile(target.string(), error);
    }
    syncFolder(folder);
    return target;
}

fs::path deliverToMaildir(const fs::path& maildir, std::string_view bytes) {
    for (const char* part : {"tmp", "new", "cur"}) {
        makeFolder(maildir / part);
    }
    const std::string name = uniqueName();
    const Draft draft(maildir / "tmp" / name, bytes);
    fs::path target = maildir / "new" / name;
    if (const int error = draft.publish(target); error != 0) {
        failFile(target.string(), error);
    }
    syncFolder(maildir / "new");
    return target;
}

}  // namespace tessolt::shell
