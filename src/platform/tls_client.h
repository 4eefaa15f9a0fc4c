/// The client side of one TLS channel (RFC 5246, RFC 8446), without a socket: the caller carries
/// the bytes between the channel and the network, in both directions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

/// Overwrites memory that held a secret, in a way that no optimiser takes out.
void clearSecret(void* bytes, std::size_t size);
void clearSecret(std::string& text);

/// What a channel is made from.
struct TlsSettings {
    /// Sent as server name indication (RFC 6066) unless it is empty or an address. Names are in
    /// their ASCII form.
    std::string serverName;
    /// Whether the server's certificate must lead to a trusted root and be made out for
    /// `checkedName`. Without it any certificate will do, and nothing proves who the server is.
    bool verifyServer = false;
    std::string checkedName;
    /// PEM file with the certificates to trust, roots or not; empty means those of the system.
    std::string trustFile;
    /// Folder of PEM files, each with a private key and its certificate, the certificates of the
    /// issuers behind it. Empty means that the client has none to show.
    std::string clientCertificateFolder;
};

/// How `TlsClient::start` ended.
enum class TlsStart {
    kReady,
    kNoContext,       ///< The library gave no context, or the trust file can't be read.
    kNoCertificates,  ///< The folder of the client certificates can't be read.
    kNoChannel,       ///< The library gave no channel.
    kNoMemory,        ///< The buffers could not be made.
};

/// How one step of a channel ended.
enum class TlsStep {
    kDone,
    kNeedsInput,  ///< Nothing more can be done before further bytes come from the peer.
    kClosed,      ///< The peer has ended the channel in order.
    kFailed,
    kTooMuch,  ///< The peer's message is longer than any that a handshake needs.
};

/// Why a handshake failed.
enum class TlsFault {
    kNone,
    kNotTls,  ///< What the peer says isn't TLS.
    kExpired,
    kNotYetValid,
    kOtherName,
    kUnknownIssuer,
    kOtherCertificate,  ///< Refused for another reason.
    kNoTrust,           ///< The certificates to trust can't be read.
    kOther
};

/// What was negotiated, in the numbering of the log. A number without a name there is 0.
struct TlsConnectionInfo {
    std::uint32_t protocol = 0;
    std::uint32_t cipher = 0;
    int cipherStrength = 0;  ///< Bits of the key.
    std::uint32_t hash = 0;
    std::uint32_t keyExchange = 0;
    int keyExchangeStrength = 0;  ///< Bits of the key that was agreed on or encrypted to.
};

/// The same as people know it.
struct TlsConnectionNames {
    std::string version = {};  ///< "TLSv1.3"; empty without a channel.
    std::string cipher = {};   ///< As OpenSSL names it.
    std::string peer = {};     ///< What the server's certificate is made out for, commas between.
    std::string issuer = {};   ///< Who signed it.
    std::string lastDay = {};  ///< When it expires.
};

/// One channel. The errors that the caller's thread has in the list of the library stay what they
/// are. After every step the caller sends `output()`, also after a failed one: an alert
/// may stand there.
class TlsClient {
public:
    TlsClient();
    ~TlsClient();
    TlsClient(const TlsClient&) = delete;
    TlsClient& operator=(const TlsClient&) = delete;

    /// Makes the channel; nothing is sent yet. Called once.
    TlsStart start(const TlsSettings& settings);
    /// Goes on with the handshake until it is done or needs bytes.
    TlsStep handshake();
    /// Hands over bytes from the network. False when memory failed.
    bool addInput(const void* bytes, std::size_t size);
    /// Whether bytes are waiting that no step has used up, those of a record cut short for example.
    bool hasUnreadInput() const;

    /// Decrypts up to `size` bytes, from as many records as are there. kDone and kNeedsInput may
    /// both come with bytes; kClosed comes without.
    TlsStep read(void* buffer, std::size_t size, std::size_t& got);
    /// Encrypts the front of `bytes`, some records at a time; `taken` tells how much of it.
    TlsStep write(const void* bytes, std::size_t size, std::size_t& taken);

    /// Bytes for the network, valid until the next step.
    std::string_view output() const;
    /// Forgets the output after it was sent.
    void clearOutput();

    TlsConnectionInfo connectionInfo() const;
    TlsConnectionNames connectionNames() const;
    /// Why the server's certificate was refused, as one line of printable text; empty when it
    /// wasn't.
    const std::string& refusal() const;
    /// Why the handshake failed, and the library's words for it, empty without any.
    TlsFault fault() const;
    const std::string& faultText() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace platform
