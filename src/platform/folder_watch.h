/// News of a folder, as they happen.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// Tells which names appear in a folder: files renamed or linked into it, and files closed after
/// writing. News can be lost, so a look at the folder itself must come now and then.
class FolderWatch {
public:
    FolderWatch() = default;
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// Watches `path` in place of the folder before. Returns 0 or an errno number.
    int open(const std::string& path);
    /// Readable when there are news; -1 without a folder.
    int handle() const { return fd_; }
    /// Calls `use` with each name that came, without waiting. False when some were lost, or the
    /// folder itself is gone.
    bool read(const std::function<void(std::string_view)>& use);

private:
    void close();

    int fd_ = -1;
};

}  // namespace platform
