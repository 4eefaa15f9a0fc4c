#include "platform/folder_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace platform {

namespace {

constexpr std::uint32_t kWatched = IN_MOVED_TO | IN_CLOSE_WRITE | IN_CREATE | IN_ONLYDIR;
constexpr std::uint32_t kFolderGone = IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT;
constexpr std::size_t kBufferBytes = 64 * 1024;

}  // namespace

FolderWatch::~FolderWatch() {
    close();
}

void FolderWatch::close() {
    if (fd_ >= 0) {
        ::close(std::exchange(fd_, -1));
    }
}

int FolderWatch::open(const std::string& path) {
    close();
    fd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd_ < 0) {
        return errno;
    }
    if (::inotify_add_watch(fd_, path.c_str(), kWatched) < 0) {
        const int error = errno;
        close();
        return error;
    }
    return 0;
}

bool FolderWatch::read(const std::function<void(std::string_view)>& use) {
    alignas(inotify_event) char buffer[kBufferBytes];
    bool complete = true;
    ssize_t count = 0;
    while (fd_ >= 0 && (count = ::read(fd_, buffer, sizeof buffer)) > 0) {
        for (ssize_t at = 0; at < count;) {
            inotify_event event{};
            std::memcpy(&event, buffer + at, sizeof event);
            complete = complete && (event.mask & kFolderGone) == 0;
            if (event.len > 0) {
                use(buffer + at + sizeof event);
            }
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    return complete;
}

}  // namespace platform
