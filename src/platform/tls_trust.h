/// The certificates that a client trusts. Only for the sources of `TlsClient`.
#pragma once

#include <openssl/x509.h>

#include <memory>
#include <string>

namespace platform {

using TrustStore = std::shared_ptr<X509_STORE>;

/// The certificates of a PEM file, each of them trusted by itself, or those of the system for an
/// empty path. Read once and shared by all channels until the files change; null when they can't be
/// read. Any thread may call it.
TrustStore trustStoreFor(const std::string& trustFile);

}  // namespace platform
