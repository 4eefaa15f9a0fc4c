#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <climits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
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
    std::size_t recordBytes = 16384;  ///< What it sends goes into records of at most that size.
    int flights = INT_MAX;            ///< Falls silent in the handshake after so many answers.
};

/// TLS at the server's end of a scripted connection. Its bytes go through the connection, so that
/// the delivery of that one decides in which pieces they arrive.
class TlsPeer : public ServerStream {
public:
    TlsPeer(ScriptedConnection& connection, const TlsServerSetup& setup);
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;

    /// Runs the handshake; `joined` leaves in one piece with its last bytes. False when it failed
    /// or the connection has ended.
    bool accept(std::string_view joined = {});
    bool send(std::string_view text) override;
    void delay(std::chrono::milliseconds time) override { connection_.delay(time); }
    void drop() override { connection_.drop(); }
    void reset() override { connection_.reset(); }

    /// From now on, the largest record.
    void setRecordBytes(std::size_t bytes) { recordBytes_ = bytes; }
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

private:
    bool readMore() override;
    bool flush();
    template <typename Operation>
    bool pump(Operation operation, int reads = INT_MAX);

    ScriptedConnection& connection_;
    std::shared_ptr<SSL_CTX> context_;
    std::shared_ptr<SSL> ssl_;
    BIO* in_ = nullptr;
    BIO* out_ = nullptr;
    std::size_t recordBytes_;
    int flights_;
    bool held_ = false;
};

}  // namespace support
