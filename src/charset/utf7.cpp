#include "charset/utf7.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "charset/output_room.h"

namespace borvik {
namespace {

using kernels::Cursor;

constexpr char16_t kByteOrderMark = 0xFEFF;
constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;
/// Three units are 48 bits, which are eight digits.
constexpr std::size_t kGroupUnits = 3;
constexpr std::size_t kGroupDigits = 8;

/// Units under 0x80 that stand for themselves outside a coded run.
constexpr std::array<bool, 128> makeDirect() {
    std::array<bool, 128> direct{};
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                         "0123456789'(),-./:? \t\r\n")) {
        direct[static_cast<unsigned char>(c)] = true;
    }
    return direct;
}

/// Two digits for each 12 bits, in stream order from the low byte up.
constexpr std::array<std::uint16_t, 4096> makeDigitPairs() {
    std::array<std::uint16_t, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto high = static_cast<unsigned char>(kDigits[i >> 6]);
        const auto low = static_cast<unsigned char>(kDigits[i & 0x3F]);
        pairs[i] = static_cast<std::uint16_t>(high | low << 8);
    }
    return pairs;
}

constexpr std::array<std::uint8_t, 256> makeSextets() {
    std::array<std::uint8_t, 256> sextets{};
    sextets.fill(kNoDigit);
    for (std::size_t i = 0; i < kDigits.size(); ++i) {
        sextets[static_cast<unsigned char>(kDigits[i])] = static_cast<std::uint8_t>(i);
    }
    return sextets;
}

constexpr std::array<bool, 128> kDirect = makeDirect();
constexpr std::array<std::uint16_t, 4096> kDigitPairs = makeDigitPairs();
constexpr std::array<std::uint8_t, 256> kSextets = makeSextets();

constexpr bool isDirect(char16_t unit) {
    return unit < kDirect.size() && kDirect[unit];
}

struct Encoder {
    bool operator()(Cursor& c) {
        while (c.goesOn()) {
            if (shifted_) {
                stepCoded(c);
            } else {
                stepDirect(c);
            }
        }
        return true;
    }

    bool isShifted() const { return shifted_; }

    /// Ends a coded run: the bits that are left, filled up with zeros, and "-". At most 2 bytes.
    std::uint8_t* endRun(std::uint8_t* out) {
        if (count_ > 0) {
            *out++ = static_cast<std::uint8_t>(kDigits[bits_ << (6 - count_) & 0x3F]);
        }
        *out++ = '-';
        bits_ = 0;
        count_ = 0;
        shifted_ = false;
        return out;
    }

private:
    void stepDirect(Cursor& c) {
        const std::uint8_t* in = c.in;
        std::uint8_t* out = c.out;
        for (int i = 0; i < kernels::kCharactersPerStep && in < c.inEnd; ++i) {
            const char16_t unit = loadUnit(in);
            if (!isDirect(unit)) {
                *out++ = '+';
                if (unit == u'+') {
                    *out++ = '-';
                    in += 2;
                } else {
                    shifted_ = true;
                }
                break;
            }
            *out++ = static_cast<std::uint8_t>(unit);
            in += 2;
        }
        c.in = in;
        c.out = out;
    }

    void stepCoded(Cursor& c) {
        if (count_ == 0 && c.left() >= 2 * kGroupUnits && stepGroup(c)) {
            return;
        }
        const char16_t unit = loadUnit(c.in);
        if (isDirect(unit)) {
            c.out = endRun(c.out);
            return;
        }
        c.in += 2;
        bits_ = bits_ << 16 | unit;
        for (count_ += 16; count_ >= 6; count_ -= 6) {
            *c.out++ = static_cast<std::uint8_t>(kDigits[bits_ >> (count_ - 6) & 0x3F]);
        }
        bits_ &= (1U << count_) - 1;
    }

    static bool stepGroup(Cursor& c) {
        const char16_t first = loadUnit(c.in);
        const char16_t second = loadUnit(c.in + 2);
        const char16_t third = loadUnit(c.in + 4);
        if (isDirect(first) || isDirect(second) || isDirect(third)) {
            return false;
        }
        const std::array<std::uint16_t, 4> digits = {
            kDigitPairs[first >> 4], kDigitPairs[(first & 0xFU) << 8 | second >> 8],
            kDigitPairs[(second & 0xFFU) << 4 | third >> 12], kDigitPairs[third & 0xFFFU]};
        std::memcpy(c.out, digits.data(), sizeof digits);
        c.in += 2 * kGroupUnits;
        c.out += kGroupDigits;
        return true;
    }

    bool shifted_ = false;
    std::uint32_t bits_ = 0;
    unsigned count_ = 0;
};

class Decoder {
public:
    bool operator()(Cursor& c) {
        while (c.goesOn()) {
            if (base64_) {
                stepCoded(c);
            } else {
                stepDirect(c);
            }
        }
        return true;
    }

