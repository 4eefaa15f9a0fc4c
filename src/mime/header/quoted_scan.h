#pragma once

#include <cstddef>
#include <string_view>

namespace borvik {

/// Length of the text in front of the first `delimiter` outside double quotes, or of all of it.
/// With `honourBackslash` the byte behind a backslash has no meaning.
inline std::size_t lengthBefore(std::string_view text, char delimiter, bool honourBackslash) {
    bool inQuotes = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && honourBackslash) {
            ++i;
        } else if (text[i] == '"') {
            inQuotes = !inQuotes;
        } else if (text[i] == delimiter && !inQuotes) {
            return i;
        }
    }
    return text.size();
}

/// Without one double quote at the start and one at the end, each if there.
inline std::string_view withoutQuotes(std::string_view text) {
    if (!text.empty() && text.front() == '"') {
        text.remove_prefix(1);
    }
    if (!text.empty() && text.back() == '"') {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace borvik
