#include "platform/tls_client.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <vector>

#include "platform/tls_certificates.h"
#include "platform/tls_errors.h"
#include "platform/tls_trust.h"

namespace platform {

namespace {

/// Plaintext that is encrypted before its records are sent: a few full records at a time save
/// calls of the system and still keep little in memory.
constexpr std::size_t kWriteBatch = 128 * 1024;

struct NumberOfNid {
    int nid;
    std::uint32_t number;
};

constexpr NumberOfNid kCipherNumbers[] = {
    {NID_aes_128_cbc, 0x660E},  {NID_aes_128_gcm, 0x660E}, {NID_aes_128_ccm, 0x660E},
    {NID_aes_256_cbc, 0x6610},  {NID_aes_256_gcm, 0x6610}, {NID_aes_256_ccm, 0x6610},
    {NID_des_ede3_cbc, 0x6603},
};
constexpr NumberOfNid kHashNumbers[] = {
    {NID_md5, 0x8003}, {NID_sha1, 0x8004}, {NID_sha256, 0x800C}, {NID_sha384, 0x800D}};
constexpr std::uint32_t kExchangeRsa = 0xA400;
constexpr std::uint32_t kExchangeDhe = 0xAA02;
constexpr std::uint32_t kExchangeEcdhe = 0xAE06;

template <std::size_t Count>
std::uint32_t numberOf(int nid, const NumberOfNid (&table)[Count]) {
    for (const NumberOfNid& row : table) {
        if (row.nid == nid) {
            return row.number;
        }
    }
    return 0;
}

std::uint32_t protocolNumber(int version) {
    switch (version) {
        case TLS1_VERSION:
            return 0x80;
        case TLS1_1_VERSION:
            return 0x200;
        case TLS1_2_VERSION:
            return 0x800;
        case TLS1_3_VERSION:
            return 0x2000;
        default:
            return 0;
    }
}

/// What the library calls bytes that are no TLS.
constexpr int kNotTlsReasons[] = {SSL_R_WRONG_VERSION_NUMBER, SSL_R_PACKET_LENGTH_TOO_LONG,
                                  SSL_R_HTTP_REQUEST, SSL_R_HTTPS_PROXY_REQUEST,
                                  SSL_R_RECORD_LENGTH_MISMATCH};

TlsFault faultOf(int verification) {
    switch (verification) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return TlsFault::kExpired;
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return TlsFault::kNotYetValid;
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return TlsFault::kOtherName;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            return TlsFault::kUnknownIssuer;
        default:
            return TlsFault::kOtherCertificate;
    }
}

/// Called when the server asks for a certificate; having none is no error.
int onCertificateRequest(SSL* ssl, void* identities) {
    useClientCertificate(ssl, *static_cast<const std::vector<std::string>*>(identities));
    return 1;
}

}  // namespace

void clearSecret(void* bytes, std::size_t size) {
    OPENSSL_cleanse(bytes, size);
}

void clearSecret(std::string& text) {
    OPENSSL_cleanse(text.data(), text.size());
    text.clear();
}

struct TlsClient::State {
    ~State() {
        SSL_free(ssl);  // frees both BIOs with it
        SSL_CTX_free(context);
    }

    SSL_CTX* context = nullptr;
    SSL* ssl = nullptr;
    BIO* input = nullptr;
    BIO* output = nullptr;
    std::vector<std::string> identities;
    bool failed = false;  ///< The library forgets how a channel ended.
    std::string checkedName;
    std::string refusal;
    TlsFault fault = TlsFault::kNone;
    std::string faultText;
    TrustStore trust;

    static int onVerdict(int good, X509_STORE_CTX* verification);

    TlsStart makeContext(const TlsSettings& settings);
    TlsStart makeChannel(const TlsSettings& settings);
    TlsStep outcome(int result);
    void keepFault(unsigned long error);
};

TlsClient::TlsClient() : state_(std::make_unique<State>()) {}
TlsClient::~TlsClient() = default;

