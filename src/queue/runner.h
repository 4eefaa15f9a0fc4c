#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/folder_watch.h"
#include "platform/process_events.h"
#include "queue/backlog.h"
#include "queue/delivery.h"
#include "queue/queue_folder.h"

namespace tessolt::queue {

struct RunnerOptions {
    std::string folder;
    std::size_t connections = 4;  ///< Conversations at a time.
    std::size_t perServer = 1;    ///< Conversations with one server at a time.
    SessionOptions session;
    DeliveryOptions delivery;
};

/// What a runner has done, and what it leaves.
struct Tally {
    std::size_t sent = 0;
    std::size_t failed = 0;
    std::size_t waiting = 0;  ///< Held ones and those that are due later among them.
    bool isFolderReadable = true;
};

/// Sends what lies in a queue folder. One thread looks at the folder and says what is due, a few
/// others hold the conversations.
class Runner {
public:
    /// `signals` may be null; it must outlive the runner, which starts its threads in `drain` and
    /// `serve`.
    Runner(RunnerOptions options, EventLog log, platform::SignalQueue* signals = nullptr);
    ~Runner();
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    // Both throw `std::bad_alloc`; what was begun is ended before, and the folder is in order.

    /// Sends all that is due, once. `progress` hears now and then how far it came.
    Tally drain(const std::function<void(const Tally&)>& progress = {});
    /// Sends whatever comes, until a signal asks for something else, which it returns.
    platform::SignalQueue::Request serve();
    /// Has the runner end as a signal does. From any thread.
    void stop();

private:
    void start();
    void finish();
    void work();
    void tellMemory() const;
    void visit(Backlog::Lane lane, std::unique_lock<std::mutex>& lock);
    void converse(Backlog::Lane lane, const ServerSettings& server);
    bool visitBatch(Backlog::Lane lane, Courier& courier, std::size_t most);
    bool sendBatch(Backlog::Lane lane, Courier& courier, std::size_t most,
                   std::vector<std::string>& names);
    void settle(Backlog::Lane lane, const std::string& name, const Delivered& result);
    bool scan();
    void openWatch();
    bool readNews();
    void inspectSome();
    bool isDrained();
    std::uint32_t idleTime();
    void tellManager();
    platform::SignalQueue::Request takeSignal();
    Tally tally();

    const RunnerOptions options_;
    const EventLog log_;
    platform::SignalQueue* const signals_;
    const QueueFolder folder_;
    std::unique_ptr<Delivery> delivery_;

    // Used by the thread that looks at the folder.
    platform::FolderWatch watch_;
    std::deque<QueueEntry> unseen_;  ///< Found and not looked at yet.
    std::int64_t nextScan_ = 0;
    std::int64_t nextNotice_ = 0;
    bool isFolderReadable_ = true;

    std::atomic<bool> isStopping_{false};
    std::atomic<bool> isOutOfMemory_{false};
    platform::Wakeup wakeup_;
    std::vector<std::thread> workers_;

    std::mutex mutex_;  ///< Guards what follows.
    std::condition_variable changed_;
    Backlog backlog_;
    std::size_t sent_ = 0;
    std::size_t failed_ = 0;
    std::size_t held_ = 0;
    std::vector<std::string> again_;  ///< Not what they were when they were looked at.
};

}  // namespace tessolt::queue
