#include "queue/retry_plan.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace tessolt::queue {

namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::array<std::int64_t, 5> kDelays{1 * kMinute, 5 * kMinute, 15 * kMinute, 30 * kMinute,
                                              60 * kMinute};
constexpr std::int64_t kJitterPart = 10;
constexpr std::uint32_t kChanceMask = 0xFFFF;

}  // namespace

std::int64_t RetryPlan::delayAfter(std::int32_t tries, std::uint32_t chance) {
    const std::int64_t last = static_cast<std::int64_t>(kDelays.size()) - 1;
    const std::int64_t delay =
        kDelays[static_cast<std::size_t>(std::clamp<std::int64_t>(tries - 1, 0, last))];
    return delay + delay * (chance & kChanceMask) / (kJitterPart * kChanceMask);
}

}  // namespace tessolt::queue
