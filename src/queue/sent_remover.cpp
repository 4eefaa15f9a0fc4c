#include "queue/sent_remover.h"

#include <new>
#include <utility>

#include "platform/file_system.h"

namespace tessolt::queue {

namespace {

constexpr std::size_t kMostAtOnce = 32;

}  // namespace

SentRemover::SentRemover(const QueueFolder& folder)
    : folder_(folder), thread_([this] { work(); }) {}

SentRemover::~SentRemover() {
    {
        const std::lock_guard guard(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void SentRemover::add(const std::string& name) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return names_.size() < kMostAtOnce; });
    names_.push_back(name);
    changed_.notify_all();
}

void SentRemover::work() {
    std::unique_lock lock(mutex_);
    while (!isEnding_ || !names_.empty()) {
        changed_.wait(lock, [this] { return isEnding_ || !names_.empty(); });
        const std::vector<std::string> names = std::exchange(names_, {});
        changed_.notify_all();
        lock.unlock();
        try {
            remove(names);
        } catch (const std::bad_alloc&) {
            // What stays has the name of a sent one, by which the next runner knows it.
        }
        lock.lock();
    }
}

void SentRemover::remove(const std::vector<std::string>& names) const {
    if (!names.empty()) {
        platform::syncFolderOf(folder_.sentPath(names.front()));
    }
    for (const std::string& name : names) {
        platform::removeFile(folder_.statePath(name));
        platform::removeFile(folder_.sentPath(name));
    }
}

}  // namespace tessolt::queue
