/// How a host ends a wait early: a function of its own that every wait of its thread asks, at once
/// after a signal and else some times a second.
#pragma once

#include <cstdint>

namespace platform {

/// Tells by a result other than 0 that the thread's waits are to end.
using WaitHook = int (*)(void* context);

/// The longest that a wait goes without asking, in milliseconds.
inline constexpr std::uint32_t kHookInterval = 100;

/// Sets the hook of the calling thread and what it gets, null for none. What an earlier one told is
/// forgotten.
void setWaitHook(WaitHook hook, void* context);
bool hasWaitHook();
/// Asks the hook, unless it has told already. True when the wait is to end.
bool askWaitHook();
/// Whether the hook has told that the thread's waits are to end. All limits have run out then.
bool areWaitsEnded();

}  // namespace platform
