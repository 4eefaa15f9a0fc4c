/// MD5 (RFC 1321) and HMAC-MD5 (RFC 2104), for the logins that are defined by them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tessolt {

inline constexpr std::size_t kMd5DigestBytes = 16;
inline constexpr std::size_t kMd5BlockBytes = 64;

/// A digest under way.
struct Md5Context {
    std::uint32_t state[4];
    std::uint32_t count[2];  ///< bits so far, low word first
    std::uint8_t buffer[kMd5BlockBytes];
    std::uint8_t digest[kMd5DigestBytes];  ///< valid after `MD5Final`
};

void MD5Init(Md5Context* context);
void MD5Update(Md5Context* context, const void* data, std::size_t length);
/// Leaves the digest in the context and clears everything else in it.
void MD5Final(Md5Context* context);

/// The 16 bytes as 32 lower-case hexadecimal digits.
std::string HexDigest(const std::uint8_t* digest);

/// The authentication code of `message` under `key`; a key of more than 64 bytes is hashed first.
void HmacMd5(std::string_view key, std::string_view message,
             std::uint8_t (&digestOut)[kMd5DigestBytes]);

}  // namespace tessolt