/// Called for every certificate of the chain and for every failure; keeps the cause of the first.
int TlsClient::State::onVerdict(int good, X509_STORE_CTX* verification) {
    const auto* ssl = static_cast<SSL*>(
        X509_STORE_CTX_get_ex_data(verification, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* state = static_cast<State*>(SSL_get_app_data(ssl));
    if (good == 0 && state->refusal.empty()) {
        state->refusal =
            describeRefusal(X509_STORE_CTX_get_error(verification),
                            X509_STORE_CTX_get_current_cert(verification), state->checkedName);
        state->fault = faultOf(X509_STORE_CTX_get_error(verification));
    }
    return good;
}

TlsStart TlsClient::State::makeContext(const TlsSettings& settings) {
    if (!settings.clientCertificateFolder.empty() &&
        !listPemFiles(settings.clientCertificateFolder, identities)) {
        return TlsStart::kNoCertificates;
    }
    context = SSL_CTX_new(TLS_client_method());
    if (context == nullptr) {
        return TlsStart::kNoContext;
    }
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(context, SSL_OP_CLEANSE_PLAINTEXT);
    SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                  SSL_MODE_NO_AUTO_CHAIN);
    SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
    if (settings.verifyServer) {
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER, onVerdict);
        SSL_CTX_set_cert_verify_callback(context, &verifyServerChain, nullptr);
        trust = trustStoreFor(settings.trustFile);
        if (!trust) {
            refusal = "the trusted certificates can't be read";
            fault = TlsFault::kNoTrust;
            return TlsStart::kNoContext;
        }
        SSL_CTX_set1_cert_store(context, trust.get());
    }
    if (!identities.empty()) {
        SSL_CTX_set_cert_cb(context, onCertificateRequest, &identities);
    }
    return TlsStart::kReady;
}

TlsStart TlsClient::State::makeChannel(const TlsSettings& settings) {
    ssl = SSL_new(context);
    if (ssl == nullptr) {
        return TlsStart::kNoChannel;
    }
    input = BIO_new(BIO_s_mem());
    output = BIO_new(BIO_s_mem());
    if (input == nullptr || output == nullptr) {
        BIO_free(input);
        BIO_free(output);
        return TlsStart::kNoMemory;
    }
    SSL_set_bio(ssl, input, output);
    SSL_set_connect_state(ssl);
    SSL_set_app_data(ssl, this);
    if (!settings.serverName.empty() && !isAddressLiteral(settings.serverName)) {
        // A name that can't be one in TLS is left out: the server then shows its usual certificate.
        SSL_set_tlsext_host_name(ssl, settings.serverName.c_str());
    }
    if (settings.verifyServer && !requireServerName(ssl, settings.checkedName)) {
        refusal = "there is no name to check it for";
        return TlsStart::kNoChannel;
    }
    return TlsStart::kReady;
}

TlsStart TlsClient::start(const TlsSettings& settings) {
    const TlsErrorKeeper keeper;
    state_->checkedName = settings.checkedName;
    const TlsStart made = state_->makeContext(settings);
    return made == TlsStart::kReady ? state_->makeChannel(settings) : made;
}

TlsStep TlsClient::State::outcome(int result) {
    if (failed) {
        return TlsStep::kFailed;
    }
    switch (SSL_get_error(ssl, result)) {
        case SSL_ERROR_NONE:
            return TlsStep::kDone;
        case SSL_ERROR_WANT_READ:
        case SSL_ERROR_WANT_WRITE:
            return TlsStep::kNeedsInput;
        case SSL_ERROR_ZERO_RETURN:
            return TlsStep::kClosed;
        default:
            failed = true;
            keepFault(ERR_peek_error());
            return ERR_GET_REASON(ERR_peek_error()) == SSL_R_EXCESSIVE_MESSAGE_SIZE
                       ? TlsStep::kTooMuch
                       : TlsStep::kFailed;
    }
}

/// The first failure counts: what comes behind it is its consequence.
void TlsClient::State::keepFault(unsigned long error) {
    if (fault != TlsFault::kNone || SSL_is_init_finished(ssl) != 0) {
        return;
    }
    const int reason = ERR_GET_REASON(error);
    const bool isNotTls = std::find(std::begin(kNotTlsReasons), std::end(kNotTlsReasons), reason) !=
                          std::end(kNotTlsReasons);
    fault = isNotTls ? TlsFault::kNotTls : TlsFault::kOther;
    const char* const text = ERR_reason_error_string(error);
    faultText = text != nullptr ? text : "";
}

TlsStep TlsClient::handshake() {
    const TlsErrorKeeper keeper;
    return state_->outcome(SSL_do_handshake(state_->ssl));
}

bool TlsClient::hasUnreadInput() const {
    return BIO_pending(state_->input) > 0 || SSL_has_pending(state_->ssl) == 1;
}

