#pragma once

#include <cstddef>
#include <cstdint>

namespace borvik {

/// What a conversion loop reads and where it writes.
struct TextCursor {
    const std::uint8_t* in;
    const std::uint8_t* inEnd;
    std::uint8_t* out;
    /// No step begins with `out` above this. At least `kStepRoom` bytes are writable behind it.
    const std::uint8_t* outLimit;

    /// Most bytes that one step of a loop touches: 64 characters of 3 bytes, and a vector behind
    /// them.
    static constexpr std::size_t kStepRoom = 256;

    std::size_t left() const { return static_cast<std::size_t>(inEnd - in); }
    bool goesOn() const { return in < inEnd && out <= outLimit; }
    /// There are `count` bytes of input, and room for a step.
    bool has(std::size_t count) const { return left() >= count && out <= outLimit; }
};

}  // namespace borvik
