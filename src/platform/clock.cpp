#include "platform/clock.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/wait_hook.h"

namespace platform {
namespace {

constexpr int kSecondsPerMinute = 60;
constexpr int kMillisPerSecond = 1000;
constexpr long kNanosPerMilli = 1'000'000;

/// Stands for a TZ that is not set.
constexpr std::string_view kZoneOfSystem = ":/etc/localtime";

/// One thread at a time: the C library's lock for the zone is one that thread checkers don't see.
/// The zone's file is looked at once in a second, and whenever TZ is another.
tm localParts(time_t seconds) {
    static std::mutex zone;
    static time_t known = -1;
    static std::string knownZone;
    static tm parts{};
    const std::lock_guard lock(zone);
    const char* const set = std::getenv("TZ");
    const std::string_view wanted = set ? set : kZoneOfSystem;
    if (seconds != known || wanted != knownZone) {
        knownZone = wanted;
        tzset();  // localtime_r alone doesn't look at TZ again
        localtime_r(&seconds, &parts);
        known = seconds;
    }
    return parts;
}

int biasOf(const tm& parts) {
    return -static_cast<int>(parts.tm_gmtoff / kSecondsPerMinute);
}

/// The clocks of the operating system.
class SystemClock : public Clock {
public:
    std::uint32_t tickCount() override {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const auto millis = static_cast<std::uint64_t>(now.tv_sec) * kMillisPerSecond +
                            static_cast<std::uint64_t>(now.tv_nsec / kNanosPerMilli);
        return static_cast<std::uint32_t>(millis);
    }

    void sleep(std::uint32_t milliseconds) override {
        const bool forever = milliseconds == kForever;
        timespec until{};
        clock_gettime(CLOCK_MONOTONIC, &until);
        do {
            const std::uint32_t part =
                hasWaitHook() ? std::min(milliseconds, kHookInterval) : milliseconds;
            until.tv_sec += part / kMillisPerSecond;
            until.tv_nsec += static_cast<long>(part % kMillisPerSecond) * kNanosPerMilli;
            if (until.tv_nsec >= kMillisPerSecond * kNanosPerMilli) {
                until.tv_nsec -= kMillisPerSecond * kNanosPerMilli;
                ++until.tv_sec;
            }
            while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
                if (askWaitHook()) {
                    return;
                }
            }
            milliseconds -= forever ? 0 : part;
        } while (milliseconds > 0 && !askWaitHook());
    }

    LocalTime localTime() override {
        int bias = 0;
        return localTime(bias);
    }

    LocalTime localTime(int& bias) override {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        const tm parts = localParts(now.tv_sec);
        LocalTime result;
        result.year = parts.tm_year + 1900;
        result.month = parts.tm_mon + 1;
        result.day = parts.tm_mday;
        result.dayOfWeek = parts.tm_wday;
        result.hour = parts.tm_hour;
        result.minute = parts.tm_min;
        result.second = parts.tm_sec;
        result.millisecond = static_cast<int>(now.tv_nsec / kNanosPerMilli);
        bias = biasOf(parts);
        return result;
    }

    int timeZoneBias() override { return biasOf(localParts(time(nullptr))); }

    std::int64_t unixTime() override { return time(nullptr); }
};

SystemClock systemClock;
std::atomic<Clock*> clockInUse{&systemClock};

}  // namespace

Clock& currentClock() {
    return *clockInUse.load(std::memory_order_acquire);
}

Clock* replaceClock(Clock* clock) {
    return clockInUse.exchange(clock ? clock : &systemClock, std::memory_order_acq_rel);
}

}  // namespace platform
