#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "harness.h"
#include "scripted_socket.h"
#include "transport/secure_protocol.h"

namespace fuzz {
namespace {

using tessolt::CZncString;

enum Choice : std::uint8_t {
    kRealServer = 1,  ///< Else the bytes are the server's records.
    kByteWise = 2,
    kTls12 = 4,
    kVerifies = 8,
};

/// A server with a certificate of its own, made once.
SSL_CTX* serverContext() {
    static const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context = [] {
        constexpr long kDay = 24L * 60 * 60;
        std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
        std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDay);
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kDay);
        X509_set_pubkey(certificate.get(), key.get());
        X509_sign(certificate.get(), key.get(), EVP_sha256());
        std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> made(SSL_CTX_new(TLS_server_method()),
                                                               SSL_CTX_free);
        require(SSL_CTX_use_certificate(made.get(), certificate.get()) == 1);
        require(SSL_CTX_use_PrivateKey(made.get(), key.get()) == 1);
        return made;
    }();
    return context.get();
}

/// A server that speaks TLS, and changes its own bytes on their way as the script says: triples of
/// how many bytes pass unchanged, what is done, and a value for that.
class TamperingPeer : public Peer {
public:
    TamperingPeer(std::string_view script, bool byteWise, bool isTls12)
        : script_(script), byteWise_(byteWise), ssl_(SSL_new(serverContext()), SSL_free) {
        in_ = BIO_new(BIO_s_mem());
        out_ = BIO_new(BIO_s_mem());
        SSL_set_bio(ssl_.get(), in_, out_);
        SSL_set_accept_state(ssl_.get());
        if (isTls12) {
            SSL_set_max_proto_version(ssl_.get(), TLS1_2_VERSION);
        }
    }

    void take(std::string_view bytes) override {
        BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
        if (!SSL_is_init_finished(ssl_.get()) && SSL_do_handshake(ssl_.get()) != 1) {
            return;
        }
        std::array<char, 256> request{};
        while (SSL_read(ssl_.get(), request.data(), static_cast<int>(request.size())) > 0) {
        }
        if (!hasSpoken_) {
            hasSpoken_ = true;
            SSL_write(ssl_.get(), kText.data(), static_cast<int>(kText.size()));
            SSL_key_update(ssl_.get(), SSL_KEY_UPDATE_REQUESTED);
            SSL_write(ssl_.get(), kText.data(), static_cast<int>(kText.size()));
            SSL_shutdown(ssl_.get());
        }
    }

    Answer give(char* buffer, std::size_t size, std::size_t& given) override {
        given = 0;
        if (passing_ == 0 && script_.size() >= kInstruction) {
            return obey(buffer, size, given);
        }
        std::size_t most = byteWise_ ? 1 : size;
        if (script_.size() >= kInstruction) {
            most = std::min(most, passing_);
        }
        const int count = BIO_read(out_, buffer, static_cast<int>(std::min(most, kMostAtOnce)));
        if (count <= 0) {
            return isOver_++ > 0 ? Answer::kClosed : Answer::kNothingYet;
        }
        given = static_cast<std::size_t>(count);
        passing_ -= std::min(passing_, given);
        return Answer::kBytes;
    }

    bool hasTampered() const { return hasTampered_; }

    static constexpr std::string_view kText = "+OK one line\r\nanother\r\n";

private:
    static constexpr std::size_t kInstruction = 3;
    static constexpr std::size_t kMostAtOnce = 20'000;

    /// Carries out an instruction in front of what comes next.
    Answer obey(char* buffer, std::size_t size, std::size_t& given) {
        const char act = script_[1];
        const char value = script_[2];
        script_.remove_prefix(kInstruction);
        passing_ = script_.size() >= kInstruction ? static_cast<unsigned char>(script_[0]) : 0;
        hasTampered_ = hasTampered_ || act % 7 != 6;
        switch (act % 7) {
            case 0:
                given = BIO_read(out_, buffer, 1) == 1 ? 1 : 0;
                *buffer = static_cast<char>(*buffer ^ (value == 0 ? 1 : value));
                return given == 1 ? Answer::kBytes : Answer::kNothingYet;
            case 1:
                *buffer = value;
                given = 1;
                return Answer::kBytes;
            case 2:
                BIO_read(out_, buffer,
                         static_cast<int>(
                             std::min<std::size_t>(size, 1 + static_cast<unsigned char>(value))));
                return Answer::kNothingYet;
            case 3:
                return Answer::kReset;
            case 4:
                return Answer::kClosed;
            case 5:
                return Answer::kSilence;
            default:
                return Answer::kNothingYet;
        }
    }

    std::string_view script_;
    std::size_t passing_ = script_.empty() ? 0 : static_cast<unsigned char>(script_[0]);
    bool byteWise_;
    bool hasSpoken_ = false;
    bool hasTampered_ = false;
    int isOver_ = 0;
    std::unique_ptr<SSL, decltype(&SSL_free)> ssl_;
    BIO* in_ = nullptr;
    BIO* out_ = nullptr;
};

class Client : public tessolt::CZnSecureProtocol {
public:
    explicit Client(bool verifies) : CZnSecureProtocol("Client") {
        m_strHost = "mail.test";
        m_strCheckedName = "mail.test";
        m_rules.verifyServer = verifies;
    }

    /// Connects, encrypts, asks, and reads lines to the end of the connection. False when the
    /// handshake failed.
    bool talk(std::string& received) {
        constexpr std::uint32_t kLimit = 1000;
        require(Connect("mail.test", 1, kLimit) == 0);
        if (Handshake() != 0) {
            return false;
        }
        CZncString command("CAPA");
        SendSecure(command);
        for (CZncString line; ReceiveLineSecure(line, kLimit) == 0;) {
            received.append(line.GetBuffer(), line.GetLength()).append("\r\n");
        }
        CloseSecure();
        require(!IsConnected());
        return true;
    }
};

}  // namespace

/// A channel to a server that speaks the bytes, or one that is tampered with as they say.
void fuzzTlsRecords(Input input) {
    const std::uint8_t choice = input.choice();
    Client client((choice & kVerifies) != 0);
    std::string received;
    const bool byteWise = (choice & kByteWise) != 0;
    if ((choice & kRealServer) == 0) {
        ScriptedPeer peer(input.rest(), byteWise);
        connectTo(&peer);
        require(!client.talk(received));
    } else {
        TamperingPeer peer(input.rest(), byteWise, (choice & kTls12) != 0);
        connectTo(&peer);
        const bool joined = client.talk(received);
        const std::string said =
            std::string(TamperingPeer::kText) + std::string(TamperingPeer::kText);
        require(said.starts_with(received));
        require(!joined || (choice & kVerifies) == 0);
        require(peer.hasTampered() || (choice & kVerifies) != 0 || (joined && received == said));
    }
    connectTo(nullptr);
}

}  // namespace fuzz
