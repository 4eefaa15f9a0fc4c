#include "mail/scramble.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "platform/c_random.h"

namespace tessolt {

namespace {

constexpr std::uint32_t kSeed = 1;
constexpr std::size_t kKeyBytes = 3;
constexpr std::size_t kLeastDigits = 28;

/// As "%02X" writes it.
void AppendHex(std::string& text, unsigned number) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    int digits = 2;
    while (number >> (4 * digits) != 0) {
        ++digits;
    }
    while (--digits >= 0) {
        text += kDigits[(number >> (4 * digits)) & 0xF];
    }
}

/// The byte of two hexadecimal digits, -1 for anything else.
int HexByte(std::string_view digits) {
    int value = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return digits.size() == 2 && digits[0] != '-' && error == std::errc() &&
                   end == digits.data() + digits.size()
               ? value
               : -1;
}

}  // namespace

void Scramble(CZncString& text) {
    if (text.IsEmpty()) {
        return;
    }
    platform::srand(kSeed);
    std::string result;
    std::array<std::uint8_t, kKeyBytes> key{};
    for (std::uint8_t& byte : key) {
        byte = static_cast<std::uint8_t>(platform::rand());
        AppendHex(result, byte);
    }
    const std::string& clear = text.GetString();
    for (std::size_t i = 0; i <= clear.size(); ++i) {  // with the zero byte behind the text
        const auto byte = static_cast<std::uint8_t>(i < clear.size() ? clear[i] : '\0');
        AppendHex(result, static_cast<std::uint8_t>(byte + key[i % kKeyBytes]));
    }
    while (result.size() < kLeastDigits) {
        AppendHex(result, static_cast<unsigned>(platform::rand()));
    }
    text.Assign(std::move(result));
}

std::optional<std::string> Unscramble(std::string_view digits) {
    std::string clear;
    if (digits.empty()) {
        return clear;
    }
    std::array<int, kKeyBytes> key{};
    for (std::size_t i = 0; 2 * i < digits.size(); ++i) {
        const int byte = HexByte(digits.substr(2 * i, 2));
        if (byte < 0) {
            return std::nullopt;
        }
        if (i < kKeyBytes) {
            key[i] = byte;
            continue;
        }
        const auto plain = static_cast<std::uint8_t>(byte - key[i % kKeyBytes]);
        if (plain == 0) {
            return clear;
        }
        clear += static_cast<char>(plain);
    }
    return std::nullopt;  // without the closing zero byte it has been cut
}

}  // namespace tessolt
