#include "platform/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/random_bytes.h"

namespace platform {
namespace {

constexpr int kUnnamedErrorBase = 10000;
/// The most that one system call takes.
constexpr std::size_t kMaxTransfer = 0x7FFFF000;
constexpr mode_t kAnyWriteBit = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr std::size_t kReadStep = 256 * 1024;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

int systemFlags(unsigned flags) {
    int result = O_CLOEXEC;
    const bool reads = (flags & kOpenRead) != 0;
    const bool writes = (flags & kOpenWrite) != 0;
    result |= reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    constexpr std::pair<unsigned, int> kPairs[] = {
        {kOpenCreate, O_CREAT},         {kOpenTruncate, O_TRUNC}, {kOpenExclusive, O_EXCL},
        {kOpenNoFollow, O_NOFOLLOW},    {kOpenAppend, O_APPEND},  {kOpenRegularOnly, O_NONBLOCK},
        {kOpenNonBlocking, O_NONBLOCK},
    };
    for (const auto& [own, system] : kPairs) {
        if ((flags & own) != 0) {
            result |= system;
        }
    }
    return result;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// Keeps the signals of a failed write from the process while it lives: for a pipe that nobody
/// reads and for a file at its limit of size. Signals that were waiting before stay.
class WriteSignalGuard {
public:
    WriteSignalGuard() {
        sigset_t waiting;
        sigemptyset(&signals_);
        sigpending(&waiting);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&waiting, signal) == 0) {
                sigaddset(&signals_, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    }
    ~WriteSignalGuard() {
        const int error = errno;
        if (failed_) {
            const timespec none{};
            while (sigtimedwait(&signals_, nullptr, &none) > 0) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
        errno = error;
    }
    WriteSignalGuard(const WriteSignalGuard&) = delete;
    WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

    void fail() { failed_ = true; }

private:
    sigset_t signals_{};
    sigset_t previous_{};
    bool failed_ = false;
};

struct FolderCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

bool hasDrive(std::string_view path) {
    return path.size() >= 2 && path[1] == ':' &&
           ((path[0] >= 'A' && path[0] <= 'Z') || (path[0] >= 'a' && path[0] <= 'z'));
}

}  // namespace

bool isBackslashPath(std::string_view utf8Path) {
    return utf8Path.find('/') == std::string_view::npos &&
           (hasDrive(utf8Path) || utf8Path.find('\\') != std::string_view::npos);
}

std::string toNativePath(std::string_view utf8Path) {
    std::string path(utf8Path);
    if (!isBackslashPath(path)) {
        return path;
    }
    if (hasDrive(path)) {
        path.erase(0, 2);
    }
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

File::~File() {
    close();
}

File::File(File&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

int File::open(const std::string& path, unsigned flags, unsigned mode) {
    close();
    if (path.find('\0') != std::string::npos) {
        return ENOENT;
    }
    int fd = -1;
    do {
        fd = ::open(path.c_str(), systemFlags(flags), mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        return errno;
    }
    struct stat status {};
    int error = fstat(fd, &status) == 0 ? 0 : errno;
    if (error == 0 && S_ISDIR(status.st_mode)) {
        error = EISDIR;
    } else if (error == 0 && (flags & kOpenRegularOnly) != 0 && !S_ISREG(status.st_mode)) {
        error = EINVAL;
    }
    if (error != 0) {
        ::close(fd);
        return error;
    }
    fd_ = fd;
    return 0;
}

int File::read(void* buffer, std::size_t size, std::size_t& got) {
    got = 0;
    for (;;) {
        const ssize_t count = ::read(fd_, buffer, std::min(size, kMaxTransfer));
        if (count >= 0) {
            got = static_cast<std::size_t>(count);
            return 0;
        }
        if (errno != EINTR) {
            return errno;
        }
    }
}

int File::write(const void* bytes, std::size_t size, std::size_t& written) {
    written = 0;
    WriteSignalGuard guard;
    while (written < size) {
        const ssize_t count = ::write(fd_, static_cast<const char*>(bytes) + written,
                                      std::min(size - written, kMaxTransfer));
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0) {
            return ENOSPC;
        } else if (errno != EINTR) {
            guard.fail();
            return errno;
        }
    }
    return 0;
}

int File::write(std::string_view bytes) {
    std::size_t written = 0;
    return write(bytes.data(), bytes.size(), written);
}

int File::append(std::string_view bytes) {
    std::size_t written = 0;
    const int error = write(bytes.data(), bytes.size(), written);
    if (error != 0 && written > 0) {
        const off_t end = lseek(fd_, 0, SEEK_CUR);
        std::uint64_t whole = 0;
        if (end >= 0 && size(whole) == 0 && whole == static_cast<std::uint64_t>(end)) {
            setSize(whole - written);
        }
    }
    return error;
}

int File::size(std::uint64_t& bytes) const {
    struct stat status {};
    if (fstat(fd_, &status) != 0) {
        return errno;
    }
    bytes = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

int File::setSize(std::uint64_t bytes) {
    return ftruncate(fd_, static_cast<off_t>(bytes)) == 0 ? 0 : errno;
}

int File::sync() {
    return fsync(fd_) == 0 ? 0 : errno;
}

int File::readAt(std::uint64_t offset, void* buffer, std::size_t size, std::size_t& got) const {
    got = 0;
    for (;;) {
        const ssize_t count =
            ::pread(fd_, buffer, std::min(size, kMaxTransfer), static_cast<off_t>(offset));
        if (count >= 0) {
            got = static_cast<std::size_t>(count);
            return 0;
        }
        if (errno != EINTR) {
            return errno;
        }
    }
}

int File::tryLock() {
    return ::flock(fd_, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
}

bool File::isAt(const std::string& path) const {
    struct stat own {};
    struct stat named {};
    return ::fstat(fd_, &own) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           own.st_dev == named.st_dev && own.st_ino == named.st_ino;
}

int File::close() {
    if (fd_ < 0) {
        return 0;
    }
    const int result = ::close(std::exchange(fd_, -1));
    // The descriptor is gone even when the call was interrupted.
    return result == 0 || errno == EINTR ? 0 : errno;
}

int statFile(const std::string& path, FileInfo& info) {
    struct stat status {};
    if (path.find('\0') != std::string::npos) {
        return ENOENT;
    }
    if (::stat(path.c_str(), &status) != 0) {
        return errno;
    }
    info.isFolder = S_ISDIR(status.st_mode);
    info.isRegular = S_ISREG(status.st_mode);
    info.isReadOnly = (status.st_mode & kAnyWriteBit) == 0;
    info.size = static_cast<std::uint64_t>(status.st_size);
    info.modified = status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec;
    return 0;
}

bool isLink(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

int removeFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0 ? 0 : errno;
}

int renameNoReplace(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // A file system without the flag: a second name never replaces one either.
    if (link(from.c_str(), to.c_str()) != 0) {
        return errno;
    }
    return removeFile(from);
}

int renameReplace(const std::string& from, const std::string& to) {
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

bool isReplaceable(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return errno == ENOENT && !isLink(path);
    }
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid();
}

int replaceFile(const std::string& path, std::string_view content, unsigned mode, bool lasting) {
    std::error_code unresolved;
    const std::filesystem::path place = std::filesystem::weakly_canonical(path, unresolved);
    const std::string target = unresolved ? path : place.string();
    std::uint64_t number = 0;
    randomBytes(&number, sizeof number);
    const std::string temporary = folderOf(target) + "/.tessolt-" + std::to_string(number);
    File file;
    int error =
        file.open(temporary, kOpenWrite | kOpenCreate | kOpenExclusive | kOpenNoFollow, mode);
    if (error != 0) {
        return error;
    }
    struct stat status {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    error = file.write(content);
    error = error == 0 && lasting ? file.sync() : error;
    const int closed = file.close();
    error = error == 0 ? closed : error;
    if (error == 0 && exists) {
        // The owner stays where that may be; the permissions go last, since a change of owner takes
        // some away.
        const bool isForeign = status.st_uid != geteuid() || status.st_gid != getegid();
        const int given = isForeign ? ::chown(temporary.c_str(), status.st_uid, status.st_gid) : 0;
        const mode_t permissions = status.st_mode & (given == 0 ? 07777 : 0777);
        error = ::chmod(temporary.c_str(), permissions) == 0 ? 0 : errno;
    }
    error = error == 0 ? renameReplace(temporary, target) : error;
    if (error != 0) {
        removeFile(temporary);
    }
    return error;
}

int syncFolderOf(const std::string& path) {
    const int fd = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    const int error = fsync(fd) == 0 ? 0 : errno;
    ::close(fd);
    return error;
}

int setReadOnly(const std::string& path, bool readOnly) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return errno;
    }
    const mode_t mode = readOnly ? status.st_mode & ~kAnyWriteBit : status.st_mode | S_IWUSR;
    return ::chmod(path.c_str(), mode & 07777) == 0 ? 0 : errno;
}

int makeFolders(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return error.value();
}

int makePrivateFolder(const std::string& path) {
    return ::mkdir(path.c_str(), S_IRWXU) == 0 ? 0 : errno;
}

int listFolder(const std::string& path, const std::function<void(std::string_view)>& use) {
    const std::unique_ptr<DIR, FolderCloser> folder(::opendir(path.c_str()));
    if (!folder) {
        return errno;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        use(entry->d_name);
        errno = 0;
    }
    return errno;
}

int readWholeFile(const std::string& path, std::string& content) {
    File file;
    std::uint64_t size = 0;
    int error = file.open(path, kOpenRead | kOpenRegularOnly);
    if (error == 0) {
        error = file.size(size);
    }
    if (error != 0) {
        return error;
    }
    // The size is only a hint: files of the system's own file trees report 0, and others grow.
    const std::size_t start = content.size();
    std::size_t filled = 0;
    content.resize(start + static_cast<std::size_t>(size) + 1);
    for (;;) {
        if (start + filled == content.size()) {
            content.resize(content.size() + std::max(filled, kReadStep));
        }
        std::size_t got = 0;
        error = file.read(content.data() + start + filled, content.size() - start - filled, got);
        filled += got;
        if (error != 0 || got == 0) {
            break;
        }
    }
    content.resize(start + (error == 0 ? filled : 0));
    return error;
}

const char* environmentText(const char* name) {
    const char* text = secure_getenv(name);
    return text && *text ? text : nullptr;
}

std::string fullPath(const std::string& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute.lexically_normal().string();
}

std::string currentFolder() {
    std::error_code error;
    return std::filesystem::current_path(error).string();
}

std::string temporaryFolder() {
    const char* configured = environmentText("TMPDIR");
    std::string folder = configured ? configured : "/tmp";
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return folder;
}

int fileErrorNumber(int error, const std::string& path) {
    switch (error) {
        case 0:
            return 0;
        case ENOENT: {
            FileInfo info;
            const bool hasFolder = statFile(folderOf(path), info) == 0 && info.isFolder;
            return hasFolder ? kFileErrorNotFound : kFileErrorPathNotFound;
        }
        case ENOTDIR:
            return kFileErrorPathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
            return kFileErrorAccessDenied;
        case EBUSY:
        case ETXTBSY:
        case EAGAIN:
            return kFileErrorSharing;
        case ENODEV:
        case ENXIO:
            return kFileErrorNotReady;
        default:
            return error + kUnnamedErrorBase;
    }
}

std::string errorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace platform
