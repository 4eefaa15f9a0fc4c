#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// A recipient of an envelope, and what the server said to it.
struct SmtpRecipient {
    std::string address;
    std::int32_t code = 0;  ///< 0 until the server has answered.
    std::string reply = {};

    bool isAccepted() const { return code >= 200 && code < 400; }
};

/// Who sends a message and who gets it, whatever its header says (RFC 5321, 2.3.1).
struct SmtpEnvelope {
    std::string sender;  ///< Empty for a message that nobody wants back.
    std::vector<SmtpRecipient> recipients;
};

/// The text of a message, handed out piece by piece.
class SmtpText {
public:
    virtual ~SmtpText() = default;
    /// The next piece, good until the next call, empty at the end. False when it can't be read.
    virtual bool Next(std::string_view& piece) = 0;
    /// Bytes of all pieces.
    virtual std::uint64_t Size() const = 0;
    /// Whether there is a byte above 127 in it; false also when it can't be read.
    virtual bool IsEightBit() const = 0;
};

/// Doubles the dot at the start of each line of a text that comes in pieces (RFC 5321, 4.5.2). A
/// line begins behind every LF, also a bare one: there are servers that take it for a line end.
class DotStuffing {
public:
    /// Appends the piece in its form for the wire.
    void Append(std::string_view piece, std::string& out);
    /// Appends what ends the message: the text's own line end counts, one is added where it lacks.
    void AppendEnd(std::string& out) const;

private:
    char m_beforeLast = '\r';
    char m_last = '\n';
};

}  // namespace tessolt
