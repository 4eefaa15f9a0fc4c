/// Hashes for logins: digests, authentication codes and keys made from passwords.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

/// A hash function (RFC 6234).
enum class Digest { kSha1, kSha256 };

/// The digest of `bytes`, as bytes; empty when the library fails.
std::string digestOf(Digest digest, std::string_view bytes);
/// The authentication code of `bytes` under `key` (RFC 2104); empty when the library fails.
std::string hmacOf(Digest digest, std::string_view key, std::string_view bytes);
/// A key as long as the digest, from a password by `rounds` rounds of PBKDF2 (RFC 8018) with the
/// authentication code above; empty when the library fails.
std::string passwordKey(Digest digest, std::string_view password, std::string_view salt,
                        std::uint32_t rounds);
/// Whether two secrets are the same, in a time that tells nothing about where they differ.
bool equalSecrets(std::string_view a, std::string_view b);

}  // namespace platform
