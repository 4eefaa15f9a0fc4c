#include "platform/settings_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <mutex>
#include <utility>

#include "platform/file_system.h"

namespace platform {
namespace {

constexpr const char* kSystemSettings = "/etc/tessolt/settings";
constexpr const char* kOwnSettings = "/tessolt/settings";
constexpr unsigned kNewFileMode = 0644;

constexpr std::int64_t kMicrosPerSecond = 1'000'000;
constexpr std::int64_t kLookUpMicros = kMicrosPerSecond;
/// A file that was written less than this ago may get more of its text in a moment; one that ends
/// within a line, or holds nothing, most likely will.
constexpr std::int64_t kStillMicros = 50'000;
constexpr std::int64_t kStillHalfMicros = kMicrosPerSecond;
/// How long the first look-up waits for a file that is being written, and between its tries.
constexpr std::int64_t kPatienceMicros = 2 * kMicrosPerSecond;
constexpr std::int64_t kTryMicros = 10'000;

std::int64_t microsOf(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * kMicrosPerSecond + time.tv_nsec / 1000;
}

/// These are the times of the file system, not of a clock that a test may have put in place.
std::int64_t microsNow(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return microsOf(now);
}

void pauseMicros(std::int64_t micros) {
    const timespec time{micros / kMicrosPerSecond, (micros % kMicrosPerSecond) * 1000};
    nanosleep(&time, nullptr);
}

constexpr const char* kPlaceVariables[] = {"TESSOLT_SETTINGS", "XDG_CONFIG_HOME", "HOME"};

/// What decides where the settings are; a change of it counts at once.
std::string placeNames() {
    std::string names;
    for (const char* name : kPlaceVariables) {
        const char* text = environmentText(name);
        names.append(text ? text : "").push_back('\0');
    }
    return names;
}

/// The same without memory for it, as most look-ups find what is known.
bool areNames(std::string_view names) {
    for (const char* name : kPlaceVariables) {
        const char* set = environmentText(name);
        const std::string_view text = set ? set : "";
        if (names.size() <= text.size() || !names.starts_with(text) || names[text.size()] != '\0') {
            return false;
        }
        names.remove_prefix(text.size() + 1);
    }
    return names.empty();
}

bool isAbsence(int error) {
    return error == ENOENT || error == ENOTDIR;
}

/// How a file is recognised as the one that was read last.
struct FileStamp {
    int error = ENOENT;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0;
    std::int64_t changed = 0;

    bool operator==(const FileStamp& other) const = default;
};

FileStamp stampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {errno};
    }
    return {0,
            status.st_dev,
            status.st_ino,
            status.st_size,
            microsOf(status.st_mtim),
            microsOf(status.st_ctim)};
}

/// One look at the file.
struct Reading {
    FileStamp stamp;
    std::string content;
    bool isStill = false;  ///< Nobody seems to be in the middle of writing it.
    int error = 0;
};

Reading readOnce(const std::string& path) {
    Reading reading;
    reading.stamp = stampOf(path);
    reading.error = reading.stamp.error;
    if (reading.error == 0) {
        reading.error = readWholeFile(path, reading.content);
    }
    const bool isHalf = reading.content.empty() || reading.content.back() != '\n';
    const std::int64_t age = microsNow(CLOCK_REALTIME) - reading.stamp.modified;
    const bool isYoung = age >= 0 && age < (isHalf ? kStillHalfMicros : kStillMicros);
    reading.isStill = reading.stamp == stampOf(path) && (reading.error != 0 || !isYoung);
    return reading;
}

/// Whether the folder of a file lost or got a name a moment ago.
bool isFolderYoung(const std::string& path) {
    const FileStamp folder = stampOf(std::filesystem::path(path).parent_path().string());
    const std::int64_t age = microsNow(CLOCK_REALTIME) - folder.modified;
    return folder.error == 0 && age >= 0 && age < kStillMicros;
}

using StatePtr = std::shared_ptr<const SettingsState>;

/// What is known and since when.
struct Known {
    std::string names;  ///< See `placeNames`.
    std::string path;
    FileStamp stamp;
    StatePtr state;
    std::int64_t lookedAt = 0;
    bool isSettled = false;  ///< Good for a while, and not only until the next look-up.
    bool isAwaited = false;  ///< The next look-up waits for a file that is being written.
};

std::mutex knownMutex;
Known known;
std::atomic<std::uint64_t> refreshes{0};
std::mutex editMutex;

StatePtr newState(SettingsIndex index, std::string trouble) {
    static std::atomic<std::uint64_t> number = 0;
    return std::make_shared<const SettingsState>(
        SettingsState{std::move(index), std::move(trouble), ++number});
}

