#include "queue/runner.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace tessolt::queue {

namespace {

constexpr std::int64_t kScanSeconds = 60;
constexpr std::int64_t kNoticeSeconds = 10;
constexpr std::uint32_t kMillisecondsPerSecond = 1000;
/// Messages looked at before the conversations get their turn and the folder's news are heard.
constexpr std::size_t kInspectedAtOnce = 64;
/// How often whoever watches a drain hears of it.
constexpr std::uint32_t kProgressMs = 200;
constexpr std::size_t kLargestBatch = 32;
constexpr std::uint32_t kMemoryPauseMs = 1000;
/// A batch that took longer is followed by a small one.
constexpr std::uint32_t kQuickBatchMs = 500;

using Request = platform::SignalQueue::Request;

}  // namespace

Runner::Runner(RunnerOptions options, EventLog log, platform::SignalQueue* signals)
    : options_(std::move(options)),
      log_(std::move(log)),
      signals_(signals),
      folder_(options_.folder),
      delivery_(std::make_unique<Delivery>(folder_, options_.delivery, log_)),
      backlog_(options_.perServer) {}

Runner::~Runner() {
    finish();
}

void Runner::start() {
    for (std::size_t i = 0; i < options_.connections; ++i) {
        workers_.emplace_back([this] { work(); });
    }
}

void Runner::stop() {
    isStopping_ = true;
    const std::lock_guard guard(mutex_);
    changed_.notify_all();
    wakeup_.ring();
}

void Runner::finish() {
    stop();
    for (std::thread& worker : workers_) {
        worker.join();
    }
    workers_.clear();
}

void Runner::tellMemory() const {
    if (isOutOfMemory_) {
        throw std::bad_alloc();
    }
}

void Runner::work() try {
    std::unique_lock lock(mutex_);
    while (!isStopping_) {
        if (const auto lane = backlog_.openLane(platform::unixTime())) {
            visit(*lane, lock);
        } else {
            changed_.wait(lock);
        }
    }
} catch (const std::bad_alloc&) {
    // Its own lists may be wrong now. All that counts lies in the folder, for the next runner.
    isOutOfMemory_ = true;
    stop();
}

/// Holds one conversation, and gives the server free for others.
void Runner::visit(Backlog::Lane lane, std::unique_lock<std::mutex>& lock) {
    bool isShort = false;
    try {
        const ServerSettings server = backlog_.server(lane);
        lock.unlock();
        converse(lane, server);
    } catch (const std::bad_alloc&) {
        isShort = true;
    }
    if (isShort) {
        // What waits for the server has its turn when others have given memory back.
        lock = {};
        platform::sleepFor(kMemoryPauseMs);
        lock = std::unique_lock(mutex_, std::defer_lock);
    }
    lock.lock();
    backlog_.closeLane(lane);
    changed_.notify_all();
    wakeup_.ring();
}

/// Sends what waits for the server until nothing is left.
void Runner::converse(Backlog::Lane lane, const ServerSettings& server) {
    Courier courier(server, options_.session, [this] { return !isStopping_; });
    std::size_t most = 1;
    bool goesOn = true;
    while (goesOn && !isStopping_) {
        const std::uint32_t start = platform::tickCount();
        goesOn = visitBatch(lane, courier, most);
        // Only quick ones are claimed in advance: nobody else can touch a claimed message.
        const bool isQuick = platform::tickCount() - start < kQuickBatchMs;
        most = isQuick ? std::min(2 * most, kLargestBatch) : 1;
    }
}

/// Claims up to `most` messages with one wait for the device, and sends them. False when the
/// conversation is over.
bool Runner::visitBatch(Backlog::Lane lane, Courier& courier, std::size_t most) {
    std::vector<std::string> names;
    names.reserve(most);
    try {
        return sendBatch(lane, courier, most, names);
    } catch (const std::bad_alloc&) {
        // Their claims are gone. The next look at the folder finds them, as those of a runner that
        // was killed.
        const std::lock_guard guard(mutex_);
        for (const std::string& name : names) {
            backlog_.forget(name);
        }
        throw;
    }
}

