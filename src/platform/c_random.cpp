#include "platform/c_random.h"

namespace platform {
namespace {

constexpr std::uint32_t kMultiplier = 214013;
constexpr std::uint32_t kIncrement = 2531011;
constexpr int kResultShift = 16;

thread_local std::uint32_t state = 1;

}  // namespace

void srand(std::uint32_t seed) {
    state = seed;
}

int rand() {
    state = state * kMultiplier + kIncrement;
    return static_cast<int>(state >> kResultShift) & kRandMax;
}

}  // namespace platform
