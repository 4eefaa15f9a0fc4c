#include "automation/guid_text.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tessolt {
namespace {

constexpr std::size_t kTextLength = 38;

/// Where the hyphens stand.
constexpr std::size_t kHyphens[] = {9, 14, 19, 24};

template <class Number>
bool parseHex(std::string_view digits, Number& number) {
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, 16);
    return error == std::errc() && stop == end && digits.front() != '-';
}

}  // namespace

std::string guidText(const GUID& id) {
    char text[kTextLength + 1];
    const uint8_t* last = id.Data4;
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", id.Data1,
                  id.Data2, id.Data3, last[0], last[1], last[2], last[3], last[4], last[5], last[6],
                  last[7]);
    return text;
}

std::optional<GUID> parseGuid(std::string_view text) {
    if (text.size() != kTextLength || text.front() != '{' || text.back() != '}') {
        return std::nullopt;
    }
    for (const std::size_t at : kHyphens) {
        if (text[at] != '-') {
            return std::nullopt;
        }
    }
    GUID id = {};
    bool valid = parseHex(text.substr(1, 8), id.Data1) && parseHex(text.substr(10, 4), id.Data2) &&
                 parseHex(text.substr(15, 4), id.Data3);
    for (std::size_t i = 0; i < sizeof id.Data4; ++i) {
        // The last eight bytes have a hyphen behind the second.
        valid = valid && parseHex(text.substr((i < 2 ? 20 : 21) + 2 * i, 2), id.Data4[i]);
    }
    return valid ? std::optional(id) : std::nullopt;
}

}  // namespace tessolt
