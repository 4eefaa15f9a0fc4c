#pragma once

#include <cstddef>
#include <string_view>

namespace borvik {

/// Conversion between UTF-8 (RFC 3629) and UTF-16 into memory that stands ready. Each ill-formed
/// part of UTF-8, as long as it could begin a character, becomes one U+FFFD, and so does a lone
/// half of a surrogate pair. Zeros are characters like others.

/// Converts as many whole characters from the start of `utf8` as fit into `room` units, and takes
/// them off it. Returns the number of units written.
std::size_t takeUtf8(std::string_view& utf8, char16_t* units, std::size_t room);

/// The same the other way, into `room` bytes.
std::size_t takeUtf16(std::u16string_view& units, char* utf8, std::size_t room);

/// What the whole text becomes: units, and bytes.
std::size_t utf16Length(std::string_view utf8);
std::size_t utf8Length(std::u16string_view units);

/// `utf16Length` for well-formed text, from one quick look; may be too small for other.
std::size_t wellFormedUtf16Length(std::string_view utf8);

}  // namespace borvik
