#pragma once

#include <array>
#include <cstdint>

/// Byte shuffles that move the parts of a vector that count to its front, by a mask of which those
/// are.
namespace borvik::shuffles {

struct alignas(16) Shuffle {
    std::array<std::uint8_t, 16> from;
};
using Table = std::array<Shuffle, 256>;

/// Zeroes the byte.
inline constexpr std::uint8_t kNothing = 0x80;

/// Builds one shuffle byte by byte.
class Builder {
public:
    constexpr Builder() { shuffle_.from.fill(kNothing); }
    constexpr void take(unsigned byte) {
        shuffle_.from[count_++] = static_cast<std::uint8_t>(byte);
    }
    constexpr const Shuffle& result() const { return shuffle_; }

private:
    Shuffle shuffle_{};
    unsigned count_ = 0;
};

/// 8 lanes of 16 bits: those whose bit is set.
constexpr Table makeLanes() {
    Table table{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        Builder builder;
        for (unsigned lane = 0; lane < 8; ++lane) {
            if ((mask >> lane & 1U) != 0) {
                builder.take(2 * lane);
                builder.take(2 * lane + 1);
            }
        }
        table[mask] = builder.result();
    }
    return table;
}

/// 8 lanes of 16 bits: the low byte, and the high one where the bit is not set.
constexpr Table makePairs() {
    Table table{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        Builder builder;
        for (unsigned lane = 0; lane < 8; ++lane) {
            builder.take(2 * lane);
            if ((mask >> lane & 1U) == 0) {
                builder.take(2 * lane + 1);
            }
        }
        table[mask] = builder.result();
    }
    return table;
}

/// 4 lanes of 32 bits: the low byte where bit `lane` + 4 is set, the second where bit `lane` is,
/// and the third.
constexpr Table makeTriples() {
    Table table{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        Builder builder;
        for (unsigned lane = 0; lane < 4; ++lane) {
            if ((mask >> lane & 0x10U) != 0) {
                builder.take(4 * lane);
            }
            if ((mask >> lane & 1U) != 0) {
                builder.take(4 * lane + 1);
            }
            builder.take(4 * lane + 2);
        }
        table[mask] = builder.result();
    }
    return table;
}

inline constexpr Table kLanes = makeLanes();
inline constexpr Table kPairs = makePairs();
inline constexpr Table kTriples = makeTriples();

}  // namespace borvik::shuffles
