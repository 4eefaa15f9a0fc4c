/// Unpredictable bytes from the system.
#pragma once

#include <cstddef>

namespace platform {

/// Fills `buffer` with `size` random bytes. False when the system has none to give.
bool randomBytes(void* buffer, std::size_t size);

}  // namespace platform
