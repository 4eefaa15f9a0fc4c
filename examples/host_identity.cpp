#include "host_identity.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace loopback {
namespace {

constexpr long kVersion3 = 2;  // as X.509 counts
constexpr long kLifetimeSeconds = 24 * 60 * 60;
constexpr const char* kName = "localhost";

/// Names, and that it isn't an authority for others.
void addExtensions(X509* certificate) {
    const std::pair<int, const char*> extensions[] = {
        {NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1"},
        {NID_basic_constraints, "critical,CA:FALSE"},
    };
    for (const auto& [kind, text] : extensions) {
        X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, text);
        X509_add_ext(certificate, extension, -1);
        X509_EXTENSION_free(extension);
    }
}

}  // namespace

HostIdentity::HostIdentity() : context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), kVersion3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kLifetimeSeconds);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kLifetimeSeconds);
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(kName), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_set_pubkey(certificate.get(), key.get());
    addExtensions(certificate.get());
    if (!context_ || X509_sign(certificate.get(), key.get(), EVP_sha256()) == 0 ||
        SSL_CTX_use_certificate(context_.get(), certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context_.get(), key.get()) != 1) {
        throw std::runtime_error("no certificate for the mail host");
    }
}

std::string HostIdentity::certificatePem() const {
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_X509(text.get(), SSL_CTX_get0_certificate(context_.get()));
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(text.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace loopback
