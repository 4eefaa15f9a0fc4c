#include "message/boundary_maker.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>

#include "platform/c_random.h"

namespace tessolt {

namespace {

/// What all boundaries of up to 15 parts begin with.
constexpr std::string_view kBoundaryStart = "--==00";
constexpr std::size_t kCountDigits = 3;
constexpr std::size_t kMiddleDigits = 16;
constexpr int kHex = 16;
constexpr unsigned kProductBits = 32;
constexpr std::size_t kBoundaryLength = 26;

/// Reads upper-case hexadecimal digits and nothing else.
std::optional<std::uint64_t> readHex(std::string_view digits) {
    if (digits.find_first_not_of("0123456789ABCDEF") != std::string_view::npos) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value, kHex);
    return value;
}

/// The middle, as a number, of a boundary at the start of `text`; nothing when there is none, or
/// one with a count above `upToCount`.
std::optional<std::uint64_t> middleAt(std::string_view text, std::uint32_t upToCount) {
    constexpr std::size_t kCountAt = 4;
    if (text.size() < kBoundaryLength) {
        return std::nullopt;
    }
    const auto count = readHex(text.substr(kCountAt, kCountDigits));
    if (!count || *count < BoundaryMaker::kOuter || *count > upToCount) {
        return std::nullopt;
    }
    const auto middle = readHex(text.substr(kCountAt + kCountDigits + 1, kMiddleDigits));
    if (!middle || text[kCountAt + kCountDigits] != '_' ||
        text.substr(kBoundaryLength - 2, 2) != "==") {
        return std::nullopt;
    }
    return middle;
}

}  // namespace

void BoundaryMaker::avoid(std::string_view text, std::uint32_t upToCount) {
    while (text.size() >= kBoundaryLength) {
        const void* hit =
            memmem(text.data(), text.size(), kBoundaryStart.data(), kBoundaryStart.size());
        if (hit == nullptr) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(static_cast<const char*>(hit) - text.data()));
        if (const auto middle = middleAt(text, upToCount)) {
            taken_.push_back(*middle);
        }
        text.remove_prefix(kBoundaryStart.size());
    }
}

std::string BoundaryMaker::drawMiddle() {
    std::ranges::sort(taken_);
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    do {
        const auto r1 = static_cast<std::uint32_t>(platform::rand());
        const auto r2 = static_cast<std::uint32_t>(platform::rand());
        const auto r3 = static_cast<std::uint32_t>(platform::rand());
        const auto r4 = static_cast<std::uint32_t>(platform::rand());
        high = r3 * r4;
        low = r1 * r2;
    } while (
        std::ranges::binary_search(taken_, static_cast<std::uint64_t>(high) << kProductBits | low));
    char text[kMiddleDigits + 3];
    std::snprintf(text, sizeof text, "%08X%08X==", high, low);
    return text;
}

std::string BoundaryMaker::boundary(std::uint32_t count, std::string_view middle) {
    char start[kBoundaryLength];
    std::snprintf(start, sizeof start, "--==%03X_", count);
    return start + std::string(middle);
}

}  // namespace tessolt
