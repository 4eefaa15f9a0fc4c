#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "foundation/narrow_string.h"
#include "transport/tcp_socket.h"

namespace platform {
class TlsClient;
struct TlsSettings;
}  // namespace platform

namespace tessolt {

/// Results of the secure channel. Those of `CZncTcpSocket` pass through beside them.
enum SecureResult : std::int32_t {
    kSecureNoCredentials = -1003,    ///< The library gave no context.
    kSecureSocketGone = -1004,       ///< The socket is none any more.
    kSecureHandshakeRead = -1005,    ///< Read failure, close or time-out during the handshake.
    kSecureNoCertificates = -1006,   ///< The folder of client certificates can't be read.
    kSecureHandshakeFailed = -1007,  ///< Protocol failure, alert, or a certificate refused.
    kSecureNoMemory = -1008,
    kSecureNoChannel = -1009,  ///< Sending or reading a line without a channel.
    kSecureEncryptFailed = -1010,
    kSecureDecryptFailed = -1011,
    kSecureTimeout = -1014,  ///< No line came in time.
};

/// TLS on top of the TCP connection, client side. A protocol starts it with `Handshake` once the
/// socket is connected, and from then on sends and reads through the operations of this class
/// instead of those of `CZncTcpSocket`.
///
/// Unless the setting VerifyServer is "1", the server's certificate is not checked: the channel
/// keeps a passive listener out and proves nothing about the server. One thread at a time.
class CZnSecureProtocol : public CZncTcpSocket {
public:
    ~CZnSecureProtocol() override;
    CZnSecureProtocol(const CZnSecureProtocol&) = delete;
    CZnSecureProtocol& operator=(const CZnSecureProtocol&) = delete;

    /// Starts TLS on the connected socket. Bytes that the line reader of the socket still holds go
    /// into the handshake. Returns 0 or a result of this layer or of the socket.
    std::int32_t Handshake();
    /// Closes the socket and frees the channel, without a closing message to the server. Always 0.
    std::int32_t CloseSecure();

    /// Sends `text` and CR LF, which it appends to `text`. Only the gap between two successful
    /// sends is limited.
    std::int32_t SendSecure(CZncString& text);
    /// Reads what is there: first what the line reader kept, then decrypted bytes. Doesn't wait: 0
    /// with no bytes means that nothing has come yet.
    std::int32_t ReceiveSecure(void* dest, std::uint32_t capacity, std::uint32_t& receivedOut);
    /// Reads a line up to CR LF, which is left out; a CR or LF alone cuts it too. `timeoutMs` is
    /// the limit in milliseconds. A line beyond the bound of the socket's reader fails as there.
    std::int32_t ReceiveLineSecure(CZncString& lineOut, std::uint32_t timeoutMs);

    /// The name that the handshake tells the server; none is told when empty.
    CZncString m_strHost;

protected:
    explicit CZnSecureProtocol(const char* className);

    /// Sends bytes as they are.
    std::int32_t SendRecords(std::string_view bytes);
    /// The name that the certificate must be made out for where that is checked.
    CZncString m_strCheckedName;
    /// Total limit of the handshake in milliseconds; 0 stands for 20 seconds.
    std::uint32_t m_lHandshakeTimeout = 0;

private:
    /// Decrypted bytes that the line reader has read ahead.
    struct LineBuffer;

    std::int32_t StartChannel(const platform::TlsSettings& settings);
    std::int32_t HandshakeLoop();
    std::int32_t ReadHandshakeBytes(std::uint32_t remainingMs, std::uint32_t& receivedOut);
    std::int32_t SendOutput();
    std::int32_t FeedChannel(bool& anyOut);
    std::int32_t DecryptBuffered(void* dest, std::uint32_t capacity, std::uint32_t& receivedOut);
    std::int32_t DecryptMore(void* dest, std::uint32_t capacity, std::uint32_t& receivedOut);
    void LogConnectionInfo();

    std::unique_ptr<platform::TlsClient> m_pChannel;
    std::unique_ptr<LineBuffer> m_pLine;
    std::vector<char> m_cipherBuffer;
    bool m_bPeerEnded = false;  ///< The peer has ended the channel; now the socket decides.
};

}  // namespace tessolt
