#pragma once

#include <string_view>

namespace tessolt {

/// Whether the text can go out as one command: a CR, LF or zero byte in it would let whoever wrote
/// a part of it add commands of his own.
inline bool IsSingleLine(std::string_view text) {
    constexpr std::string_view kBreaks("\r\n\0", 3);
    return text.find_first_of(kBreaks) == std::string_view::npos;
}

}  // namespace tessolt
