#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace support {

/// A clock that stands still until a test or a sleep moves it. In use while it lives.
class FakeClock : public platform::Clock {
public:
    FakeClock() : previous_(platform::replaceClock(this)) {}
    ~FakeClock() override { platform::replaceClock(previous_); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    std::uint32_t tickCount() override { return ticks; }
    void sleep(std::uint32_t milliseconds) override {
        slept += milliseconds;
        ticks += milliseconds;
    }
    using Clock::localTime;
    platform::LocalTime localTime() override { return local; }
    int timeZoneBias() override { return bias; }
    std::int64_t unixTime() override { return seconds; }

    std::uint32_t ticks = 1000;
    std::uint64_t slept = 0;  ///< Milliseconds of all sleeps together.
    platform::LocalTime local{2024, 3, 5, 2, 14, 3, 9, 250};
    int bias = 0;
    std::int64_t seconds = 1709647389;

private:
    platform::Clock* previous_;
};

}  // namespace support
