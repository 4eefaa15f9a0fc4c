#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "queue/queued_message.h"

namespace tessolt::queue {

/// How a server has been doing: refused conversations in a row, since when, and until when it is
/// left alone. Times are seconds since 1970.
struct ServerHistory {
    std::int32_t tries = 0;
    std::int64_t since = 0;
    std::int64_t next = 0;
    std::int32_t losses = 0;  ///< Connections lost in a row, each within another message.
};

/// The messages that wait, by server, and which of them goes next: the oldest that is due of a
/// server that isn't left alone. Knows neither files nor clock. Each operation takes a time that
/// grows with the logarithm of what waits.
class Backlog {
public:
    using Lane = std::size_t;
    /// No time at all.
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    /// `perServer` conversations are held with one server at a time at most.
    explicit Backlog(std::size_t perServer = 1) : perServer_(perServer) {}

    /// Adds a message, or changes when it is due, unless it is being sent.
    void add(const std::string& name, std::int64_t queued, std::int64_t due,
             const ServerSettings& server);
    bool knows(const std::string& name) const { return entries_.contains(name); }
    bool isActive(const std::string& name) const;
    /// Forgets a message, whatever its state.
    void forget(const std::string& name);
    /// Forgets all that aren't being sent.
    void forgetWaiting();

    /// Opens a conversation for the oldest message that may go; nothing when none may.
    std::optional<Lane> openLane(std::int64_t now);
    /// The next message of a conversation, which is active until `postpone` or `forget`.
    std::optional<std::string> next(Lane lane, std::int64_t now);
    void postpone(const std::string& name, std::int64_t due);
    void closeLane(Lane lane);

    const ServerSettings& server(Lane lane) const { return lanes_[lane].server; }
    const ServerHistory& history(Lane lane) const { return lanes_[lane].history; }
    void setHistory(Lane lane, const ServerHistory& history);
    Lane laneOf(const ServerSettings& server);

    /// When the next message may go that may not at `now`; kNever when there is none.
    std::int64_t nextChange(std::int64_t now);
    std::size_t size() const { return entries_.size(); }
    std::size_t activeCount() const { return active_; }
    std::size_t sessionCount() const { return sessions_; }

private:
    using Age = std::pair<std::int64_t, std::string>;
    struct Entry {
        std::int64_t queued = 0;
        std::int64_t due = 0;
        Lane lane = 0;
        bool isActive = false;
    };
    struct ServerLane {
        ServerSettings server;
        ServerHistory history;
        std::size_t sessions = 0;
        std::set<Age> ready;
        std::set<Age> waiting;  ///< By when they are due.
        std::optional<Age> offered = {};
        std::int64_t wakes = kNever;
    };

    void place(const std::string& name, const Entry& entry);
    void displace(const std::string& name, const Entry& entry);
    void refresh(Lane lane);
    void wake(std::int64_t now);

    std::size_t perServer_;
    std::size_t active_ = 0;
    std::size_t sessions_ = 0;
    std::int64_t now_ = 0;
    std::unordered_map<std::string, Entry> entries_;
    std::vector<ServerLane> lanes_;
    std::map<ServerSettings, Lane> byServer_;
    std::set<std::pair<Age, Lane>> offers_;            ///< Lanes that may be opened, oldest first.
    std::set<std::pair<std::int64_t, Lane>> wakeups_;  ///< When a lane changes by itself.
};

}  // namespace tessolt::queue
