#include "queue/claim.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace tessolt::queue {

namespace {

/// What no wait mends.
constexpr std::array kUnreadable{EACCES, EPERM, ELOOP, EISDIR, EINVAL, ENXIO};
/// How many messages of one name may fail.
constexpr int kMostNamesakes = 1000;

int renameAndSync(const std::string& from, const std::string& to) {
    const int error = platform::renameNoReplace(from, to);
    return error != 0 ? error : platform::syncFolderOf(to);
}

}  // namespace

Claim::Outcome Claim::open(const std::string& path) {
    path_ = path;
    // No link is followed: whoever may write to the folder could have any file of the runner sent.
    error_ = file_.open(path,
                        platform::kOpenRead | platform::kOpenNoFollow | platform::kOpenRegularOnly);
    if (error_ == ENOENT) {
        return Outcome::kGone;
    }
    if (error_ != 0) {
        return std::find(kUnreadable.begin(), kUnreadable.end(), error_) != kUnreadable.end()
                   ? Outcome::kUnreadable
                   : Outcome::kBusy;
    }
    if (file_.tryLock() != 0) {
        file_.close();
        return Outcome::kBusy;
    }
    // Between opening and locking another one may have sent it.
    if (!file_.isAt(path)) {
        file_.close();
        return Outcome::kGone;
    }
    return Outcome::kTaken;
}

Claim::Outcome Claim::lock() {
    const Outcome outcome = open(folder_.messagePath(name_));
    return outcome == Outcome::kGone ? open(folder_.claimedPath(name_)) : outcome;
}

Claim::Outcome Claim::take() {
    const Outcome outcome = lock();
    const std::string claimed = folder_.claimedPath(name_);
    if (outcome != Outcome::kTaken || path_ == claimed) {
        return outcome;
    }
    error_ = platform::renameNoReplace(path_, claimed);
    if (error_ != 0) {
        // Kept back by a namesake that a killed runner has left, or by the system.
        file_.close();
        return error_ == ENOENT ? Outcome::kGone : Outcome::kBusy;
    }
    path_ = claimed;
    return Outcome::kTaken;
}

void Claim::syncFolder(const QueueFolder& folder) {
    platform::syncFolderOf(folder.messagePath({}));
}

int Claim::giveBack() {
    const std::string waiting = folder_.messagePath(name_);
    const int error = path_ == waiting ? 0 : renameAndSync(path_, waiting);
    file_.close();
    return error;
}

int Claim::markSent() {
    // A rename takes the same short time however long the file is.
    const int error = platform::renameReplace(path_, folder_.sentPath(name_));
    file_.close();
    return error;
}

int Claim::remove() {
    const int error = markSent();
    if (error == 0) {
        syncFolder(folder_);
        platform::removeFile(folder_.statePath(name_));
        platform::removeFile(folder_.sentPath(name_));
    }
    return error;
}

int Claim::makeFailedFolder() const {
    const std::string folder = folder_.path() + "/failed";
    const int error = platform::makePrivateFolder(folder);
    return error == EEXIST ? 0 : error;  // another thread or runner may be as far
}

int Claim::fail(const MessageState& state) {
    int error = makeFailedFolder();
    std::string name = name_;
    platform::FileInfo info;
    for (int i = 2; error == 0 && i <= kMostNamesakes &&
                    platform::statFile(folder_.failedPath(name), info) == 0;
         ++i) {
        name = name_ + "-" + std::to_string(i);
    }
    if (error == 0) {
        error = writeState(folder_.reasonPath(name), state);
    }
    if (error == 0) {
        error = renameAndSync(path_, folder_.failedPath(name));
    }
    if (error == 0) {
        platform::syncFolderOf(path_);
        platform::removeFile(folder_.statePath(name_));
    }
    file_.close();
    return error;
}

}  // namespace tessolt::queue
