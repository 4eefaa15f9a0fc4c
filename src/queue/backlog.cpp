#include "queue/backlog.h"

#include <algorithm>

namespace tessolt::queue {

bool Backlog::isActive(const std::string& name) const {
    const auto entry = entries_.find(name);
    return entry != entries_.end() && entry->second.isActive;
}

Backlog::Lane Backlog::laneOf(const ServerSettings& server) {
    const auto [place, isNew] = byServer_.try_emplace(server, lanes_.size());
    if (isNew) {
        lanes_.push_back({.server = server, .history = {}, .ready = {}, .waiting = {}});
    }
    return place->second;
}

void Backlog::add(const std::string& name, std::int64_t queued, std::int64_t due,
                  const ServerSettings& server) {
    if (isActive(name)) {
        return;
    }
    forget(name);
    const Entry entry{.queued = queued, .due = due, .lane = laneOf(server)};
    entries_.emplace(name, entry);
    place(name, entry);
}

void Backlog::place(const std::string& name, const Entry& entry) {
    ServerLane& lane = lanes_[entry.lane];
    if (entry.due <= now_) {
        lane.ready.emplace(entry.queued, name);
    } else {
        lane.waiting.emplace(entry.due, name);
    }
    refresh(entry.lane);
}

void Backlog::displace(const std::string& name, const Entry& entry) {
    ServerLane& lane = lanes_[entry.lane];
    lane.ready.erase({entry.queued, name});
    lane.waiting.erase({entry.due, name});
    refresh(entry.lane);
}

/// Brings what the lane offers, and when it changes, up to date.
void Backlog::refresh(Lane number) {
    ServerLane& lane = lanes_[number];
    const bool isOpen = lane.history.next <= now_;
    std::optional<Age> offer;
    if (isOpen && lane.sessions < perServer_ && !lane.ready.empty()) {
        offer = *lane.ready.begin();
    }
    if (offer != lane.offered) {
        if (lane.offered) {
            offers_.erase({*lane.offered, number});
        }
        if (offer) {
            offers_.emplace(*offer, number);
        }
        lane.offered = offer;
    }
    std::int64_t wakes = lane.waiting.empty() ? kNever : lane.waiting.begin()->first;
    if (!isOpen && (wakes != kNever || !lane.ready.empty())) {
        wakes = lane.history.next;
    }
    if (wakes != lane.wakes) {
        wakeups_.erase({lane.wakes, number});
        if (wakes != kNever) {
            wakeups_.emplace(wakes, number);
        }
        lane.wakes = wakes;
    }
}

void Backlog::wake(std::int64_t now) {
    now_ = std::max(now_, now);
    while (!wakeups_.empty() && wakeups_.begin()->first <= now_) {
        const Lane number = wakeups_.begin()->second;
        ServerLane& lane = lanes_[number];
        while (!lane.waiting.empty() && lane.waiting.begin()->first <= now_) {
            const std::string name = lane.waiting.begin()->second;
            lane.waiting.erase(lane.waiting.begin());
            lane.ready.emplace(entries_.at(name).queued, name);
        }
        refresh(number);
    }
}

void Backlog::forget(const std::string& name) {
    const auto found = entries_.find(name);
    if (found == entries_.end()) {
        return;
    }
    const Entry entry = found->second;
    active_ -= entry.isActive ? 1 : 0;
    entries_.erase(found);
    displace(name, entry);
}

void Backlog::forgetWaiting() {
    std::vector<std::string> waiting;
    for (const auto& [name, entry] : entries_) {
        if (!entry.isActive) {
            waiting.push_back(name);
        }
    }
    for (const std::string& name : waiting) {
        forget(name);
    }
}

std::optional<Backlog::Lane> Backlog::openLane(std::int64_t now) {
    wake(now);
    if (offers_.empty()) {
        return std::nullopt;
    }
    const Lane lane = offers_.begin()->second;
    ++lanes_[lane].sessions;
    ++sessions_;
    refresh(lane);
    return lane;
}

std::optional<std::string> Backlog::next(Lane number, std::int64_t now) {
    wake(now);
    ServerLane& lane = lanes_[number];
    if (lane.ready.empty()) {
        return std::nullopt;
    }
    const std::string name = lane.ready.begin()->second;
    lane.ready.erase(lane.ready.begin());
    entries_.at(name).isActive = true;
    ++active_;
    refresh(number);
    return name;
}

void Backlog::postpone(const std::string& name, std::int64_t due) {
    const auto found = entries_.find(name);
    if (found == entries_.end()) {
        return;
    }
    Entry& entry = found->second;
    active_ -= entry.isActive ? 1 : 0;
    displace(name, entry);
    entry.isActive = false;
    entry.due = due;
    place(name, entry);
}

void Backlog::closeLane(Lane lane) {
    --lanes_[lane].sessions;
    --sessions_;
    refresh(lane);
}

void Backlog::setHistory(Lane lane, const ServerHistory& history) {
    lanes_[lane].history = history;
    refresh(lane);
}

std::int64_t Backlog::nextChange(std::int64_t now) {
    wake(now);
    return wakeups_.empty() ? kNever : wakeups_.begin()->first;
}

}  // namespace tessolt::queue
