#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "queue/queue_folder.h"

namespace tessolt::queue {

/// Removes messages that were sent, on a thread of its own: a file goes once the name that says
/// that it was sent is on the device. One wait for the device serves all that came meanwhile.
class SentRemover {
public:
    explicit SentRemover(const QueueFolder& folder);
    /// Removes what is left.
    ~SentRemover();
    SentRemover(const SentRemover&) = delete;
    SentRemover& operator=(const SentRemover&) = delete;

    /// Takes a message whose file has the name of a sent one. Waits while too many are under way,
    /// so that a failing machine can't forget more than those.
    void add(const std::string& name);

private:
    void work();
    void remove(const std::vector<std::string>& names) const;

    const QueueFolder& folder_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> names_;
    bool isEnding_ = false;
    std::thread thread_;
};

}  // namespace tessolt::queue
