#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "message/wire_text.h"

namespace tessolt {

/// A message text in its form for SMTP: dots doubled, the end mark behind it. A long text isn't
/// copied but around the dots.
class OutgoingText {
public:
    /// With `exactDots` the whole rule of RFC 5321 holds (4.5.2), and a line end that the text has
    /// counts for the end mark; else only a dot alone on its line is doubled.
    OutgoingText(WireText& text, bool exactDots) : m_text(text), m_exactDots(exactDots) {}

    /// The next bytes, good until the next call; empty behind the end mark.
    std::string_view Next();
    /// Bytes in all: reads the text through, and begins anew.
    std::uint64_t Size();

private:
    std::string_view Joined(std::string_view whole);
    void HoldLastDot();
    std::string_view NextOfText();
    std::string_view AfterHeldDot();
    std::string_view WithDots(std::size_t firstDot);
    std::string_view TakeFront(std::size_t count);
    std::string_view EndMark() const;
    std::size_t FindDot(std::size_t from) const;
    bool IsDoubled(char before, char behind) const;

    WireText& m_text;
    bool m_exactDots;
    std::string_view m_piece;  ///< What is left of the last piece.
    char m_beforeLast = '\r';  ///< The last bytes of the text that were given; a line end before.
    char m_last = '\n';
    bool m_holdsDot = false;  ///< A dot at the start of a line ended the last piece.
    bool m_begun = false;
    bool m_ended = false;
    std::string m_buffer;
};

}  // namespace tessolt
