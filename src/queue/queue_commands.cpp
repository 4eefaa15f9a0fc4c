#include "queue/queue_commands.h"

#include <cerrno>
#include <utility>

#include "platform/file_system.h"
#include "queue/claim.h"

namespace tessolt::queue {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

using Status = ListedMessage::Status;

std::string plainName(const std::string& name) {
    const std::string_view shorter = nameOf(name, QueueFolder::kMessageSuffix);
    return shorter.empty() ? name : std::string(shorter);
}

/// A name that could lead out of the folder names no message.
bool isName(const std::string& name) {
    return !name.empty() && name.find('/') == std::string::npos;
}

std::string absent(const std::string& name) {
    return "There is no message " + name + ". `tessolt-queue list` shows those that there are.";
}

std::string failure(const std::string& what, int error) {
    std::string text = what + ": " + platform::errorText(error) + ".";
    if (error == EACCES || error == EPERM) {
        text += " Run this as root or as the user of the service.";
    }
    return text;
}

std::string trouble(Claim::Outcome outcome, const Claim& claim) {
    switch (outcome) {
        case Claim::Outcome::kTaken:
            return {};
        case Claim::Outcome::kBusy:
            return "The message " + claim.name() + " is being sent. Try again in a minute.";
        case Claim::Outcome::kGone:
            return absent(claim.name());
        case Claim::Outcome::kUnreadable:
            break;
    }
    return failure("The message " + claim.name() + " can't be read", claim.error());
}

int readContent(const std::string& path, const std::string& name, QueuedMessage& content) {
    platform::File file;
    const int error =
        file.open(path, platform::kOpenRead | platform::kOpenNoFollow | platform::kOpenRegularOnly);
    return error != 0 ? error : readQueuedMessage(file, name, content);
}

}  // namespace

const char* wordOf(Status status) {
    switch (status) {
        case Status::kSending:
            return "sending";
        case Status::kHeld:
            return "held";
        case Status::kFailed:
            return "failed";
        case Status::kWaiting:
            break;
    }
    return "waiting";
}

/// Fills what can be told without an entry of the folder.
bool QueueCommands::look(const std::string& name, ListedMessage& message) const {
    QueueEntry entry;
    const bool isWaiting = isName(name) && folder_.find(name, entry);
    const std::string path = !isWaiting        ? folder_.failedPath(name)
                             : entry.isClaimed ? folder_.claimedPath(name)
                                               : folder_.messagePath(name);
    platform::FileInfo info;
    if (!isName(name) || (!isWaiting && platform::statFile(path, info) != 0)) {
        return false;
    }
    message.name = name;
    message.queued = (isWaiting ? entry.queued : info.modified) / kNanosecondsPerSecond;
    message.size = isWaiting ? entry.size : info.size;
    message.state = readState(isWaiting ? folder_.statePath(name) : folder_.reasonPath(name));
    message.status = !isWaiting             ? Status::kFailed
                     : entry.isClaimed      ? Status::kSending
                     : message.state.isHeld ? Status::kHeld
                                            : Status::kWaiting;
    QueuedMessage content;
    if (readContent(path, name, content) == 0 && content.server) {
        message.server = content.server->label();
    }
    return true;
}

std::string QueueCommands::list(std::vector<ListedMessage>& messages) const {
    std::vector<QueueEntry> waiting;
    std::vector<QueueEntry> failed;
    int error = folder_.list(waiting);
    if (error == 0) {
        error = folder_.listFailed(failed);
    }
    if (error != 0) {
        return failure("The queue folder " + folder_.path() + " can't be read", error);
    }
    for (const std::vector<QueueEntry>* entries : {&waiting, &failed}) {
        for (const QueueEntry& entry : *entries) {
            ListedMessage message;
            if (look(entry.name, message)) {
                messages.push_back(std::move(message));
            }
        }
    }
    return {};
}

