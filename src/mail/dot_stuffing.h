#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tessolt {

/// Position of the first line at or behind `from` that is nothing but ".", or npos. A line begins
/// at the start of the text and behind every LF, also a bare one, and ends before CR LF, before a
/// bare LF and at the end of the text: what any server could take for the end of the message (RFC
/// 5321, 4.5.2).
std::size_t FindLoneDot(std::string_view text, std::size_t from = 0);

/// The text with the dot of every such line doubled, and `tail` behind it. Lines that begin with a
/// dot and go on are left alone.
std::string DoubleLoneDots(std::string_view text, std::string_view tail);

/// Takes the dot-stuffing of a received body back in place (RFC 1939, 3): a dot behind CR LF, or at
/// the very start, goes away. The end mark turns into an empty line. Returns the new length.
std::size_t RemoveDotStuffing(char* text, std::size_t length);

}  // namespace tessolt
