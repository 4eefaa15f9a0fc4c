#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "queue/message_state.h"
#include "queue/queue_folder.h"
#include "queue/queued_message.h"

namespace tessolt::queue {

/// A message as `list` shows it.
struct ListedMessage {
    enum class Status { kWaiting, kSending, kHeld, kFailed };

    std::string name;
    Status status = Status::kWaiting;
    std::int64_t queued = 0;  ///< Seconds since 1970.
    std::uint64_t size = 0;
    std::string server;
    MessageState state;
};

/// The word for a status: "waiting", "sending", "held" or "failed".
const char* wordOf(ListedMessage::Status status);

/// What an administrator may ask of a queue folder, also while a runner is at work on it. Each
/// answers with an empty text, or with what stood in the way and what to do.
class QueueCommands {
public:
    explicit QueueCommands(const QueueFolder& folder) : folder_(folder) {}

    /// All messages, those that wait first, oldest first.
    std::string list(std::vector<ListedMessage>& messages) const;
    /// One message with its header as it goes out. A name may end in its suffix.
    std::string show(const std::string& name, ListedMessage& message, QueuedMessage& content) const;
    /// Has the message tried at once, also a failed or held one.
    std::string retry(const std::string& name) const;
    /// Keeps the message from being sent until it is released.
    std::string hold(const std::string& name) const;
    std::string release(const std::string& name) const;
    /// Removes the message for good, unless it is being sent.
    std::string remove(const std::string& name) const;

private:
    bool look(const std::string& name, ListedMessage& message) const;
    std::string setHeld(const std::string& name, bool isHeld) const;
    std::string retryFailed(const std::string& name) const;

    const QueueFolder& folder_;
};

/// The list for people and as JSON. `now` is in seconds since 1970.
std::string listAsText(const std::vector<ListedMessage>& messages, std::int64_t now);
std::string listAsJson(const std::vector<ListedMessage>& messages, std::int64_t now);

}  // namespace tessolt::queue