    /// To be asked behind the last byte.
    bool wellFormed() {
        if (base64_) {
            endRun();
            wellFormed_ = wellFormed_ && wroteOne_;
        }
        return wellFormed_;
    }

private:
    void stepDirect(Cursor& c) {
        if (*c.in == '+') {
            ++c.in;
            base64_ = true;
            wroteOne_ = false;
            first_ = true;
            return;
        }
        std::size_t length =
            std::min<std::size_t>(c.left(), static_cast<std::size_t>(c.outLimit - c.out) / 2 + 1);
        if (const void* plus = std::memchr(c.in, '+', length)) {
            length = static_cast<std::size_t>(static_cast<const std::uint8_t*>(plus) - c.in);
        }
        const std::uint8_t* end = c.in + length;
        while (c.in < end) {
            if (end - c.in >= static_cast<std::ptrdiff_t>(NativeBlocks::kBlock) &&
                NativeBlocks::widenAscii(c.in, c.out)) {
                c.in += NativeBlocks::kBlock;
                c.out += 2 * NativeBlocks::kBlock;
                continue;
            }
            const std::uint8_t* stepEnd =
                c.in + std::min<std::ptrdiff_t>(end - c.in, NativeBlocks::kBlock);
            for (; c.in < stepEnd; ++c.in) {
                putDirect(*c.in, c);
            }
        }
    }

    void putDirect(std::uint8_t byte, Cursor& c) {
        if (byte >= 0x80) {
            wellFormed_ = false;
            c.out = putUnit(static_cast<char16_t>(0xFF00 | byte), c.out);
        } else if (byte != 0) {
            c.out = putUnit(byte, c.out);
        }
    }

    void stepCoded(Cursor& c) {
        if (count_ == 0 && c.left() >= kGroupDigits && stepGroup(c)) {
            return;
        }
        const std::uint8_t byte = *c.in;
        const std::uint8_t sextet = kSextets[byte];
        // "+" is a digit, so that of the two only "-" ends a run.
        if (sextet == kNoDigit) {
            endRun();
            if (byte == '-') {
                ++c.in;
                if (first_) {
                    c.out = putUnit(u'+', c.out);
                    return;
                }
            }
            wellFormed_ = wellFormed_ && wroteOne_;
            return;
        }
        ++c.in;
        first_ = false;
        bits_ = bits_ << 6 | sextet;
        count_ += 6;
        if (count_ >= 16) {
            count_ -= 16;
            c.out = putUnit(static_cast<char16_t>(bits_ >> count_), c.out);
            bits_ &= (1U << count_) - 1;
            wroteOne_ = true;
        }
    }

    bool stepGroup(Cursor& c) {
        std::uint64_t bits = 0;
        unsigned outside = 0;
        for (std::size_t i = 0; i < kGroupDigits; ++i) {
            const unsigned sextet = kSextets[c.in[i]];
            outside |= sextet;
            bits = bits << 6 | sextet;
        }
        if ((outside & 0x80) != 0) {
            return false;
        }
        c.out = putUnit(static_cast<char16_t>(bits >> 32), c.out);
        c.out = putUnit(static_cast<char16_t>(bits >> 16), c.out);
        c.out = putUnit(static_cast<char16_t>(bits), c.out);
        c.in += kGroupDigits;
        first_ = false;
        wroteOne_ = true;
        return true;
    }

    /// Leaves the coded run; bits that are left over are no more than filling.
    void endRun() {
        base64_ = false;
        wellFormed_ = wellFormed_ && bits_ == 0;
        bits_ = 0;
        count_ = 0;
    }

    bool base64_ = false;
    bool first_ = false;
    bool wroteOne_ = false;
    bool wellFormed_ = true;
    std::uint32_t bits_ = 0;
    unsigned count_ = 0;
};

}  // namespace

bool utf16ToUtf7(std::string_view utf16, DataBuffer& out) {
    utf16 = utf16.substr(0, utf16.size() & ~std::size_t{1});
    if (utf16.size() >= 2 &&
        loadUnit(reinterpret_cast<const std::uint8_t*>(utf16.data())) == kByteOrderMark) {
        utf16.remove_prefix(2);
    }
    Encoder encoder;
    const bool stored = appendConverted(utf16.data(), utf16.size(), out, utf16.size(),
                                        [&encoder](Cursor& c) { return encoder(c); });
    if (!encoder.isShifted()) {
        return stored;
    }
    std::array<std::uint8_t, 2> tail;
    const std::uint8_t* end = encoder.endRun(tail.data());
    return out.append(tail.data(), static_cast<std::size_t>(end - tail.data())) && stored;
}

bool utf7ToUtf16(std::string_view utf7, DataBuffer& out) {
    Decoder decoder;
    const bool stored = appendConverted(utf7.data(), utf7.size(), out, 2 * utf7.size(),
                                        [&decoder](Cursor& c) { return decoder(c); });
    return decoder.wellFormed() && stored;
}

}  // namespace borvik
