#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessolt::queue {

/// A message that lies in the folder. Its name is that of its file without the suffix.
struct QueueEntry {
    std::string name;
    std::int64_t queued = 0;  ///< When it was written, in nanoseconds since 1970.
    std::uint64_t size = 0;
    bool isClaimed = false;  ///< A runner has it, or had it when it ended.
};

/// The names in the queue folder:
///
///     NAME.znq         a message that waits
///     NAME.sending     one that a runner has claimed; the file is locked while the runner lives
///     NAME.sent        one that the server has taken and that only has to be removed
///     NAME.state       what is known of its tries
///     failed/NAME.znq, failed/NAME.reason
///
/// A name that ends in "_" is a file that isn't complete.
class QueueFolder {
public:
    static constexpr std::string_view kMessageSuffix = ".znq";
    static constexpr std::string_view kStateSuffix = ".state";

    explicit QueueFolder(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }
    std::string messagePath(std::string_view name) const;
    std::string claimedPath(std::string_view name) const;
    std::string sentPath(std::string_view name) const;
    std::string statePath(std::string_view name) const;
    std::string failedPath(std::string_view name) const;
    std::string reasonPath(std::string_view name) const;

    /// Fills `entries` with the messages that wait or are claimed, oldest first, and removes what a
    /// runner that was killed had sent and not removed. Returns 0 or an errno number.
    int scan(std::vector<QueueEntry>& entries) const;
    /// The messages that are there, without changing anything, and those that have failed.
    int list(std::vector<QueueEntry>& entries) const;
    int listFailed(std::vector<QueueEntry>& entries) const;
    /// The message of that name, waiting or claimed. False when there is none.
    bool find(std::string_view name, QueueEntry& entry) const;

private:
    int read(std::vector<QueueEntry>& entries, bool removesSent) const;
    /// Removes a state, or what was to become one, that has lost its message long ago.
    void removeOrphan(std::string_view stateFile) const;
    std::string pathOf(std::string_view name, std::string_view suffix) const;

    std::string path_;
};

/// The message that a file name belongs to, by one of the suffixes; empty when it is none.
std::string_view nameOf(std::string_view fileName, std::string_view suffix);

}  // namespace tessolt::queue
