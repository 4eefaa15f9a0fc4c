#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/scripted_server.h"
#include "support/test_certificates.h"

namespace support {

/// What a TLS server of a test does.
struct TlsServerSetup {
    explicit TlsServerSetup(Identity shown) : identity(std::move(shown)) {}

    Identity identity;
    std::vector<Identity> chain = {};  ///< Sent behind the server's own certificate.
    int version = 0;                   ///< The only version it speaks; 0 for any.
    std::string ciphers12 = {};
    std::string ciphers13 = {};
    /// Asks the client for a certificate of this authority and, if `clientMust`, insists on it.
    std::vector<Identity> clientAuthority = {};
    bool clientMust = false;
};

/// TLS at the server's end of a scripted connection. Its bytes go through the connection, so that
/// the delivery of that one decides in which pieces they arrive.
class TlsPeer {
public:
    TlsPeer(ScriptedConnection& connection, const TlsServerSetup& setup);
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;

    /// Runs the handshake. False when it failed or the connection has ended.
    bool accept();
    /// The same, with `text` sent in one piece with the last bytes of the handshake.
    bool acceptAndSend(std::string_view text);
    /// Sends the text in records of at most `recordBytes`.
    bool send(std::string_view text, std::size_t recordBytes = 16384);
    /// The next line without its end, empty once the channel has ended.
    std::string readLine();
    /// Everything up to and with `end`.
    std::string readUntil(std::string_view end);
    /// The number of bytes asked for, or what came.
    std::string readBytes(std::size_t count);
    /// Reads until the peer has gone.
    void stall();

    /// While held, what would be sent is kept back, so that it leaves in one piece afterwards.
    void hold(bool held);
    void closeNotify();
    /// Sends a fatal alert.
    void alert();
    /// Wants new keys: a renegotiation up to TLS 1.2, a key update with an answer from TLS 1.3 on.
    void rekey();

    /// Names of the client: what it asked for, and the common name of its certificate.
    std::string serverName() const;
    std::string clientName() const;
    const std::string& received() const { return received_; }

private:
    void flush();
    bool handshake(std::string_view joined);
    bool readMore();

    ScriptedConnection& connection_;
    std::shared_ptr<SSL_CTX> context_;
    std::shared_ptr<SSL> ssl_;
    BIO* in_ = nullptr;
    BIO* out_ = nullptr;
    bool held_ = false;
    std::string received_;
    std::size_t handedOut_ = 0;
};

}  // namespace support
