/// The one source of time: ticks for limits, wall time for stamps, the zone for dates, and
/// sleeping. Everything goes through the current `Clock`, so that a test can put its own in place.
#pragma once

#include <cstdint>

namespace platform {

/// No limit, as a time in milliseconds.
inline constexpr std::uint32_t kForever = 0xFFFFFFFF;

/// A wall time in the local zone.
struct LocalTime {
    int year = 1970;
    int month = 1;      ///< 1 to 12
    int day = 1;        ///< 1 to 31
    int dayOfWeek = 4;  ///< 0 is Sunday
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

/// What the system asks of a clock.
class Clock {
public:
    virtual ~Clock() = default;
    /// Milliseconds since some start, from a clock that is never set; wraps after about 49.7 days.
    virtual std::uint32_t tickCount() = 0;
    /// Suspends the calling thread for `milliseconds`, also across signals; kForever never ends but
    /// by the thread's wait hook.
    virtual void sleep(std::uint32_t milliseconds) = 0;
    virtual LocalTime localTime() = 0;
    /// Minutes to add to local time to get UTC, daylight time included: -60 in Paris in winter.
    virtual int timeZoneBias() = 0;
    /// Both for one moment.
    virtual LocalTime localTime(int& bias) {
        bias = timeZoneBias();
        return localTime();
    }
    /// Seconds since 1970 in UTC.
    virtual std::int64_t unixTime() = 0;
};

/// The clock in use, the system's own unless a test replaced it.
Clock& currentClock();
/// Puts `clock` in use for all threads, the system's own for null. Returns the one that was in use.
/// The caller keeps `clock` alive until it is replaced.
Clock* replaceClock(Clock* clock);

inline std::uint32_t tickCount() {
    return currentClock().tickCount();
}
inline void sleepFor(std::uint32_t milliseconds) {
    currentClock().sleep(milliseconds);
}
inline LocalTime localTime() {
    return currentClock().localTime();
}
inline LocalTime localTime(int& bias) {
    return currentClock().localTime(bias);
}
inline int timeZoneBias() {
    return currentClock().timeZoneBias();
}
inline std::int64_t unixTime() {
    return currentClock().unixTime();
}

}  // namespace platform