bool Runner::sendBatch(Backlog::Lane lane, Courier& courier, std::size_t most,
                       std::vector<std::string>& names) {
    ServerHistory history;
    {
        const std::lock_guard guard(mutex_);
        while (names.size() < most) {
            auto name = backlog_.next(lane, platform::unixTime());
            if (!name) {
                break;
            }
            names.push_back(std::move(*name));
        }
    }
    std::vector<std::pair<Claim, Claim::Outcome>> claims;
    claims.reserve(names.size());
    for (const std::string& name : names) {
        claims.emplace_back(Claim(folder_, name), Claim::Outcome::kGone);
        claims.back().second = claims.back().first.take();
    }
    Claim::syncFolder(folder_);
    bool goesOn = !names.empty();
    for (std::size_t i = 0; i < names.size(); ++i) {
        Delivered result{.fate = Delivered::Fate::kLater};
        if (goesOn && !isStopping_) {
            {
                const std::lock_guard guard(mutex_);
                history = backlog_.history(lane);
            }
            auto& [claim, outcome] = claims[i];
            result = delivery_->deliver(std::move(claim), outcome, courier, history);
        } else if (claims[i].second == Claim::Outcome::kTaken) {
            claims[i].first.giveBack();
        }
        goesOn = goesOn && !result.isServerTrouble;
        const std::lock_guard guard(mutex_);
        settle(lane, names[i], result);
    }
    return goesOn;
}

void Runner::settle(Backlog::Lane lane, const std::string& name, const Delivered& result) {
    using Fate = Delivered::Fate;
    switch (result.fate) {
        case Fate::kSent:
            ++sent_;
            backlog_.setHistory(lane, {});
            backlog_.forget(name);
            break;
        case Fate::kFailed:
            ++failed_;
            backlog_.forget(name);
            break;
        case Fate::kLater:
            backlog_.postpone(name, result.due);
            break;
        case Fate::kHeld:
        case Fate::kAbsent:
        case Fate::kStopped:
            // The next look at the folder finds it, if it is still there; at once where somebody
            // has put another message in its place.
            if (result.fate == Fate::kAbsent) {
                again_.push_back(name);
            }
            held_ += result.fate == Fate::kHeld ? 1 : 0;
            backlog_.forget(name);
            break;
    }
    if (result.fate == Fate::kLater && (result.isServerTrouble || result.isConnectionLost)) {
        backlog_.setHistory(lane, result.history);
    }
}

bool Runner::scan() {
    std::vector<QueueEntry> entries;
    const int error = folder_.scan(entries);
    nextScan_ = platform::unixTime() + kScanSeconds;
    if (error != 0) {
        log_(EventKind::kError, "The queue folder " + folder_.path() +
                                    " can't be read: " + platform::errorText(error) +
                                    ". Name another with --folder, or mend its permissions.");
    }
    isFolderReadable_ = error == 0;
    unseen_.clear();
    const std::lock_guard guard(mutex_);
    held_ = 0;
    for (QueueEntry& entry : entries) {
        if (!backlog_.knows(entry.name)) {
            unseen_.push_back(std::move(entry));
        }
    }
    return error == 0;
}

void Runner::openWatch() {
    const int error = watch_.open(folder_.path());
    if (error != 0 && isFolderReadable_) {
        log_(EventKind::kWarning, "No news of the queue folder: " + platform::errorText(error) +
                                      ". It is looked at every minute.");
    }
}

/// Takes the news of the folder. False when some were lost.
bool Runner::readNews() {
    std::vector<std::string> names;
    const bool isComplete = watch_.read([&](std::string_view file) {
        for (const std::string_view suffix :
             {QueueFolder::kMessageSuffix, QueueFolder::kStateSuffix}) {
            if (const std::string_view name = nameOf(file, suffix); !name.empty()) {
                names.emplace_back(name);
            }
        }
    });
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    std::vector<QueueEntry> entries;
    for (const std::string& name : names) {
        QueueEntry entry;
        if (folder_.find(name, entry)) {
            entries.push_back(std::move(entry));
        }
    }
    std::sort(entries.begin(), entries.end(),
              [](const QueueEntry& a, const QueueEntry& b) { return a.queued < b.queued; });
    for (QueueEntry& entry : entries) {
        unseen_.push_back(std::move(entry));
    }
    return isComplete;
}

void Runner::inspectSome() {
    bool anyAdded = false;
    std::vector<std::string> again;
    {
        const std::lock_guard guard(mutex_);
        again.swap(again_);
    }
    for (const std::string& name : again) {
        if (QueueEntry entry; folder_.find(name, entry)) {
            unseen_.push_back(std::move(entry));
        }
    }
    for (std::size_t i = 0; i < kInspectedAtOnce && !unseen_.empty(); ++i) {
        const QueueEntry entry = std::move(unseen_.front());
        unseen_.pop_front();
        {
            const std::lock_guard guard(mutex_);
            if (backlog_.isActive(entry.name)) {
                continue;
            }
        }
        ServerSettings server;
        MessageState state;
        if (!delivery_->inspect(entry.name, server, state)) {
            continue;
        }
        const std::lock_guard guard(mutex_);
        if (state.isHeld) {
            backlog_.forget(entry.name);
            ++held_;
            continue;
        }
        const Backlog::Lane lane = backlog_.laneOf(server);
        if (state.isAsked) {
            backlog_.setHistory(lane, {});
        } else if (state.serverNext > backlog_.history(lane).next) {
            backlog_.setHistory(
                lane,
                {.tries = state.serverTries, .since = state.serverSince, .next = state.serverNext});
        }
        backlog_.add(entry.name, entry.queued, state.isAsked ? 0 : state.nextTry, server);
        anyAdded = true;
    }
    if (anyAdded) {
        const std::lock_guard guard(mutex_);
        changed_.notify_all();
    }
}

