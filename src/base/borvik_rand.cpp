#include "base/borvik_rand.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>

#include "platform/c_random.h"
#include "platform/clock.h"
#include "platform/random_bytes.h"

namespace borvik {

namespace {

constexpr std::size_t kWords = 250;
constexpr std::size_t kTap = 103;
constexpr unsigned kWordBits = 32;

/// Where the words that are made linearly independent start, and how far they lie apart.
constexpr std::size_t kFirstFixedWord = 3;
constexpr std::size_t kFixedWordStep = 7;

/// Calls of `randomInt` after which the C library's generator is seeded anew.
constexpr std::uint32_t kCallsPerSeed = 3000;

class ShiftRegister {
public:
    ShiftRegister() {
        if (!platform::randomBytes(words_.data(), sizeof words_)) {
            fillFromClock();
        }
        makeIndependent();
    }

    std::uint32_t next() {
        const std::lock_guard<std::mutex> guard(mutex_);
        const std::uint32_t word = words_[i_] ^= words_[j_];
        i_ = (i_ + 1) % kWords;
        j_ = (j_ + 1) % kWords;
        return word;
    }

private:
    void fillFromClock() {
        platform::srand(platform::tickCount());
        for (std::size_t k = kWords; k-- > 0;) {
            const auto first = static_cast<std::uint32_t>(platform::rand());
            const auto second = static_cast<std::uint32_t>(platform::rand());
            const auto third = static_cast<std::uint32_t>(platform::rand());
            words_[k] = (second << 17) | (first << 2) | (third & 3);
        }
    }

    void makeIndependent() {
        std::size_t k = kFirstFixedWord;
        for (unsigned bit = kWordBits; bit-- > 0; k += kFixedWordStep) {
            const std::uint32_t lowest = std::uint32_t{1} << bit;
            words_[k] = (words_[k] & (lowest - 1)) | lowest;
        }
    }

    std::mutex mutex_;
    std::array<std::uint32_t, kWords> words_{};
    std::size_t i_ = 0;
    std::size_t j_ = kTap;
};

ShiftRegister& shiftRegister() {
    static ShiftRegister instance;
    return instance;
}

}  // namespace

std::uint32_t BorvikRand::randomWord() {
    return shiftRegister().next();
}

int BorvikRand::randomInt(int low, int high) {
    // The C library's generator has its state per thread, and so has its seeding.
    thread_local bool seeded = false;
    thread_local std::uint32_t calls = 0;
    if (!seeded) {
        platform::srand(platform::tickCount());
        seeded = true;
    }
    if (calls++ > kCallsPerSeed) {
        platform::srand(randomWord());
        calls = 0;
    }
    if (low == high) {
        return low;
    }
    constexpr double kRange = platform::kRandMax + 1.0;
    const double span = static_cast<double>(high) - low;
    const auto offset = static_cast<std::int64_t>(platform::rand() / kRange * span);
    const auto [least, most] = std::minmax(low, high);
    return static_cast<int>(std::clamp<std::int64_t>(low + offset, least, most));
}

}  // namespace borvik
