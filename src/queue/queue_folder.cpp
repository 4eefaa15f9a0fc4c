#include "queue/queue_folder.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace tessolt::queue {

namespace {

constexpr std::string_view kClaimedSuffix = ".sending";
constexpr std::string_view kSentSuffix = ".sent";
constexpr std::string_view kReasonSuffix = ".reason";
constexpr std::string_view kPartialStateSuffix = ".state_";
/// A state without a message is left by a crash, unless its message is just being moved or queued.
constexpr std::int64_t kOrphanAge = std::int64_t{3600} * 1'000'000'000;
constexpr std::string_view kFailedFolder = "/failed/";

/// Files of these names.
struct FoundNames {
    std::vector<std::string> waiting;
    std::vector<std::string> claimed;
    std::vector<std::string> sent;
    std::vector<std::string> stateFiles;  ///< Whole names.
};

int findNames(const std::string& folder, FoundNames& found) {
    return platform::listFolder(folder, [&](std::string_view file) {
        if (const auto waiting = nameOf(file, QueueFolder::kMessageSuffix); !waiting.empty()) {
            found.waiting.emplace_back(waiting);
        } else if (const auto claimed = nameOf(file, kClaimedSuffix); !claimed.empty()) {
            found.claimed.emplace_back(claimed);
        } else if (const auto sent = nameOf(file, kSentSuffix); !sent.empty()) {
            found.sent.emplace_back(sent);
        } else if (file.ends_with(QueueFolder::kStateSuffix) ||
                   file.ends_with(kPartialStateSuffix)) {
            found.stateFiles.emplace_back(file);
        }
    });
}

/// Adds what stands at `path`, unless it has gone or is a folder.
void addEntry(const std::string& path, std::string&& name, bool isClaimed,
              std::vector<QueueEntry>& entries) {
    platform::FileInfo info;
    // A link that leads nowhere is a message too: one that can't be read.
    const int error = platform::statFile(path, info);
    if (!info.isFolder && (error == 0 || error != ENOENT || platform::isLink(path))) {
        entries.push_back({.name = std::move(name),
                           .queued = info.modified,
                           .size = info.size,
                           .isClaimed = isClaimed});
    }
}

void sortByAge(std::vector<QueueEntry>& entries) {
    std::sort(entries.begin(), entries.end(), [](const QueueEntry& a, const QueueEntry& b) {
        return std::tie(a.queued, a.name) < std::tie(b.queued, b.name);
    });
}

}  // namespace

std::string_view nameOf(std::string_view fileName, std::string_view suffix) {
    return fileName.size() > suffix.size() && fileName.ends_with(suffix)
               ? fileName.substr(0, fileName.size() - suffix.size())
               : std::string_view();
}

std::string QueueFolder::pathOf(std::string_view name, std::string_view suffix) const {
    std::string path = path_;
    return path.append("/").append(name).append(suffix);
}

std::string QueueFolder::messagePath(std::string_view name) const {
    return pathOf(name, kMessageSuffix);
}

std::string QueueFolder::claimedPath(std::string_view name) const {
    return pathOf(name, kClaimedSuffix);
}

std::string QueueFolder::sentPath(std::string_view name) const {
    return pathOf(name, kSentSuffix);
}

std::string QueueFolder::statePath(std::string_view name) const {
    return pathOf(name, kStateSuffix);
}

std::string QueueFolder::failedPath(std::string_view name) const {
    return std::string(path_).append(kFailedFolder).append(name).append(kMessageSuffix);
}

std::string QueueFolder::reasonPath(std::string_view name) const {
    return std::string(path_).append(kFailedFolder).append(name).append(kReasonSuffix);
}

int QueueFolder::scan(std::vector<QueueEntry>& entries) const {
    return read(entries, true);
}

int QueueFolder::list(std::vector<QueueEntry>& entries) const {
    return read(entries, false);
}

int QueueFolder::read(std::vector<QueueEntry>& entries, bool removesSent) const {
    entries.clear();
    FoundNames found;
    const int error = findNames(path_, found);
    for (std::size_t i = 0; removesSent && i < found.sent.size(); ++i) {
        platform::removeFile(statePath(found.sent[i]));
        platform::removeFile(sentPath(found.sent[i]));
    }
    for (std::size_t i = 0; removesSent && i < found.stateFiles.size(); ++i) {
        removeOrphan(found.stateFiles[i]);
    }
    entries.reserve(found.waiting.size() + found.claimed.size());
    for (std::string& name : found.waiting) {
        const std::string path = messagePath(name);
        addEntry(path, std::move(name), false, entries);
    }
    for (std::string& name : found.claimed) {
        const std::string path = claimedPath(name);
        addEntry(path, std::move(name), true, entries);
    }
    sortByAge(entries);
    return error;
}

void QueueFolder::removeOrphan(std::string_view stateFile) const {
    const std::string path = pathOf(stateFile, {});
    const std::string name(stateFile.substr(0, stateFile.rfind('.')));
    platform::FileInfo info;
    QueueEntry entry;
    // Twice: between the two looks of one its message may go back and forth.
    if (!find(name, entry) && !find(name, entry) && platform::statFile(path, info) == 0 &&
        platform::unixTime() * 1'000'000'000 - info.modified > kOrphanAge) {
        platform::removeFile(path);
    }
}

int QueueFolder::listFailed(std::vector<QueueEntry>& entries) const {
    entries.clear();
    FoundNames found;
    const int error = findNames(path_ + std::string(kFailedFolder), found);
    for (std::string& name : found.waiting) {
        const std::string path = failedPath(name);
        addEntry(path, std::move(name), false, entries);
    }
    sortByAge(entries);
    return error == ENOENT ? 0 : error;
}

bool QueueFolder::find(std::string_view name, QueueEntry& entry) const {
    std::vector<QueueEntry> found;
    addEntry(messagePath(name), std::string(name), false, found);
    if (found.empty()) {
        addEntry(claimedPath(name), std::string(name), true, found);
    }
    if (found.empty()) {
        return false;
    }
    entry = std::move(found.front());
    return true;
}

}  // namespace tessolt::queue
