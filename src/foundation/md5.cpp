#include "foundation/md5.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace tessolt {
namespace {

constexpr std::size_t kLengthBytes = 8;
constexpr std::uint8_t kInnerPad = 0x36;
constexpr std::uint8_t kOuterPad = 0x5C;

/// The 64 additive constants: the integer part of 2^32 times the absolute sine of 1 to 64.
constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

std::uint32_t readWord(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

void writeWord(std::uint32_t word, std::uint8_t* bytes) {
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
}

void transform(std::uint32_t (&state)[4], const std::uint8_t* block) {
    std::uint32_t words[16];
    for (int i = 0; i < 16; ++i) {
        words[i] = readWord(block + 4 * i);
    }
    std::uint32_t a = state[0];
    std::uint32_t b = state[1];
    std::uint32_t c = state[2];
    std::uint32_t d = state[3];
    for (int i = 0; i < 64; ++i) {
        std::uint32_t mixed = 0;
        int word = i;
        switch (i / 16) {
            case 0:
                mixed = (b & c) | (~b & d);
                break;
            case 1:
                mixed = (b & d) | (c & ~d);
                word = 5 * i + 1;
                break;
            case 2:
                mixed = b ^ c ^ d;
                word = 3 * i + 5;
                break;
            default:
                mixed = c ^ (b | ~d);
                word = 7 * i;
                break;
        }
        const std::uint32_t sum = a + mixed + words[word % 16] + kSines[i];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, kShifts[i / 16][i % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

}  // namespace

void MD5Init(Md5Context* context) {
    *context = Md5Context{{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, {}, {}, {}};
}

void MD5Update(Md5Context* context, const void* data, std::size_t length) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::size_t filled = context->count[0] / 8 % kMd5BlockBytes;
    const std::uint64_t bits =
        (std::uint64_t{context->count[1]} << 32 | context->count[0]) + std::uint64_t{length} * 8;
    context->count[0] = static_cast<std::uint32_t>(bits);
    context->count[1] = static_cast<std::uint32_t>(bits >> 32);
    while (length > 0) {
        const std::size_t taken = std::min(length, kMd5BlockBytes - filled);
        std::memcpy(context->buffer + filled, bytes, taken);
        bytes += taken;
        length -= taken;
        filled += taken;
        if (filled == kMd5BlockBytes) {
            transform(context->state, context->buffer);
            filled = 0;
        }
    }
}

void MD5Final(Md5Context* context) {
    static constexpr std::uint8_t kPad[kMd5BlockBytes] = {0x80};
    std::uint8_t length[kLengthBytes];
    writeWord(context->count[0], length);
    writeWord(context->count[1], length + 4);
    const std::size_t filled = context->count[0] / 8 % kMd5BlockBytes;
    const std::size_t room = kMd5BlockBytes - kLengthBytes;
    MD5Update(context, kPad, filled < room ? room - filled : room + kMd5BlockBytes - filled);
    MD5Update(context, length, sizeof length);
    Md5Context finished{};
    for (int i = 0; i < 4; ++i) {
        writeWord(context->state[i], finished.digest + 4 * i);
    }
    *context = finished;
}

std::string HexDigest(const std::uint8_t* digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string result;
    for (std::size_t i = 0; i < kMd5DigestBytes; ++i) {
        result.push_back(kDigits[digest[i] >> 4]);
        result.push_back(kDigits[digest[i] & 0xF]);
    }
    return result;
}

void HmacMd5(std::string_view key, std::string_view message,
             std::uint8_t (&digestOut)[kMd5DigestBytes]) {
    Md5Context context;
    std::array<std::uint8_t, kMd5BlockBytes> pad{};
    if (key.size() > pad.size()) {
        MD5Init(&context);
        MD5Update(&context, key.data(), key.size());
        MD5Final(&context);
        std::copy_n(context.digest, kMd5DigestBytes, pad.begin());
    } else {
        std::copy(key.begin(), key.end(), pad.begin());
    }
    for (std::uint8_t& byte : pad) {
        byte ^= kInnerPad;
    }
    MD5Init(&context);
    MD5Update(&context, pad.data(), pad.size());
    MD5Update(&context, message.data(), message.size());
    MD5Final(&context);
    std::copy_n(context.digest, kMd5DigestBytes, digestOut);
    for (std::uint8_t& byte : pad) {
        byte ^= kInnerPad ^ kOuterPad;
    }
    MD5Init(&context);
    MD5Update(&context, pad.data(), pad.size());
    MD5Update(&context, digestOut, kMd5DigestBytes);
    MD5Final(&context);
    std::copy_n(context.digest, kMd5DigestBytes, digestOut);
}

}  // namespace tessolt
