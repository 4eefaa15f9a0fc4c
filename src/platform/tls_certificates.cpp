#include "platform/tls_certificates.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "platform/file_system.h"
#include "platform/tls_client.h"

namespace platform {

namespace {

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};
using BioPtr = std::unique_ptr<BIO, Freed<BIO_free>>;
using X509Ptr = std::unique_ptr<X509, Freed<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using NamesPtr = std::unique_ptr<GENERAL_NAMES, Freed<GENERAL_NAMES_free>>;

/// A list of names in a log line is cut here; a certificate may hold thousands.
constexpr std::size_t kMaxListedNames = 512;

void freeChain(STACK_OF(X509) * chain) {
    sk_X509_pop_free(chain, X509_free);
}
using ChainPtr = std::unique_ptr<STACK_OF(X509), Freed<freeChain>>;

/// What a PEM file holds: the certificate, those behind it, and the key.
struct PemIdentity {
    X509Ptr certificate;
    ChainPtr chain;
    KeyPtr key;
};

/// An encrypted key is as good as none: nobody is there to ask for its password.
int refusePassword(char*, int, int, void*) {
    return -1;
}

BioPtr openText(const std::string& text) {
    return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

bool loadIdentity(const std::string& path, PemIdentity& identity) {
    std::string text;
    if (readWholeFile(path, text) != 0) {
        return false;
    }
    identity.chain.reset(sk_X509_new_null());
    const BioPtr certificates = openText(text);
    const BioPtr keys = openText(text);
    if (certificates && keys && identity.chain) {
        identity.certificate.reset(
            PEM_read_bio_X509(certificates.get(), nullptr, refusePassword, nullptr));
        while (identity.certificate) {
            X509Ptr next(PEM_read_bio_X509(certificates.get(), nullptr, refusePassword, nullptr));
            if (!next || sk_X509_push(identity.chain.get(), next.get()) == 0) {
                break;
            }
            (void)next.release();
        }
        identity.key.reset(PEM_read_bio_PrivateKey(keys.get(), nullptr, refusePassword, nullptr));
    }
    clearSecret(text);
    ERR_clear_error();
    return identity.certificate && identity.key;
}

bool isAcceptedIssuer(const X509* certificate, const STACK_OF(X509_NAME) * accepted) {
    const X509_NAME* issuer = X509_get_issuer_name(certificate);
    for (int i = 0; i < sk_X509_NAME_num(accepted); ++i) {
        if (X509_NAME_cmp(issuer, sk_X509_NAME_value(accepted, i)) == 0) {
            return true;
        }
    }
    return false;
}

/// A server that names no issuers takes any (RFC 5246, 7.4.4).
bool leadsToAcceptedIssuer(const PemIdentity& identity, const STACK_OF(X509_NAME) * accepted) {
    if (accepted == nullptr || sk_X509_NAME_num(accepted) == 0) {
        return true;
    }
    if (isAcceptedIssuer(identity.certificate.get(), accepted)) {
        return true;
    }
    for (int i = 0; i < sk_X509_num(identity.chain.get()); ++i) {
        if (isAcceptedIssuer(sk_X509_value(identity.chain.get(), i), accepted)) {
            return true;
        }
    }
    return false;
}

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
    return text;
}

std::string asn1Text(const ASN1_STRING* text) {
    return printable({reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
                      static_cast<std::size_t>(ASN1_STRING_length(text))});
}

std::string addressText(const ASN1_OCTET_STRING* address) {
    char text[INET6_ADDRSTRLEN] = "";
    const int family = ASN1_STRING_length(address) == 4 ? AF_INET : AF_INET6;
    if (family == AF_INET || ASN1_STRING_length(address) == 16) {
        inet_ntop(family, ASN1_STRING_get0_data(address), text, sizeof text);
    }
    return text;
}

void addName(std::string& list, const std::string& name) {
    if (list.size() >= kMaxListedNames) {
        return;
    }
    list += list.empty() ? "" : ", ";
    list += name.substr(0, kMaxListedNames);
}

std::string distinguishedName(const X509_NAME* name) {
    const BioPtr out(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (!out || X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_RFC2253) < 0) {
        return {};
    }
    const long length = BIO_get_mem_data(out.get(), &text);
    return printable(
        std::string(text, static_cast<std::size_t>(length)).substr(0, kMaxListedNames));
}

std::string timeText(const ASN1_TIME* time) {
    const BioPtr out(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (!out || ASN1_TIME_print(out.get(), time) != 1) {
        return {};
    }
    const long length = BIO_get_mem_data(out.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace

bool listPemFiles(const std::string& folder, std::vector<std::string>& paths) {
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (entry->is_regular_file(ignored)) {
            paths.push_back(entry->path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return !error;
}

bool useClientCertificate(SSL* ssl, const std::vector<std::string>& paths) {
    const STACK_OF(X509_NAME)* accepted = SSL_get0_peer_CA_list(ssl);
    for (const std::string& path : paths) {
        PemIdentity identity;
        if (!loadIdentity(path, identity) || !leadsToAcceptedIssuer(identity, accepted) ||
            X509_check_purpose(identity.certificate.get(), X509_PURPOSE_SSL_CLIENT, 0) != 1 ||
            X509_check_private_key(identity.certificate.get(), identity.key.get()) != 1) {
            continue;
        }
        if (SSL_use_cert_and_key(ssl, identity.certificate.get(), identity.key.get(),
                                 identity.chain.get(), 1) == 1) {
            return true;
        }
        SSL_certs_clear(ssl);
    }
    ERR_clear_error();
    return false;
}

bool isAddressLiteral(const std::string& text) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, text.c_str(), address) == 1 ||
           inet_pton(AF_INET6, text.c_str(), address) == 1;
}

bool requireServerName(SSL* ssl, const std::string& name) {
    X509_VERIFY_PARAM* checks = SSL_get0_param(ssl);
    // The library would take a name that begins with a dot for all names below it.
    if (name.empty() || name.front() == '.') {
        return false;
    }
    if (isAddressLiteral(name)) {
        return X509_VERIFY_PARAM_set1_ip_asc(checks, name.c_str()) == 1;
    }
    X509_VERIFY_PARAM_set_hostflags(checks, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return X509_VERIFY_PARAM_set1_host(checks, name.data(), name.size()) == 1;
}

int verifyServerChain(X509_STORE_CTX* verification, void*) {
    X509_VERIFY_PARAM* checks = X509_STORE_CTX_get0_param(verification);
    const X509* certificate = X509_STORE_CTX_get0_cert(verification);
    if (certificate && X509_get_ext_by_NID(certificate, NID_subject_alt_name, -1) >= 0) {
        X509_VERIFY_PARAM_set_hostflags(
            checks, X509_VERIFY_PARAM_get_hostflags(checks) | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    }
    return X509_verify_cert(verification);
}

std::string namesOf(X509* certificate) {
    std::string list;
    const NamesPtr names(static_cast<GENERAL_NAMES*>(
        X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type == GEN_DNS) {
            addName(list, asn1Text(name->d.dNSName));
        } else if (name->type == GEN_IPADD) {
            addName(list, addressText(name->d.iPAddress));
        }
    }
    if (list.empty()) {
        X509_NAME* subject = X509_get_subject_name(certificate);
        const int at = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
        if (at >= 0) {
            addName(list, asn1Text(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, at))));
        }
    }
    return list;
}

std::string issuerOf(X509* certificate) {
    return distinguishedName(X509_get_issuer_name(certificate));
}

std::string lastDayOf(X509* certificate) {
    return timeText(X509_get0_notAfter(certificate));
}

std::string describeRefusal(long error, X509* certificate, const std::string& checkedName) {
    if (certificate == nullptr) {
        return X509_verify_cert_error_string(error);
    }
    switch (error) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return "expired on " + timeText(X509_get0_notAfter(certificate));
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return "not yet valid, begins on " + timeText(X509_get0_notBefore(certificate));
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return "name differs, wanted [" + printable(checkedName) + "], certificate is for [" +
                   namesOf(certificate) + "]";
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
            return "self-signed";
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            return "unknown issuer [" + distinguishedName(X509_get_issuer_name(certificate)) + "]";
        default:
            return X509_verify_cert_error_string(error);
    }
}

}  // namespace platform
