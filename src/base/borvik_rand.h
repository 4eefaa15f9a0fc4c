#pragma once

#include <cstdint>

namespace borvik {

/// The library's process-wide random source, a generalised feedback shift register over 250 words
/// (R250), filled from the system's random bytes at its first use. Safe for use by several threads.
/// Not for secrets.
class BorvikRand {
public:
    /// A number from `low` up to, but not including, `high`; `low` when they are equal.
    static int randomInt(int low, int high);
    /// The next 32-bit word of the generator.
    static std::uint32_t randomWord();
};

}  // namespace borvik
