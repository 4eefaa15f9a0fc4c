#include "message/boundary_maker.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
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
constexpr std::size_t kHighDigits = 8;
constexpr std::size_t kBoundaryLength = 26;
/// In front of the count, and behind the middle.
constexpr std::string_view kCountMark = "--==";
constexpr std::string_view kBoundaryEnd = "==";

/// Upper-case hexadecimal digits, at least so many.
void appendHex(std::uint32_t number, std::size_t width, std::string& text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    constexpr unsigned kDigitBits = 4;
    while (width < 2 * sizeof number && number >> (kDigitBits * width) != 0) {
        ++width;
    }
    char digits[2 * sizeof number];
    for (std::size_t i = 0; i < width; ++i) {
        digits[i] = kDigits[number >> (kDigitBits * (width - 1 - i)) & (kHex - 1)];
    }
    text.append(digits, width);
}

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
    constexpr std::size_t kCountAt = kCountMark.size();
    if (text.size() < kBoundaryLength) {
        return std::nullopt;
    }
    const auto count = readHex(text.substr(kCountAt, kCountDigits));
    if (!count || *count < BoundaryMaker::kOuter || *count > upToCount) {
        return std::nullopt;
    }
    const auto middle = readHex(text.substr(kCountAt + kCountDigits + 1, kMiddleDigits));
    if (!middle || text[kCountAt + kCountDigits] != '_' ||
        text.substr(kBoundaryLength - kBoundaryEnd.size(), kBoundaryEnd.size()) != kBoundaryEnd) {
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
    std::string text;
    appendHex(high, kHighDigits, text);
    appendHex(low, kMiddleDigits - kHighDigits, text);
    return text.append(kBoundaryEnd);
}

std::string BoundaryMaker::boundary(std::uint32_t count, std::string_view middle) {
    std::string text;
    text.reserve(kBoundaryLength);
    text.append(kCountMark);
    appendHex(count, kCountDigits, text);
    return text.append(1, '_').append(middle);
}

}  // namespace tessolt
