#include "base/ascii_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

namespace borvik {

namespace {

/// Up to this length a wanted text is compared at each candidate; longer ones are searched for in a
/// folded copy, to keep the time linear.
constexpr std::size_t kShortNeedle = 32;

std::string folded(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), asciiLower);
    return result;
}

std::size_t findShortNoCase(std::string_view text, std::string_view wanted, std::size_t from) {
    const char lower = asciiLower(wanted.front());
    const char upper = asciiUpper(wanted.front());
    const std::size_t lastStart = text.size() - wanted.size();
    for (std::size_t at = from; at <= lastStart; ++at) {
        if ((text[at] == lower || text[at] == upper) &&
            equalsNoCase(text.substr(at, wanted.size()), wanted)) {
            return at;
        }
    }
    return std::string_view::npos;
}

}  // namespace

bool equalsNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return x == y || asciiLower(x) == asciiLower(y);
           });
}

bool beginsWithNoCase(std::string_view text, std::string_view prefix) {
    return equalsNoCase(text.substr(0, prefix.size()), prefix);
}

std::size_t find(std::string_view text, std::string_view wanted, std::size_t from) {
    if (from > text.size()) {
        return std::string_view::npos;
    }
    if (wanted.empty()) {
        return from;
    }
    const void* const hit =
        memmem(text.data() + from, text.size() - from, wanted.data(), wanted.size());
    return hit == nullptr ? std::string_view::npos
                          : static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
}

std::size_t findNoCase(std::string_view text, std::string_view wanted, std::size_t from) {
    if (from > text.size() || wanted.size() > text.size() - from) {
        return std::string_view::npos;
    }
    if (wanted.empty()) {
        return from;
    }
    if (wanted.size() <= kShortNeedle) {
        return findShortNoCase(text, wanted, from);
    }
    const std::size_t hit = find(folded(text.substr(from)), folded(wanted));
    return hit == std::string_view::npos ? hit : from + hit;
}

bool isAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    constexpr std::size_t kStride = 4 * kWord;
    std::size_t at = 0;
    for (; text.size() - at >= kStride; at += kStride) {
        std::uint64_t words[4];
        std::memcpy(words, text.data() + at, kStride);
        if (((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0) {
            return false;
        }
    }
    unsigned char seen = 0;
    for (; at < text.size(); ++at) {
        seen |= static_cast<unsigned char>(text[at]);
    }
    return seen < 0x80;
}

std::string_view trimmed(std::string_view text, std::string_view set) {
    const std::size_t begin = text.find_first_not_of(set);
    if (begin == std::string_view::npos) {
        return text.substr(text.size());
    }
    return text.substr(begin, text.find_last_not_of(set) - begin + 1);
}

}  // namespace borvik
