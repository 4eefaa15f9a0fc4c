#include "support/test_certificates.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace support {
namespace {

constexpr long kSecondsADay = 24 * 60 * 60;

void require(bool done) {
    if (!done) {
        throw std::runtime_error("no test certificate");
    }
}

void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
    X509_EXTENSION_free(extension);
}

template <typename Write>
std::string pemText(Write write) {
    BIO* out = BIO_new(BIO_s_mem());
    require(write(out) == 1);
    char* text = nullptr;
    const long length = BIO_get_mem_data(out, &text);
    std::string result(text, static_cast<std::size_t>(length));
    BIO_free(out);
    return result;
}

}  // namespace

Identity::Identity(const Wish& wish)
    : certificate_(X509_new(), X509_free), key_(EVP_EC_gen("P-256"), EVP_PKEY_free) {
    static long serial = 1;
    X509* const x = certificate_.get();
    X509* const issuer = wish.issuer != nullptr ? wish.issuer->certificate() : x;
    X509_set_version(x, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(x), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(x), wish.daysFrom * kSecondsADay);
    X509_gmtime_adj(X509_getm_notAfter(x), wish.daysTo * kSecondsADay);
    X509_set_pubkey(x, key_.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(wish.commonName.c_str()), -1,
                               -1, 0);
    X509_set_issuer_name(x, X509_get_subject_name(issuer));
    addExtension(x, issuer, NID_basic_constraints,
                 wish.isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
    if (!wish.names.empty()) {
        std::string list;
        for (const std::string& name : wish.names) {
            list += (list.empty() ? "" : ",") + name;
        }
        addExtension(x, issuer, NID_subject_alt_name, list);
    }
    if (!wish.usage.empty()) {
        addExtension(x, issuer, NID_ext_key_usage, wish.usage);
    }
    EVP_PKEY* const signer = wish.issuer != nullptr ? wish.issuer->key() : key_.get();
    require(X509_sign(x, signer, EVP_sha256()) > 0);
}

std::string Identity::certificatePem() const {
    return pemText([this](BIO* out) { return PEM_write_bio_X509(out, certificate()); });
}

std::string Identity::keyPem() const {
    return pemText([this](BIO* out) {
        return PEM_write_bio_PrivateKey(out, key(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

}  // namespace support
