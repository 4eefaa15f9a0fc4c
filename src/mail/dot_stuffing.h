#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tessolt {

/// Position of the first line at or behind `from` that is nothing but ".", or npos. A line begins
/// at the start of the text and behind every CR and every LF, and ends before every CR and LF and
/// at the end of the text: what any server could take for the end of the message (RFC 5321, 4.5.2),
/// also one that drops the CRs or takes each for a line end.
std::size_t FindLoneDot(std::string_view text, std::size_t from = 0);

/// The text with the dot of every such line doubled, and `tail` behind it. Lines that begin with a
/// dot and go on are left alone.
std::string DoubleLoneDots(std::string_view text, std::string_view tail);

/// The same two for the whole rule of RFC 5321: the dot of every line that begins with one counts.
/// Behind a bare CR only a line that is nothing but a dot does, since few servers see a line there.
std::size_t FindLineDot(std::string_view text, std::size_t from = 0);
std::string DoubleLineDots(std::string_view text, std::string_view tail);

/// Takes the dot-stuffing of a text that comes in pieces back (RFC 1939, 3): a dot behind CR LF
/// goes away, and with `atStart` so does one at the very start.
class DotRemoval {
public:
    explicit DotRemoval(bool atStart)
        : m_beforeLast(atStart ? '\r' : '\0'), m_last(atStart ? '\n' : '\0') {}
    /// Changes the next piece in place and returns its new length.
    std::size_t Remove(char* piece, std::size_t length);

private:
    char m_beforeLast;
    char m_last;
};

}  // namespace tessolt
