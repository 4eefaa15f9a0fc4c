/// Small questions about text that mean the same in every locale.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// ASCII lower case; every other byte is left alone.
constexpr char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

inline std::string loweredText(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        c = lowered(c);
    }
    return result;
}

inline bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lowered(a[i]) != lowered(b[i])) {
            return false;
        }
    }
    return true;
}

/// `text` without blanks and tabs at both ends.
inline std::string_view trimmedBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Calls `use` with each line of `text`, without its LF or CR LF. Text behind the last line end is
/// a line too, unless it is empty.
template <typename Use>
void splitLines(std::string_view text, Use use) {
    while (!text.empty()) {
        const std::size_t feed = text.find('\n');
        std::string_view line = text.substr(0, feed);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        use(line);
        if (feed == std::string_view::npos) {
            return;
        }
        text.remove_prefix(feed + 1);
    }
}

}  // namespace platform
