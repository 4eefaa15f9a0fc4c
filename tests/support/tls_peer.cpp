#include "support/tls_peer.h"

#include <openssl/err.h>

#include <algorithm>
#include <utility>

namespace support {

TlsPeer::TlsPeer(ScriptedConnection& connection, const TlsServerSetup& setup)
    : connection_(connection), context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
    SSL_CTX* const context = context_.get();
    SSL_CTX_use_certificate(context, setup.identity.certificate());
    SSL_CTX_use_PrivateKey(context, setup.identity.key());
    for (const Identity& link : setup.chain) {
        SSL_CTX_add1_chain_cert(context, link.certificate());
    }
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

void TlsPeer::flush() {
    char* bytes = nullptr;
    const long size = held_ ? 0 : BIO_get_mem_data(out_, &bytes);
    if (size > 0) {
        connection_.send({bytes, static_cast<std::size_t>(size)});
        (void)BIO_reset(out_);
    }
}

bool TlsPeer::handshake(std::string_view joined) {
    for (;;) {
        ERR_clear_error();
        const int result = SSL_do_handshake(ssl_.get());
        if (result == 1) {
            return joined.empty() ? (flush(), true) : send(joined);
        }
        flush();
        const std::string bytes = SSL_get_error(ssl_.get(), result) == SSL_ERROR_WANT_READ
                                      ? connection_.readSome()
                                      : std::string();
        if (bytes.empty()) {
            return false;
        }
        BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    }
}

bool TlsPeer::accept() {
    return handshake({});
}

bool TlsPeer::acceptAndSend(std::string_view text) {
    return handshake(text);
}

bool TlsPeer::send(std::string_view text, std::size_t recordBytes) {
    while (!text.empty()) {
        const std::size_t length = std::min(recordBytes, text.size());
        std::size_t written = 0;
        ERR_clear_error();
        if (SSL_write_ex(ssl_.get(), text.data(), length, &written) != 1) {
            return false;
        }
        text.remove_prefix(written);
        if (BIO_pending(out_) > 1 << 20) {
            flush();
        }
    }
    flush();
    return connection_.isOpen();
}

bool TlsPeer::readMore() {
    char buffer[16384];
    for (;;) {
        std::size_t got = 0;
        ERR_clear_error();
        const int result = SSL_read_ex(ssl_.get(), buffer, sizeof buffer, &got);
        flush();
        if (result == 1) {
            received_.append(buffer, got);
            return true;
        }
        const std::string bytes = SSL_get_error(ssl_.get(), result) == SSL_ERROR_WANT_READ
                                      ? connection_.readSome()
                                      : std::string();
        if (bytes.empty()) {
            return false;
        }
        BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    }
}

std::string TlsPeer::readBytes(std::size_t count) {
    while (received_.size() - handedOut_ < count && readMore()) {
    }
    const std::size_t stop = std::min(handedOut_ + count, received_.size());
    const std::size_t start = std::exchange(handedOut_, stop);
    return received_.substr(start, stop - start);
}

std::string TlsPeer::readUntil(std::string_view end) {
    std::size_t searched = handedOut_;
    for (;;) {
        const std::size_t hit = received_.find(end, searched);
        if (hit != std::string::npos) {
            return readBytes(hit + end.size() - handedOut_);
        }
        searched = std::max(handedOut_, received_.size() - std::min(received_.size(), end.size()));
        if (!readMore()) {
            return readBytes(received_.size() - handedOut_);
        }
    }
}

std::string TlsPeer::readLine() {
    std::string line = readUntil("\n");
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

void TlsPeer::stall() {
    while (readMore()) {
    }
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
