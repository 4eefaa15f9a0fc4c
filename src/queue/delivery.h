#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "queue/backlog.h"
#include "queue/claim.h"
#include "queue/courier.h"
#include "queue/message_state.h"
#include "queue/queue_folder.h"
#include "queue/queued_message.h"
#include "queue/retry_plan.h"
#include "queue/sent_remover.h"

namespace tessolt::queue {

/// How much an event matters to whoever reads the log.
enum class EventKind { kInfo, kWarning, kError };
/// Takes one line about one event. Called from several threads.
using EventLog = std::function<void(EventKind, const std::string&)>;

/// What is decided once for all messages.
struct DeliveryOptions {
    RetryPlan plan;
    bool sendsNotices = true;             ///< A sender hears of what failed for good.
    std::optional<ServerSettings> relay;  ///< Takes everything, whatever the messages say.
};

/// What became of a message.
struct Delivered {
    enum class Fate {
        kSent,
        kFailed,   ///< It lies among the failed ones, at least for some of its recipients.
        kLater,    ///< It waits, until `due`.
        kHeld,     ///< It waits until it is released.
        kAbsent,   ///< It is gone.
        kStopped,  ///< It waits as before, because the runner ends.
    };
    Fate fate = Fate::kLater;
    std::int64_t due = 0;
    bool isServerTrouble = false;  ///< The server itself is to be left alone, as `history` says.
    bool isConnectionLost = false;
    ServerHistory history = {};
};

/// Takes one message from the folder to its server: claims it, sends it, and settles what becomes
/// of it. Usable from several threads at once.
class Delivery {
public:
    Delivery(const QueueFolder& folder, DeliveryOptions options, EventLog log)
        : folder_(folder), options_(std::move(options)), log_(std::move(log)), remover_(folder) {}

    /// Delivers one message through `courier`, whose server has done as `history` tells. `outcome`
    /// is what taking the claim gave. Times come from the system's clock.
    Delivered deliver(Claim claim, Claim::Outcome outcome, Courier& courier,
                      const ServerHistory& history);

    /// The server that a message goes through, one without a name when that can't be told, and what
    /// is known of its tries. False when there is no such message.
    bool inspect(const std::string& name, ServerSettings& server, MessageState& state) const;

private:
    struct Case;

    MessageState stateOf(const std::string& name) const;
    Delivered attempt(Case& message, Courier& courier, const ServerHistory& history);
    Delivered settle(Case& message, const Attempt& attempt, const ServerHistory& history);
    Delivered postpone(Case& message, const Attempt& attempt, const ServerHistory& history);
    Delivered fail(Case& message, const std::string& step, const std::string& reply);
    Delivered sent(Case& message);
    int record(const std::string& name, const MessageState& state);
    void forget(const std::string& name);
    void log(EventKind kind, const Case& message, std::string_view what,
             const std::string& words) const;

    const QueueFolder& folder_;
    const DeliveryOptions options_;
    const EventLog log_;
    SentRemover remover_;
    mutable std::mutex mutex_;
    /// States that couldn't be written: they count as long as the runner lives.
    std::unordered_map<std::string, MessageState> unwritten_;
};

}  // namespace tessolt::queue
