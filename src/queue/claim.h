#pragma once

#include <string>
#include <utility>

#include "platform/file_system.h"
#include "queue/message_state.h"
#include "queue/queue_folder.h"

namespace tessolt::queue {

/// A message that this runner alone may send: its file is locked and has a name of its own. Each
/// step is a rename, so that a crash leaves the message whole, under one name or the other. A claim
/// that is dropped leaves the message to be claimed again.
class Claim {
public:
    enum class Outcome {
        kTaken,
        kBusy,        ///< Another runner or command has it, or the system can't open it just now.
        kGone,        ///< It is no longer there.
        kUnreadable,  ///< It is there and can't be read; nothing is locked.
    };

    Claim(const QueueFolder& folder, std::string name) : folder_(folder), name_(std::move(name)) {}

    /// Locks the file without a new name: for looking at it and for changing its state.
    Outcome lock();
    /// Locks the file and gives it the name of a claimed one. The caller has that put on the device
    /// by `syncFolder`, once for all that it takes.
    Outcome take();
    static void syncFolder(const QueueFolder& folder);
    /// Why the last of these couldn't open the file: an errno number.
    int error() const { return error_; }

    const std::string& name() const { return name_; }
    const platform::File& file() const { return file_; }

    // The ways a claim ends. Each returns 0 or an errno number.

    /// Puts the message back among those that wait.
    int giveBack();
    /// Gives the file the name of a sent one, which isn't sent again, for `SentRemover` to remove.
    int markSent();
    /// Removes the message and its state at once.
    int remove();
    /// Moves the message to the failed ones with `state` as the reason. Also for one that can't be
    /// read.
    int fail(const MessageState& state);

private:
    Outcome open(const std::string& path);
    int makeFailedFolder() const;

    const QueueFolder& folder_;
    std::string name_;
    std::string path_;  ///< Where the file is.
    platform::File file_;
    int error_ = 0;
};

}  // namespace tessolt::queue
