#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace support {

/// A certificate with its key, made for a test run.
class Identity {
public:
    struct Wish {
        std::string commonName;
        std::vector<std::string> names =
            {};  ///< As OpenSSL writes them: "DNS:a.test", "IP:127.0.0.1".
        const Identity* issuer = nullptr;  ///< Null: signed by itself.
        bool isAuthority = false;
        std::string usage = {};  ///< Extended key usage, "clientAuth" for example.
        int daysFrom = -1;       ///< Validity in days from now.
        int daysTo = 30;
    };
    explicit Identity(const Wish& wish);

    X509* certificate() const { return certificate_.get(); }
    EVP_PKEY* key() const { return key_.get(); }
    std::string certificatePem() const;
    std::string keyPem() const;

private:
    std::shared_ptr<X509> certificate_;
    std::shared_ptr<EVP_PKEY> key_;
};

}  // namespace support
