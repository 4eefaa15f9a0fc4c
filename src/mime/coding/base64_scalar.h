#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace borvik::base64_detail {

inline constexpr char kAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Classes of characters beside the sextets 0 to 63 and `kForeign`.
inline constexpr std::uint8_t kForeign = 127;  // between "+" and "z", but not of the alphabet
inline constexpr std::uint8_t kSkipped = 254;
inline constexpr std::uint8_t kEnd = 255;

constexpr std::array<std::uint8_t, 256> makeSextets() {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t c = 0; c < table.size(); ++c) {
        table[c] = c >= '+' && c <= 'z' ? kForeign : kSkipped;
    }
    for (std::uint8_t i = 0; i < 64; ++i) {
        table[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
    table['='] = kEnd;
    table[0] = kEnd;
    return table;
}

/// Value or class of every byte.
inline constexpr std::array<std::uint8_t, 256> kSextets = makeSextets();

/// Takes characters one at a time and writes the bytes of each complete group of four.
class GroupDecoder {
public:
    explicit GroupDecoder(char* out) : out_(out) {}

    /// False when `c` ends the text.
    bool take(char c) {
        const std::uint8_t value = kSextets[static_cast<unsigned char>(c)];
        if (value >= kSkipped) {
            return value != kEnd;
        }
        group_[filled_++] = value;
        if (filled_ == group_.size()) {
            filled_ = 0;
            *out_++ = static_cast<char>(group_[0] << 2 | group_[1] >> 4);
            *out_++ = static_cast<char>(group_[1] << 4 | group_[2] >> 2);
            *out_++ = static_cast<char>(group_[2] << 6 | group_[3]);
        }
        return true;
    }

    /// True between groups; then the caller may write whole groups at `out` itself.
    bool betweenGroups() const { return filled_ == 0; }
    char* out() const { return out_; }
    void advance(std::size_t bytes) { out_ += bytes; }

    /// Writes the whole bytes of an incomplete group; returns the place behind everything.
    char* finish() {
        if (filled_ >= 2) {
            *out_++ = static_cast<char>(group_[0] << 2 | group_[1] >> 4);
        }
        if (filled_ == 3) {
            *out_++ = static_cast<char>(group_[1] << 4 | group_[2] >> 2);
        }
        filled_ = 0;
        return out_;
    }

private:
    char* out_;
    std::array<unsigned, 4> group_{};
    std::size_t filled_ = 0;
};

}  // namespace borvik::base64_detail
