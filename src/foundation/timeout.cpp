#include "foundation/timeout.h"

#include "platform/clock.h"
#include "platform/wait_hook.h"

namespace tessolt {

void CZncTimeout::Start(std::uint32_t milliseconds) {
    m_uDuration = milliseconds;
    Restart();
}

void CZncTimeout::Restart() {
    m_uDeadline = platform::tickCount() + m_uDuration;
}

std::uint32_t CZncTimeout::Remaining() const {
    if (platform::areWaitsEnded()) {
        return 0;
    }
    if (m_uDuration == kNoTimeLimit) {
        return kNoTimeLimit;
    }
    // Unsigned differences stay right when the counter wraps between start and now.
    const std::uint32_t start = m_uDeadline - m_uDuration;
    const std::uint32_t elapsed = platform::tickCount() - start;
    return elapsed >= m_uDuration ? 0 : m_uDuration - elapsed;
}

}  // namespace tessolt
