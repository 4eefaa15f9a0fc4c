#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace borvik {

/// A set of bytes, made at compile time, that a text is searched for in one look-up a byte.
class ByteSet {
public:
    constexpr explicit ByteSet(std::string_view bytes) {
        for (const char c : bytes) {
            member_[static_cast<unsigned char>(c)] = true;
        }
    }

    constexpr bool contains(char c) const { return member_[static_cast<unsigned char>(c)]; }

    /// Position of the first byte of the set, `npos` when there is none.
    constexpr std::size_t findIn(std::string_view text) const {
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (contains(text[i])) {
                return i;
            }
        }
        return std::string_view::npos;
    }

private:
    std::array<bool, 256> member_{};
};

}  // namespace borvik
