/// Connections without a network: this program has its own sockets in place of the platform's. The
/// server's end of each is a `Peer`, which is asked for bytes when the client reads.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

/// The server's end of one connection.
class Peer {
public:
    virtual ~Peer() = default;

    enum class Answer {
        kBytes,
        kNothingYet,  ///< Something comes when the client waits for it.
        kSilence,     ///< Nothing will ever come: the client's limit runs out.
        kClosed,
        kReset,
    };
    /// Gives the client up to `size` bytes.
    virtual Answer give(char* buffer, std::size_t size, std::size_t& given) = 0;
    /// Gets what the client has sent.
    virtual void take(std::string_view bytes) = 0;
};

/// Speaks the bytes of a script, in which these control characters cut what one read gives:
///
///     \x1C  the connection is reset     \x1D  what follows comes when the client has sent
///     something \x1E  a read ends here            \x1F  silence
///
/// Behind the script the connection is closed.
class ScriptedPeer : public Peer {
public:
    /// With `byteWise` each read gives one byte.
    ScriptedPeer(std::string_view script, bool byteWise) : script_(script), byteWise_(byteWise) {}

    Answer give(char* buffer, std::size_t size, std::size_t& given) override;
    void take(std::string_view bytes) override;
    /// All that the client has sent.
    const std::string& received() const { return received_; }

private:
    std::string_view script_;
    bool byteWise_;
    bool hasAsked_ = true;  ///< The client has sent something since the last turn.
    bool waited_ = false;
    std::string received_;
};

/// Asks that each line that was sent, up to the first that is one of the `last` verbs, begins with
/// one of the verbs or is an answer in base64: nothing that a server says may make another.
void requireCommands(std::string_view sent, std::span<const std::string_view> verbs,
                     std::span<const std::string_view> last);

/// From now on every connection of this thread leads to `peer`, which must outlive them; null for
/// none, which every attempt to connect tells.
void connectTo(Peer* peer);

}  // namespace fuzz
