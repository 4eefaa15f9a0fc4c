#pragma once

#include <cstdint>

namespace tessolt {

/// No limit, as a time in milliseconds.
inline constexpr std::uint32_t kNoTimeLimit = 0xFFFFFFFF;

/// A time limit on the tick counter, right across the counter's wrap after 49.7 days.
class CZncTimeout {
public:
    /// A limit that has run out until it is started.
    CZncTimeout() = default;
    explicit CZncTimeout(std::uint32_t milliseconds) { Start(milliseconds); }

    /// Sets the limit to `milliseconds` from now, kNoTimeLimit for none.
    void Start(std::uint32_t milliseconds);
    /// Gives the limit its whole time again from now.
    void Restart();
    bool HasExpired() const { return Remaining() == 0; }
    /// Milliseconds that are left; kNoTimeLimit without a limit.
    std::uint32_t Remaining() const;

private:
    std::uint32_t m_uDuration = 0;
    std::uint32_t m_uDeadline = 0;
};

}  // namespace tessolt
