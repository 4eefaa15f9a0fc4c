#include "base/ascii_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace borvik {

namespace {

/// Up to these lengths a wanted text is compared at each candidate; longer ones are searched for by
/// the C library, in a folded copy where case doesn't count, to keep the time linear. What is
/// compared as it stands is compared fast, and the boundaries of messages are as long as that.
constexpr std::size_t kShortNeedle = 80;
constexpr std::size_t kShortFoldedNeedle = 32;

std::string folded(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), asciiLower);
    return result;
}

/// Where `wanted`, of 1 to `kShortNeedle` bytes, stands at or behind `from`; it fits there. Only
/// places where its first and its last byte stand are compared, `kFold` ignoring ASCII case.
template <bool kFold>
std::size_t findShort(std::string_view text, std::string_view wanted, std::size_t from) {
    const auto matches = [&](std::size_t at) {
        const std::string_view found = text.substr(at, wanted.size());
        return kFold ? equalsNoCase(found, wanted) : found == wanted;
    };
    const std::size_t lastStart = text.size() - wanted.size();
    std::size_t at = from;
#if defined(__SSE2__)
    constexpr std::size_t kVector = 16;
    const std::size_t behind = wanted.size() - 1;
    const auto load = [&](std::size_t place) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + place));
    };
    const auto all = [](char c) { return _mm_set1_epi8(c); };
    const __m128i first = all(kFold ? asciiLower(wanted.front()) : wanted.front());
    const __m128i firstUpper = all(asciiUpper(wanted.front()));
    const __m128i last = all(kFold ? asciiLower(wanted.back()) : wanted.back());
    const __m128i lastUpper = all(asciiUpper(wanted.back()));
    for (; at + kVector <= lastStart + 1; at += kVector) {
        const __m128i front = load(at);
        const __m128i back = load(at + behind);
        __m128i frontHits = _mm_cmpeq_epi8(front, first);
        __m128i backHits = _mm_cmpeq_epi8(back, last);
        if constexpr (kFold) {
            frontHits = _mm_or_si128(frontHits, _mm_cmpeq_epi8(front, firstUpper));
            backHits = _mm_or_si128(backHits, _mm_cmpeq_epi8(back, lastUpper));
        }
        auto candidates =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(frontHits, backHits)));
        for (; candidates != 0; candidates &= candidates - 1) {
            const std::size_t place = at + static_cast<std::size_t>(__builtin_ctz(candidates));
            if (matches(place)) {
                return place;
            }
        }
    }
#endif
    for (; at <= lastStart; ++at) {
        if (matches(at)) {
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
    if (wanted.size() > text.size() - from) {
        return std::string_view::npos;
    }
    if (wanted.size() == 1) {
        return text.find(wanted.front(), from);
    }
    if (wanted.size() <= kShortNeedle) {
        return findShort<false>(text, wanted, from);
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
    if (wanted.size() <= kShortFoldedNeedle) {
        return findShort<true>(text, wanted, from);
    }
    const std::size_t hit = find(folded(text.substr(from)), folded(wanted));
    return hit == std::string_view::npos ? hit : from + hit;
}

bool isAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    constexpr std::size_t kStride = 4 * kWord;
    std::size_t at = 0;
#if defined(__SSE2__)
    constexpr std::size_t kVector = 16;
    for (; text.size() - at >= 4 * kVector; at += 4 * kVector) {
        const auto load = [&](std::size_t place) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at + place));
        };
        const __m128i bytes = _mm_or_si128(_mm_or_si128(load(0), load(kVector)),
                                           _mm_or_si128(load(2 * kVector), load(3 * kVector)));
        if (_mm_movemask_epi8(bytes) != 0) {
            return false;
        }
    }
#endif
    for (; text.size() - at >= kStride; at += kStride) {
        std::uint64_t words[4];
        std::memcpy(words, text.data() + at, kStride);
        if (((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0) {
            return false;
        }
    }
    std::uint64_t tail = 0;
    for (; text.size() - at >= kWord; at += kWord) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, kWord);
        tail |= word;
    }
    unsigned char seen = 0;
    for (; at < text.size(); ++at) {
        seen |= static_cast<unsigned char>(text[at]);
    }
    return (tail & kHighBits) == 0 && seen < 0x80;
}

std::string_view trimmed(std::string_view text, std::string_view set) {
    const auto inSet = [set](char c) {
        return std::any_of(set.begin(), set.end(), [c](char s) { return s == c; });
    };
    std::size_t begin = 0;
    while (begin < text.size() && inSet(text[begin])) {
        ++begin;
    }
    std::size_t end = text.size();
    while (end > begin && inSet(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

}  // namespace borvik
