#pragma once

#include <cstdint>

namespace borvik {

/// Reads UTF-8 (RFC 3629) one UTF-16 unit at a time.
class EncodingUtf8 {
public:
    EncodingUtf8() = default;
    virtual ~EncodingUtf8() = default;
    EncodingUtf8(const EncodingUtf8&) = default;
    EncodingUtf8& operator=(const EncodingUtf8&) = default;

    static constexpr std::int32_t kInvalid = -1;
    static constexpr std::int32_t kTruncated = -2;

    /// Reads the sequence of 1 to 3 bytes at `input`, of which `remaining` (at least 1) bytes are
    /// there. Returns the bytes read, `kInvalid` or `kTruncated`; `unit` is set only for the first.
    /// Surrogates are read like other units, and a 4-byte sequence is invalid: it has no one unit.
    static std::int32_t readSequence(const std::uint8_t* input, std::uint32_t remaining,
                                     char16_t& unit) {
        const unsigned first = input[0];
        if (first < 0x80) {
            unit = static_cast<char16_t>(first);
            return 1;
        }
        if (first < 0xC2 || first > 0xEF) {
            return kInvalid;
        }
        const bool three = first >= 0xE0;
        if (remaining < (three ? 3U : 2U)) {
            return kTruncated;
        }
        const unsigned second = input[1];
        if ((second & 0xC0) != 0x80 || (first == 0xE0 && second < 0xA0)) {
            return kInvalid;
        }
        if (!three) {
            unit = static_cast<char16_t>((first & 0x1F) << 6 | (second & 0x3F));
            return 2;
        }
        const unsigned third = input[2];
        if ((third & 0xC0) != 0x80) {
            return kInvalid;
        }
        unit = static_cast<char16_t>((first & 0x0F) << 12 | (second & 0x3F) << 6 | (third & 0x3F));
        return 3;
    }
};

}  // namespace borvik
