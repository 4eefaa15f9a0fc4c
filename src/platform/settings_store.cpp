#include "platform/settings_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/file_system.h"
#include "platform/settings_file.h"

namespace platform {
namespace {

constexpr const char* kSystemSettings = "/etc/tessolt/settings";
constexpr const char* kOwnSettings = "/tessolt/settings";
constexpr unsigned kNewFileMode = 0644;

/// How a file is recognised as the one that was read last.
struct FileStamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;  ///< -1 for a file that isn't there
    timespec modified{};
    timespec changed{};

    bool operator==(const FileStamp& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               sameTime(modified, other.modified) && sameTime(changed, other.changed);
    }

private:
    static bool sameTime(const timespec& a, const timespec& b) {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    }
};

FileStamp stampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

std::mutex storeMutex;

struct Cache {
    std::string path;
    FileStamp stamp;
    std::shared_ptr<const SettingsIndex> index;
};

Cache& cache() {
    static Cache instance;
    return instance;
}

std::shared_ptr<const SettingsIndex> currentIndex() {
    const std::string path = settingsPath();
    const std::lock_guard lock(storeMutex);
    Cache& cached = cache();
    const FileStamp stamp = stampOf(path);
    if (!cached.index || cached.path != path || !(cached.stamp == stamp)) {
        std::string content;
        readWholeFile(path, content);
        cached = {path, stamp, std::make_shared<const SettingsIndex>(content)};
    }
    return cached.index;
}

/// Keeps other processes from editing in the same folder while it lives.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder)
        : fd_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        while (fd_ >= 0 && flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~FolderLock() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int fd_;
};

bool replaceFile(const std::string& path, const std::string& content) {
    struct stat status {};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    const std::string temporary = path + "." + std::to_string(getpid()) + ".new";
    File file;
    const unsigned flags = kOpenWrite | kOpenCreate | kOpenTruncate | kOpenNoFollow;
    if (file.open(temporary, flags, kNewFileMode) != 0) {
        return false;
    }
    const bool written = file.write(content) == 0 && file.sync() == 0 && file.close() == 0 &&
                         (!exists || ::chmod(temporary.c_str(), status.st_mode & 07777) == 0) &&
                         renameReplace(temporary, path) == 0;
    if (!written) {
        removeFile(temporary);
    }
    return written;
}

}  // namespace

std::string settingsPath() {
    if (const char* given = std::getenv("TESSOLT_SETTINGS"); given && *given) {
        return given;
    }
    std::string own;
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config) {
        own = std::string(config) + kOwnSettings;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        own = std::string(home) + "/.config" + kOwnSettings;
    } else {
        return kSystemSettings;
    }
    FileInfo info;
    if (statFile(own, info) != 0 && statFile(kSystemSettings, info) == 0) {
        return kSystemSettings;
    }
    return own;
}

std::optional<std::string> readSetting(std::string_view key, std::string_view name) {
    const auto index = currentIndex();
    const std::string* text = index->find(key, name);
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

bool settingKeyExists(std::string_view key) {
    return currentIndex()->hasKey(key);
}

std::vector<std::string> listSettingKeys(std::string_view key) {
    return currentIndex()->keysBelow(key);
}

bool editSettings(const std::function<bool(SettingsEditor&)>& change) {
    std::string path = settingsPath();
    std::error_code unresolved;
    // A link stays a link: what it points to is replaced.
    const std::filesystem::path target = std::filesystem::weakly_canonical(path, unresolved);
    if (!unresolved) {
        path = target.string();
    }
    const std::string folder = std::filesystem::path(path).parent_path().string();
    const std::lock_guard lock(storeMutex);
    makeFolders(folder);
    const FolderLock folderLock(folder);
    std::optional<std::string> before{std::string()};
    const int error = readWholeFile(path, *before);
    if (error == ENOENT) {
        before.reset();
    } else if (error != 0) {
        return false;
    }
    SettingsEditor editor(before);
    if (!change(editor)) {
        return false;
    }
    const std::optional<std::string> after = editor.result();
    cache().index.reset();
    if (after == before) {
        return true;
    }
    return after ? replaceFile(path, *after) : removeFile(path) == 0;
}

bool createSettingKey(std::string_view key) {
    return editSettings([&](SettingsEditor& editor) { return editor.createKey(key); });
}

bool writeSetting(std::string_view key, std::string_view name, std::string_view text) {
    return editSettings([&](SettingsEditor& editor) { return editor.write(key, name, text); });
}

bool deleteSetting(std::string_view key, std::string_view name) {
    return editSettings([&](SettingsEditor& editor) {
        editor.remove(key, name);
        return true;
    });
}

bool deleteSettingKey(std::string_view key) {
    return editSettings([&](SettingsEditor& editor) {
        editor.removeKey(key);
        return true;
    });
}

}  // namespace platform
