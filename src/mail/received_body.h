#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "mail/dot_stuffing.h"

namespace tessolt {

/// The text of a message as it comes from a POP3 server (RFC 1939, 3). Each piece is taken out of
/// its form for the wire where it was received, so that long messages are passed over once.
class ReceivedBody {
public:
    /// By classic rules the end mark leaves an empty line, a dot at the very start stays, and the
    /// text ends at its first zero byte.
    ReceivedBody(std::string& text, bool exactDots);

    /// Makes room for a message of about that many bytes. Nothing depends on it.
    void Expect(std::uint64_t size);
    /// Where the next bytes are to be put, never empty. Throws `std::bad_alloc`.
    std::span<char> Room();
    /// So many bytes were put there.
    void Take(std::size_t count);
    /// Whether the bytes end in the end mark.
    bool IsComplete() const;
    /// Bytes received.
    std::uint64_t Received() const { return m_received; }
    /// Leaves the message in the text.
    void Finish();

private:
    static constexpr std::size_t kTail = 5;

    std::string& m_text;     ///< Longer than what has come.
    std::size_t m_done = 0;  ///< Bytes of the message in it.
    std::uint64_t m_received = 0;
    bool m_exactDots;
    DotRemoval m_dots;
    std::array<char, kTail> m_tail = {};  ///< The last bytes received.
    std::size_t m_zero;                   ///< Where the first zero byte stands.
};

}  // namespace tessolt
