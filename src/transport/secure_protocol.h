#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/mail_rules.h"
#include "foundation/narrow_string.h"
#include "platform/tls_client.h"
#include "transport/tcp_socket.h"

namespace platform {
struct SettingsState;
}  // namespace platform

namespace tessolt {

/// Results of the secure channel. Those of `CZncTcpSocket` pass through beside them.
enum SecureResult : std::int32_t {
    kSecureNoCredentials = -1003,    ///< No context, or settings that can't be used.
    kSecureSocketGone = -1004,       ///< The socket is none any more.
    kSecureHandshakeRead = -1005,    ///< Read failure, close, time-out or an endless handshake.
    kSecureNoCertificates = -1006,   ///< The folder of client certificates can't be read.
    kSecureHandshakeFailed = -1007,  ///< Protocol failure, alert, or a certificate refused.
    kSecureNoMemory = -1008,
    kSecureNoChannel = -1009,  ///< Sending or reading a line without a channel.
    kSecureEncryptFailed = -1010,
    kSecureDecryptFailed = -1011,
    kSecureTimeout = -1014,  ///< No line came in time.
};

/// Why the last handshake failed.
struct TlsTrouble {
    enum Kind { kNone, kChannel, kTimedOut, kClosed, kSettings };
    Kind kind = kNone;
    platform::TlsFault fault = platform::TlsFault::kNone;  ///< Of kChannel.
    std::string text = {};                                 ///< What is known beside; often empty.
};

/// TLS on top of the TCP connection, client side. A protocol starts it with `Handshake` once the
/// socket is connected, and from then on sends and reads through the operations of this class
/// instead of those of `CZncTcpSocket`.
///
/// Unless the rules ask for it, the server's certificate is not checked, as the log tells: the
/// channel keeps a passive listener out and proves nothing about the server. One thread at a time.
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

    /// What the last handshake that succeeded agreed on; empty on a connection without one.
    const platform::TlsConnectionNames& ChannelNames() const { return m_channelNames; }

    /// The name that the handshake tells the server, unless that is checked under another; none is
    /// told when empty.
    CZncString m_strHost;
    /// Filled by who makes the object, before the first operation.
    MailRules m_rules;

protected:
    explicit CZnSecureProtocol(const char* className);

    /// The settings; null when they are there and can't be used, which goes into the log.
    std::shared_ptr<const platform::SettingsState> UsableSettings();
    /// The longest gap in sending unless a protocol names one, in milliseconds.
    static constexpr std::uint32_t kSendIdleLimit = 3000;

    /// Connects by the rules: to the first address, or to any.
    std::int32_t OpenSocket(const CZncString& host, std::int32_t port, std::uint32_t timeoutMs);
    /// Whether a handshake was begun on this connection: from there on nothing goes out in the
    /// clear, whatever fails.
    bool UsesChannel() const { return m_bUsesChannel; }
    /// Whether the rules let a credential pass on this connection.
    bool SecretsMayPass() const;

    /// Sends bytes as they are; `idleMs` limits the gap between two successful sends.
    std::int32_t SendRecords(std::string_view bytes, std::uint32_t idleMs = kSendIdleLimit);
    /// The name that the certificate must be made out for where that is checked.
    CZncString m_strCheckedName;
    /// Total limit of the handshake in milliseconds; 0 stands for 20 seconds.
    std::uint32_t m_lHandshakeTimeout = 0;
    TlsTrouble m_tlsTrouble;

private:
    /// Decrypted bytes that the line reader has read ahead.
    struct LineBuffer;

    std::int32_t StartChannel(const platform::TlsSettings& settings);
    std::int32_t HandshakeLoop();
    std::int32_t ReadHandshakeBytes(std::uint32_t remainingMs, std::uint32_t& receivedOut);
    std::int32_t SendOutput(std::uint32_t idleMs = kSendIdleLimit);
    std::int32_t FeedChannel(bool& anyOut);
    std::int32_t DecryptBuffered(void* dest, std::uint32_t capacity, std::uint32_t& receivedOut);
    std::int32_t DecryptMore(void* dest, std::uint32_t capacity, std::uint32_t& receivedOut);
    void LogConnectionInfo();
    void KeepTrouble(std::int32_t result);

    std::unique_ptr<platform::TlsClient> m_pChannel;
    std::unique_ptr<LineBuffer> m_pLine;
    std::vector<char> m_cipherBuffer;
    platform::TlsConnectionNames m_channelNames;
    bool m_bUsesChannel = false;
    bool m_bPeerEnded = false;  ///< The peer has ended the channel; now the socket decides.
};

}  // namespace tessolt