bool TlsClient::addInput(const void* bytes, std::size_t size) {
    const TlsErrorKeeper keeper;
    return size <= INT_MAX &&
           BIO_write(state_->input, bytes, static_cast<int>(size)) == static_cast<int>(size);
}

TlsStep TlsClient::read(void* buffer, std::size_t size, std::size_t& got) {
    got = 0;
    TlsStep step = TlsStep::kDone;
    while (got < size && step == TlsStep::kDone) {
        std::size_t count = 0;
        const TlsErrorKeeper keeper;
        const int result =
            SSL_read_ex(state_->ssl, static_cast<char*>(buffer) + got, size - got, &count);
        step = state_->outcome(result);
        got += count;
    }
    // What came before the end or the failure goes to the caller first; the next call tells.
    return got > 0 && step != TlsStep::kNeedsInput ? TlsStep::kDone : step;
}

TlsStep TlsClient::write(const void* bytes, std::size_t size, std::size_t& taken) {
    taken = 0;
    const std::size_t batch = std::min(size, kWriteBatch);
    TlsStep step = TlsStep::kDone;
    while (taken < batch && step == TlsStep::kDone) {
        std::size_t count = 0;
        const TlsErrorKeeper keeper;
        const int result = SSL_write_ex(state_->ssl, static_cast<const char*>(bytes) + taken,
                                        batch - taken, &count);
        step = state_->outcome(result);
        taken += count;
    }
    return step;
}

std::string_view TlsClient::output() const {
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(state_->output, &bytes);
    return size > 0 ? std::string_view(bytes, static_cast<std::size_t>(size)) : std::string_view();
}

void TlsClient::clearOutput() {
    (void)BIO_reset(state_->output);
}

TlsConnectionInfo TlsClient::connectionInfo() const {
    const TlsErrorKeeper keeper;
    TlsConnectionInfo info;
    info.protocol = protocolNumber(SSL_version(state_->ssl));
    const SSL_CIPHER* cipher = SSL_get_current_cipher(state_->ssl);
    if (cipher == nullptr) {
        return info;
    }
    info.cipher = numberOf(SSL_CIPHER_get_cipher_nid(cipher), kCipherNumbers);
    info.cipherStrength = SSL_CIPHER_get_bits(cipher, nullptr);
    int digest = SSL_CIPHER_get_digest_nid(cipher);
    if (digest == NID_undef) {  // AEAD: the hash is that of the key schedule
        const EVP_MD* schedule = SSL_CIPHER_get_handshake_digest(cipher);
        digest = schedule != nullptr ? EVP_MD_get_type(schedule) : NID_undef;
    }
    info.hash = numberOf(digest, kHashNumbers);
    EVP_PKEY* agreed = nullptr;
    if (SSL_get_peer_tmp_key(state_->ssl, &agreed) == 1) {
        const bool finiteField = EVP_PKEY_get_base_id(agreed) == EVP_PKEY_DH;
        info.keyExchange = finiteField ? kExchangeDhe : kExchangeEcdhe;
        info.keyExchangeStrength = EVP_PKEY_get_bits(agreed);
        EVP_PKEY_free(agreed);
    } else if (SSL_CIPHER_get_kx_nid(cipher) == NID_kx_rsa) {
        info.keyExchange = kExchangeRsa;
        X509* certificate = SSL_get0_peer_certificate(state_->ssl);
        EVP_PKEY* key = certificate != nullptr ? X509_get0_pubkey(certificate) : nullptr;
        info.keyExchangeStrength = key != nullptr ? EVP_PKEY_get_bits(key) : 0;
    } else if (SSL_version(state_->ssl) == TLS1_3_VERSION) {
        // A curve joined with a post-quantum exchange, for which the library shows no key.
        info.keyExchange = kExchangeEcdhe;
    }
    return info;
}

TlsConnectionNames TlsClient::connectionNames() const {
    const TlsErrorKeeper keeper;
    TlsConnectionNames names;
    names.version = SSL_get_version(state_->ssl);
    names.cipher = SSL_get_cipher_name(state_->ssl);
    if (X509* certificate = SSL_get0_peer_certificate(state_->ssl)) {
        names.peer = namesOf(certificate);
        names.issuer = issuerOf(certificate);
        names.lastDay = lastDayOf(certificate);
    }
    return names;
}

const std::string& TlsClient::refusal() const {
    return state_->refusal;
}

TlsFault TlsClient::fault() const {
    return state_->fault;
}

const std::string& TlsClient::faultText() const {
    return state_->faultText;
}

}  // namespace platform
