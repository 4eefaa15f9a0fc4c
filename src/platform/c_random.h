/// The small random numbers of boundaries, file names and the scrambled password. They are
/// reproducible by design and no secret: use random_bytes.h for those.
#pragma once

#include <cstdint>

namespace platform {

/// The largest number that `rand` gives.
inline constexpr int kRandMax = 0x7FFF;

/// Sets the calling thread's state to `seed`. A thread starts with 1.
void srand(std::uint32_t seed);
/// The next number of the calling thread, 0 to kRandMax.
int rand();

}  // namespace platform
