#include "foundation/text_operations.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/ascii_text.h"

namespace tessolt {
namespace {

/// Up to this many units the plain search costs no more than a few steps a position.
constexpr std::size_t kShortNeedle = 8;

/// For each prefix of the needle the length of its longest proper border (Knuth, Morris, Pratt).
std::vector<std::size_t> borders(std::u16string_view needle) {
    std::vector<std::size_t> border(needle.size(), 0);
    for (std::size_t i = 1, matched = 0; i < needle.size(); ++i) {
        while (matched > 0 && needle[i] != needle[matched]) {
            matched = border[matched - 1];
        }
        matched += needle[i] == needle[matched] ? 1 : 0;
        border[i] = matched;
    }
    return border;
}

}  // namespace

std::size_t FindText(std::string_view text, std::string_view needle, std::size_t from) {
    if (needle.empty() || from >= text.size()) {
        return std::string_view::npos;
    }
    if (needle.size() <= kShortNeedle) {
        return text.find(needle, from);
    }
    const void* hit = memmem(text.data() + from, text.size() - from, needle.data(), needle.size());
    return hit ? static_cast<std::size_t>(static_cast<const char*>(hit) - text.data())
               : std::string_view::npos;
}

std::size_t FindText(std::u16string_view text, std::u16string_view needle, std::size_t from) {
    if (needle.empty() || from >= text.size() || needle.size() > text.size() - from) {
        return std::u16string_view::npos;
    }
    if (needle.size() <= kShortNeedle) {
        return text.find(needle, from);
    }
    const std::vector<std::size_t> border = borders(needle);
    for (std::size_t i = from, matched = 0; i < text.size(); ++i) {
        while (matched > 0 && text[i] != needle[matched]) {
            matched = border[matched - 1];
        }
        matched += text[i] == needle[matched] ? 1 : 0;
        if (matched == needle.size()) {
            return i + 1 - matched;
        }
    }
    return std::u16string_view::npos;
}

std::int32_t ParseLong(std::string_view text) {
    std::size_t at = std::min(text.find_first_not_of(" \t\r\n\v\f"), text.size());
    const bool isNegative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        ++at;
    }
    std::int64_t number = 0;
    for (; at < text.size() && platform::isDigit(text[at]) && number <= INT32_MAX; ++at) {
        number = number * 10 + (text[at] - '0');
    }
    number = isNegative ? -number : number;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX));
}

}  // namespace tessolt
