#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "mime/mime_pieces.h"
#include "text/outward_strings.h"

namespace tessolt {

/// The text of a message on its way to a server, handed out piece by piece: long bodies are read,
/// or coded a little at a time, from where they stand in the message. That may be encoded anew
/// meanwhile, which whoever watches the sending could do.
class WireText {
public:
    WireText() = default;
    /// A text that is there as a whole, and outlives this.
    explicit WireText(std::string_view whole) : m_whole(whole) {}
    WireText(const WireText&) = delete;
    WireText& operator=(const WireText&) = delete;

    /// Bytes of all pieces.
    std::uint64_t Size() const { return m_whole.size() + m_pieces.size(); }
    bool IsEmpty() const { return Size() == 0; }
    bool IsAscii() const;
    /// The next piece, good until the next call; empty at the end. Only the first call takes
    /// memory, which throws `std::bad_alloc`.
    std::string_view Next();
    /// Begins anew.
    void Rewind();

    // Filling an empty one.

    /// `owner` is what the text lives in; null for somebody who outlives this.
    void SetWhole(std::string_view whole, std::shared_ptr<const void> owner = nullptr) {
        m_whole = whole;
        m_owner = std::move(owner);
    }
    /// Where a whole text may be kept.
    borvik::BvString& Storage() { return m_storage; }
    borvik::MimePieces& Pieces() { return m_pieces; }

private:
    std::string_view NextOfBody(const borvik::LongBody& body);

    borvik::BvString m_storage;
    std::string_view m_whole;
    std::shared_ptr<const void> m_owner;
    borvik::MimePieces m_pieces;
    std::unique_ptr<char[]> m_lines;  ///< Base64 of the last piece.
    bool m_wholeGiven = false;
    std::size_t m_restGiven = 0;  ///< Bytes in front of and between the long bodies.
    std::size_t m_body = 0;       ///< The long body that comes next, or is being read.
    std::size_t m_bodyGiven = 0;
};

}  // namespace tessolt
