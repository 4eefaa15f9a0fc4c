#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace loopback {

/// A key and a certificate for "localhost" and 127.0.0.1, made anew for each host and signed by
/// itself, and what TLS sessions with them start from.
class HostIdentity {
public:
    /// Throws std::runtime_error when TLS has no key to give.
    HostIdentity();

    /// For those who are to trust the host: its certificate as text.
    std::string certificatePem() const;

    /// A new session, which the caller frees, for the server's end of a connection.
    SSL* newSession() const { return SSL_new(context_.get()); }

private:
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
};

}  // namespace loopback
