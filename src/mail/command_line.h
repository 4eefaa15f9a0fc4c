#pragma once

#include <string_view>

namespace tessolt {

/// Whether the text can go out as one command: a CR, LF or zero byte in it would let whoever wrote
/// a part of it add commands of his own.
inline bool IsSingleLine(std::string_view text) {
    constexpr std::string_view kBreaks("\r\n\0", 3);
    return text.find_first_of(kBreaks) == std::string_view::npos;
}

/// Whether the text can stand between the "<" and ">" of an envelope: nothing in it ends the
/// address or begins a parameter (RFC 5321, 4.1.1). An empty one is the sender of a bounce.
inline bool IsEnvelopeAddress(std::string_view address) {
    for (const char c : address) {
        const auto code = static_cast<unsigned char>(c);
        if (code <= ' ' || c == '<' || c == '>' || c == '\x7F') {
            return false;
        }
    }
    return true;
}

}  // namespace tessolt
