#pragma once

#include <cstddef>
#include <string_view>

namespace borvik {

/// Operations on 8-bit text that fold or test ASCII only, whatever the locale; other bytes are
/// compared as they are.

constexpr char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}
constexpr char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

bool equalsNoCase(std::string_view a, std::string_view b);
bool beginsWithNoCase(std::string_view text, std::string_view prefix);
/// Position of the first occurrence, `std::string_view::npos` when there is none. Linear time.
std::size_t find(std::string_view text, std::string_view wanted, std::size_t from = 0);
/// The same with ASCII letters folded.
std::size_t findNoCase(std::string_view text, std::string_view wanted, std::size_t from = 0);
/// Whether no byte is 0x80 or above.
bool isAscii(std::string_view text);
/// Without the bytes of `set` at both ends.
std::string_view trimmed(std::string_view text, std::string_view set);
/// Without blanks, tabs, CRs and LFs at both ends.
inline std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace borvik
