#pragma once

#include <cstdint>

namespace tessolt::queue {

/// When a try that failed for now is made again: after 1, 5, 15 and 30 minutes, then hourly, each a
/// little later by chance, until the message is given up (RFC 5321, 4.5.4.1). Times are seconds.
class RetryPlan {
public:
    /// Four days.
    static constexpr std::int64_t kDefaultGiveUp = 4 * 24 * 3600;

    explicit RetryPlan(std::int64_t giveUp = kDefaultGiveUp) : giveUp_(giveUp) {}

    /// How long to wait behind try number `tries`, which counts from 1. `chance` is any number; the
    /// delay grows with its low 16 bits by up to a tenth.
    static std::int64_t delayAfter(std::int32_t tries, std::uint32_t chance);
    /// Whether it is given up after a try that failed at `now`, the first one having been made at
    /// `firstTry`.
    bool isOver(std::int64_t firstTry, std::int64_t now) const { return now - firstTry >= giveUp_; }

private:
    std::int64_t giveUp_;
};

}  // namespace tessolt::queue