/// What was read last from the same place, with the trouble of today.
StatePtr stateInTrouble(const Known& last, const std::string& reason) {
    return newState(last.state ? last.state->index : SettingsIndex({}), last.path + ": " + reason);
}

StatePtr stateOf(const Known& last, const std::string& content) {
    SettingsIndex index(content);
    if (!index.fault().empty()) {
        return stateInTrouble(last, index.fault());
    }
    return newState(std::move(index), {});
}

/// Looks the file up. `last` is what is known of the same place, or nothing with its path alone.
Known lookUp(Known last) {
    std::int64_t waited = 0;
    for (;; waited += kTryMicros) {
        const FileStamp stamp = stampOf(last.path);
        if (last.isSettled && stamp == last.stamp) {
            return last;
        }
        Reading reading = readOnce(last.path);
        const bool isAbsent = isAbsence(reading.error);
        // A file that goes may be on its way to come back.
        const bool isGoing =
            isAbsent && ((last.state && last.stamp.error == 0) || isFolderYoung(last.path));
        if (reading.isStill && (!isGoing || waited >= kStillMicros)) {
            const bool isMissing = isAbsent && environmentText("TESSOLT_SETTINGS") != nullptr;
            const bool isUsable = reading.error == 0 || (isAbsent && !isMissing);
            last.state = isUsable ? stateOf(last, reading.content)
                                  : stateInTrouble(last, errorText(reading.error));
            last.stamp = reading.stamp;
            last.isSettled = last.state->trouble.empty();
            return last;
        }
        const bool hasGood = last.state && last.state->trouble.empty();
        if (!isAbsent && hasGood && !last.isAwaited) {
            last.isSettled = false;
            return last;
        }
        if (waited >= kPatienceMicros) {
            last.state = stateInTrouble(last, "it is being written without an end");
            last.isSettled = false;
            return last;
        }
        pauseMicros(kTryMicros);
    }
}

void install(Known next, std::uint64_t refresh) {
    const std::lock_guard lock(knownMutex);
    // Whoever asked for a refresh in the meantime wants a later look.
    next.isAwaited = refresh != refreshes.load();
    next.isSettled = next.isSettled && !next.isAwaited;
    known = std::move(next);
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

}  // namespace

std::string settingsPath() {
    if (const char* given = environmentText("TESSOLT_SETTINGS")) {
        return given;
    }
    std::string own;
    if (const char* config = environmentText("XDG_CONFIG_HOME")) {
        own = std::string(config) + kOwnSettings;
    } else if (const char* home = environmentText("HOME")) {
        own = std::string(home) + "/.config" + kOwnSettings;
    } else {
        return kSystemSettings;
    }
    const bool isSystemWide =
        isAbsence(stampOf(own).error) && !isAbsence(stampOf(kSystemSettings).error);
    return isSystemWide ? kSystemSettings : own;
}

std::optional<std::string> SettingsState::text(std::string_view key, std::string_view name) const {
    const std::string* found = index.find(key, name);
    return found ? std::optional<std::string>(*found) : std::nullopt;
}

std::shared_ptr<const SettingsState> currentSettings() {
    const std::uint64_t refresh = refreshes.load();
    Known last;
    {
        const std::lock_guard lock(knownMutex);
        const bool isSame = areNames(known.names);
        if (isSame && known.isSettled &&
            microsNow(CLOCK_MONOTONIC) - known.lookedAt < kLookUpMicros) {
            return known.state;
        }
        last = isSame ? known : Known{};
    }
    std::string names = placeNames();
    const std::int64_t now = microsNow(CLOCK_MONOTONIC);
    std::string path = settingsPath();
    if (path != last.path) {
        last = {};
        last.path = std::move(path);
    }
    last.names = std::move(names);
    Known next = lookUp(std::move(last));
    next.lookedAt = now;
    StatePtr state = next.state;
    install(std::move(next), refresh);
    return state;
}

std::optional<std::string> readSetting(std::string_view key, std::string_view name) {
    return currentSettings()->text(key, name);
}

void refreshSettings() {
    const std::lock_guard lock(knownMutex);
    ++refreshes;
    known.isSettled = false;
    known.isAwaited = true;
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
    const std::lock_guard lock(editMutex);
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
    bool done = after == before;
    if (!done) {
        done = (after ? replaceFile(path, *after, kNewFileMode, true) : removeFile(path)) == 0;
    }
    refreshSettings();
    if (done && after) {
        // What was just written here needs no waiting for it to stand still.
        Known written;
        written.names = placeNames();
        written.path = settingsPath();
        written.stamp = stampOf(path);
        written.state = stateOf(written, *after);
        written.lookedAt = microsNow(CLOCK_MONOTONIC);
        written.isSettled = written.state->trouble.empty();
        install(std::move(written), refreshes.load());
    } else if (done) {
        install({}, refreshes.load());
    }
    return done;
}

}  // namespace platform