Request Runner::takeSignal() {
    const Request request = signals_ != nullptr ? signals_->take() : Request::kNone;
    return request == Request::kNone && isStopping_ ? Request::kStop : request;
}

Tally Runner::tally() {
    const std::lock_guard guard(mutex_);
    return {.sent = sent_,
            .failed = failed_,
            .waiting = backlog_.size() + unseen_.size() + held_,
            .isFolderReadable = isFolderReadable_};
}

bool Runner::isDrained() {
    const std::lock_guard guard(mutex_);
    if (!unseen_.empty() || !again_.empty() || backlog_.sessionCount() > 0) {
        return false;
    }
    const auto lane = backlog_.openLane(platform::unixTime());
    if (lane) {
        backlog_.closeLane(*lane);
    }
    return !lane;
}

Tally Runner::drain(const std::function<void(const Tally&)>& progress) {
    start();
    scan();
    while (takeSignal() == Request::kNone && !isDrained()) {
        inspectSome();
        if (progress) {
            progress(tally());
        }
        if (unseen_.empty()) {
            platform::waitForAny({wakeup_.handle(), signals_ != nullptr ? signals_->handle() : -1},
                                 kProgressMs);
            wakeup_.clear();
        }
    }
    finish();
    delivery_.reset();  // removes what was sent
    tellMemory();
    // What was put back, or came in between, waits too.
    std::vector<QueueEntry> entries;
    Tally result = tally();
    folder_.list(entries);
    result.waiting = entries.size();
    return result;
}

/// Milliseconds until something is to be done that nobody announces.
std::uint32_t Runner::idleTime() {
    const std::int64_t now = platform::unixTime();
    std::int64_t next = nextScan_;
    {
        const std::lock_guard guard(mutex_);
        next = std::min(next, backlog_.nextChange(now));
    }
    next = std::min(next, nextNotice_);
    const auto seconds = std::clamp<std::int64_t>(next - now, 0, kScanSeconds);
    std::uint32_t wait = static_cast<std::uint32_t>(seconds) * kMillisecondsPerSecond;
    if (const std::uint32_t interval = platform::watchdogInterval(); interval != 0) {
        wait = std::min(wait, interval);
    }
    return wait;
}

void Runner::tellManager() {
    if (platform::unixTime() >= nextNotice_) {
        nextNotice_ = platform::unixTime() + kNoticeSeconds;
        const Tally now = tally();
        const std::string text = "STATUS=" + std::to_string(now.waiting) + " waiting, " +
                                 std::to_string(now.sent) + " sent, " + std::to_string(now.failed) +
                                 " failed";
        platform::notifyServiceManager(text.c_str());
    }
    platform::notifyServiceManager("WATCHDOG=1");
}

Request Runner::serve() {
    start();
    openWatch();
    scan();
    platform::notifyServiceManager("READY=1");
    log_(EventKind::kInfo, "Sending what comes into " + folder_.path() + ", " +
                               std::to_string(unseen_.size()) + " waiting");
    Request request = Request::kNone;
    while ((request = takeSignal()) == Request::kNone) {
        bool isComplete = readNews();
        inspectSome();
        if (!isComplete) {
            const std::lock_guard guard(mutex_);
            backlog_.forgetWaiting();
        }
        if (!isComplete || platform::unixTime() >= nextScan_) {
            if (!isComplete || watch_.handle() < 0) {
                openWatch();
            }
            scan();
        }
        tellManager();
        if (unseen_.empty()) {
            {
                const std::lock_guard guard(mutex_);
                changed_.notify_all();
            }
            platform::waitForAny(
                {watch_.handle(), wakeup_.handle(), signals_ != nullptr ? signals_->handle() : -1},
                idleTime());
            wakeup_.clear();
        }
    }
    platform::notifyServiceManager(request == Request::kReload ? "RELOADING=1" : "STOPPING=1");
    finish();
    tellMemory();
    return request;
}

}  // namespace tessolt::queue
