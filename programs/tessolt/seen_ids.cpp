#include "seen_ids.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "exit_codes.h"
#include "files.h"

namespace tessolt::shell {
namespace {

constexpr const char* kFileName = ".tessolt-seen";

}  // namespace

SeenIds::SeenIds(const std::filesystem::path& folder, std::string mailbox)
    : mailbox_(std::move(mailbox)),
      path_(folder / kFileName),
      file_(::open(path_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kNewFileMode)) {
    if (file_.get() < 0) {
        failFile(path_.string(), errno);
    }
    if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        throw Problem{kLater, "another run fetches into " + folder.string() +
                                  " just now: wait until it ends"};
    }
    for (std::string& line : detail::split(readWhole(path_.string()), '\n')) {
        lines_.insert(std::move(line));
    }
}

void SeenIds::add(const std::string& id) {
    const std::string line = lineOf(id);
    if (lines_.insert(line).second) {
        int error = file_.write(line + "\n");
        error = error == 0 && ::fdatasync(file_.get()) != 0 ? errno : error;
        if (error != 0) {
            failFile(path_.string(), error);
        }
    }
}

}  // namespace tessolt::shell
