#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace loopback {

/// Line by line talk over a connected socket, which it owns, and over TLS where it gets a session
/// for the server's end of that. Every wait ends when `stopping` is set.
class LineChannel {
public:
    LineChannel(int socket, SSL* tls, const std::atomic<bool>& stopping);
    ~LineChannel();

    LineChannel(const LineChannel&) = delete;
    LineChannel& operator=(const LineChannel&) = delete;

    /// The next line without its CR LF; nothing when the peer has closed or the host is stopping.
    std::optional<std::string> readLine();

    /// Sends the text and a CR LF; the result is false when the peer is gone.
    bool sendLine(std::string_view text);

    /// Sends the bytes as they are.
    bool send(std::string_view bytes);

    /// Reads lines up to a single dot and returns them with the dot-stuffing of RFC 5321 undone,
    /// each line with its CR LF; nothing when the peer closed before the dot.
    std::optional<std::string> readDotted();

    /// Sends the text as a dotted body: stuffed, with a final CR LF and the closing dot.
    bool sendDotted(std::string_view text);

private:
    bool fill();
    bool waitFor(short events);
    bool waitAfter(int result, short events);

    int socket_;
    std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
    const std::atomic<bool>& stopping_;
    std::string buffer_;
    std::size_t start_ = 0;
};

}  // namespace loopback