std::string QueueCommands::show(const std::string& name, ListedMessage& message,
                                QueuedMessage& content) const {
    const std::string plain = plainName(name);
    if (!look(plain, message)) {
        return absent(plain);
    }
    const std::string path = message.status == Status::kFailed    ? folder_.failedPath(plain)
                             : message.status == Status::kSending ? folder_.claimedPath(plain)
                                                                  : folder_.messagePath(plain);
    const int error = readContent(path, plain, content);
    return error == 0 ? std::string() : failure("The message " + plain + " can't be read", error);
}

std::string QueueCommands::retryFailed(const std::string& name) const {
    MessageState state = readState(folder_.reasonPath(name));
    MessageState fresh;
    fresh.delivered = state.delivered;
    fresh.isNotice = state.isNotice;
    fresh.isAsked = true;
    int error = writeState(folder_.statePath(name), fresh);
    if (error == 0) {
        error = platform::renameNoReplace(folder_.failedPath(name), folder_.messagePath(name));
    }
    if (error == 0) {
        platform::removeFile(folder_.reasonPath(name));
        error = platform::syncFolderOf(folder_.messagePath(name));
    }
    return error == 0 ? std::string() : failure("The message " + name + " can't be moved", error);
}

std::string QueueCommands::retry(const std::string& name) const {
    const std::string plain = plainName(name);
    ListedMessage message;
    if (!look(plain, message)) {
        return absent(plain);
    }
    if (message.status == Status::kFailed) {
        return retryFailed(plain);
    }
    Claim claim(folder_, plain);
    const Claim::Outcome outcome = claim.lock();
    if (outcome != Claim::Outcome::kTaken) {
        return trouble(outcome, claim);
    }
    MessageState state = readState(folder_.statePath(plain));
    state.isHeld = false;
    state.isAsked = true;
    state.nextTry = 0;
    const int error = writeState(folder_.statePath(plain), state);
    return error == 0 ? std::string() : failure("The state can't be written", error);
}

std::string QueueCommands::setHeld(const std::string& name, bool isHeld) const {
    const std::string plain = plainName(name);
    ListedMessage message;
    if (!look(plain, message)) {
        return absent(plain);
    }
    if (message.status == Status::kFailed) {
        return "The message " + plain + " has failed and isn't sent. `tessolt-queue retry " +
               plain + "` has it tried again.";
    }
    Claim claim(folder_, plain);
    const Claim::Outcome outcome = claim.lock();
    if (outcome != Claim::Outcome::kTaken) {
        return trouble(outcome, claim);
    }
    MessageState state = readState(folder_.statePath(plain));
    if (state.isHeld == isHeld) {
        return isHeld ? std::string() : "The message " + plain + " isn't held.";
    }
    state.isHeld = isHeld;
    // A state of its own even when nothing is left in it: the runner hears of it by that.
    state.isAsked = !isHeld;
    const int error = writeState(folder_.statePath(plain), state);
    return error == 0 ? std::string() : failure("The state can't be written", error);
}

std::string QueueCommands::hold(const std::string& name) const {
    return setHeld(name, true);
}

std::string QueueCommands::release(const std::string& name) const {
    return setHeld(name, false);
}

std::string QueueCommands::remove(const std::string& name) const {
    const std::string plain = plainName(name);
    ListedMessage message;
    if (!look(plain, message)) {
        return absent(plain);
    }
    int error = 0;
    if (message.status == Status::kFailed) {
        error = platform::removeFile(folder_.failedPath(plain));
        if (error == 0) {
            platform::removeFile(folder_.reasonPath(plain));
        }
    } else {
        Claim claim(folder_, plain);
        const Claim::Outcome outcome = claim.lock();
        if (outcome != Claim::Outcome::kTaken && outcome != Claim::Outcome::kUnreadable) {
            return trouble(outcome, claim);
        }
        error = claim.remove();
    }
    return error == 0 ? std::string()
                      : failure("The message " + plain + " can't be removed", error);
}

}  // namespace tessolt::queue
