#include "platform/digests.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <climits>
#include <cstddef>

namespace platform {

namespace {

const EVP_MD* methodOf(Digest digest) {
    return digest == Digest::kSha1 ? EVP_sha1() : EVP_sha256();
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/// Room for the result of `fill`, which says whether it worked. What OpenSSL noted about a failure
/// doesn't stay in the queue of the caller's thread.
template <typename Fill>
std::string made(Digest digest, Fill fill) {
    std::string result(static_cast<std::size_t>(EVP_MD_get_size(methodOf(digest))), '\0');
    ERR_set_mark();
    const bool worked = fill(reinterpret_cast<unsigned char*>(result.data()));
    ERR_pop_to_mark();
    return worked ? result : std::string();
}

}  // namespace

std::string digestOf(Digest digest, std::string_view bytes) {
    return made(digest, [&](unsigned char* out) {
        return EVP_Digest(bytes.data(), bytes.size(), out, nullptr, methodOf(digest), nullptr) == 1;
    });
}

std::string hmacOf(Digest digest, std::string_view key, std::string_view bytes) {
    return made(digest, [&](unsigned char* out) {
        return key.size() <= INT_MAX &&
               HMAC(methodOf(digest), key.data(), static_cast<int>(key.size()), bytesOf(bytes),
                    bytes.size(), out, nullptr) != nullptr;
    });
}

std::string passwordKey(Digest digest, std::string_view password, std::string_view salt,
                        std::uint32_t rounds) {
    const EVP_MD* method = methodOf(digest);
    return made(digest, [&](unsigned char* out) {
        return password.size() <= INT_MAX && salt.size() <= INT_MAX && rounds <= INT_MAX &&
               PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), bytesOf(salt),
                                 static_cast<int>(salt.size()), static_cast<int>(rounds), method,
                                 EVP_MD_get_size(method), out) == 1;
    });
}

bool equalSecrets(std::string_view a, std::string_view b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace platform
