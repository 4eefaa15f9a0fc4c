#include "support/tls_peer.h"

#include <openssl/err.h>

#include <algorithm>

namespace support {

TlsPeer::TlsPeer(ScriptedConnection& connection, const TlsServerSetup& setup)
    : connection_(connection),
      context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free),
      recordBytes_(setup.recordBytes),
      flights_(setup.flights) {
    SSL_CTX* const context = context_.get();
    SSL_CTX_use_certificate(context, setup.identity.certificate());
    SSL_CTX_use_PrivateKey(context, setup.identity.key());
    for (const Identity& link : setup.chain) {
        SSL_CTX_add1_chain_cert(context, link.certificate());
    }
    SSL_CTX_set1_groups_list(context, "X25519:P-256");  // newer ones have no size to log
    SSL_CTX_set_min_proto_version(context, setup.version);
    SSL_CTX_set_max_proto_version(context, setup.version);
    if (!setup.ciphers12.empty()) {
        SSL_CTX_set_cipher_list(context, setup.ciphers12.c_str());
    }
    if (!setup.ciphers13.empty()) {
        SSL_CTX_set_ciphersuites(context, setup.ciphers13.c_str());
    }
    for (const Identity& authority : setup.clientAuthority) {
        SSL_CTX_add_client_CA(context, authority.certificate());
        X509_STORE_add_cert(SSL_CTX_get_cert_store(context), authority.certificate());
        SSL_CTX_set_verify(
            context, SSL_VERIFY_PEER | (setup.clientMust ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT : 0),
            nullptr);
    }
    ssl_.reset(SSL_new(context), SSL_free);
    in_ = BIO_new(BIO_s_mem());
    out_ = BIO_new(BIO_s_mem());
    SSL_set_bio(ssl_.get(), in_, out_);
    SSL_set_accept_state(ssl_.get());
}

/// False once the connection has ended.
bool TlsPeer::flush() {
    char* bytes = nullptr;
    const long size = held_ ? 0 : BIO_get_mem_data(out_, &bytes);
    const bool open = connection_.send({bytes, static_cast<std::size_t>(size)});
    if (size > 0) {
        (void)BIO_reset(out_);
    }
    return open;
}

/// Repeats an operation of the library for as long as it wants bytes, which it gets `reads` times.
/// True when it was done; what it has to send is not flushed then.
template <typename Operation>
bool TlsPeer::pump(Operation operation, int reads) {
    for (; reads >= 0; --reads) {
        ERR_clear_error();
        const int result = operation();
        if (result == 1) {
            return true;
        }
        flush();
        if (reads == 0 || SSL_get_error(ssl_.get(), result) != SSL_ERROR_WANT_READ) {
            return false;
        }
        const std::string bytes = connection_.readSome();
        if (bytes.empty()) {
            return false;
        }
        BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    }
    return false;
}

bool TlsPeer::accept(std::string_view joined) {
    return pump([this] { return SSL_do_handshake(ssl_.get()); }, flights_) && send(joined);
}

bool TlsPeer::send(std::string_view text) {
    constexpr int kMuch = 1 << 20;
    while (!text.empty()) {
        std::size_t written = 0;
        ERR_clear_error();
        if (SSL_write_ex(ssl_.get(), text.data(), std::min(recordBytes_, text.size()), &written) !=
                1 ||
            (BIO_pending(out_) > kMuch && !flush())) {
            return false;
        }
        text.remove_prefix(written);
    }
    return flush();
}

bool TlsPeer::readMore() {
    char buffer[16384];
    std::size_t got = 0;
    const bool done = pump([&] { return SSL_read_ex(ssl_.get(), buffer, sizeof buffer, &got); });
    received_.append(buffer, got);
    flush();
    return done;
}

void TlsPeer::hold(bool held) {
    held_ = held;
    flush();
}

void TlsPeer::closeNotify() {
    SSL_shutdown(ssl_.get());
    flush();
}

void TlsPeer::alert() {
    // A record that no key of the channel fits makes the library complain to the client.
    const std::string forged("\x17\x03\x03\x00\x20 no key of this channel fits it !", 5 + 32);
    BIO_write(in_, forged.data(), static_cast<int>(forged.size()));
    char byte = 0;
    SSL_read(ssl_.get(), &byte, 1);
    flush();
}

void TlsPeer::rekey() {
    if (SSL_version(ssl_.get()) == TLS1_3_VERSION) {
        SSL_key_update(ssl_.get(), SSL_KEY_UPDATE_REQUESTED);
    } else {
        SSL_renegotiate(ssl_.get());
    }
    SSL_do_handshake(ssl_.get());
    flush();
}

std::string TlsPeer::serverName() const {
    const char* name = SSL_get_servername(ssl_.get(), TLSEXT_NAMETYPE_host_name);
    return name != nullptr ? name : "";
}

std::string TlsPeer::clientName() const {
    char name[64] = "";
    if (const X509* certificate = SSL_get0_peer_certificate(ssl_.get())) {
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name,
                                  sizeof name);
    }
    return name;
}

}  // namespace support
