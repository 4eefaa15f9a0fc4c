#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace borvik {

/// Text of the platform's boundary: 8-bit text in the ANSI code page, wide text (UTF-16) and UTF-8.
///
/// Unlike `EncodingConvert`, which drops, these substitute: a UTF-16 unit that the page lacks
/// becomes
/// "?", each half of a surrogate pair one of its own. Every byte decodes: in a single-byte page an
/// undefined byte is the unit of the same number and goes back to that byte, and in a double-byte
/// page a byte without a character is "?". There is no best fit beyond the rows of the tables.
///
/// A legal ANSI page is any single-byte page, 932, 936, 949, 950 and 65001; any other behaves as
/// 1252.

/// The code page in force for ANSI text: that of the platform layer, or 1252 when that one is not
/// legal.
std::uint32_t ansiCodePage();

/// ANSI text as UTF-16, in the ANSI code page or the one given.
std::u16string ansiToWide(std::string_view text);
std::u16string ansiToWide(std::string_view text, std::uint32_t codePage);

/// UTF-16 as ANSI text, in the ANSI code page or the one given.
std::string wideToAnsi(std::u16string_view text);
std::string wideToAnsi(std::u16string_view text, std::uint32_t codePage);

/// UTF-8 (RFC 3629) as UTF-16. A 4-byte character becomes a surrogate pair; each ill-formed part,
/// as long as it could begin a character, becomes one U+FFFD.
std::u16string utf8ToWidePaired(std::string_view text);

/// UTF-16 as UTF-8. A surrogate pair becomes 4 bytes, a lone half EF BF BD.
std::string wideToUtf8Paired(std::u16string_view text);

/// ANSI text as UTF-8, and back.
std::string ansiToUtf8(std::string_view text);
std::string ansiToUtf8(std::string_view text, std::uint32_t codePage);
std::string utf8ToAnsi(std::string_view text);
std::string utf8ToAnsi(std::string_view text, std::uint32_t codePage);

}  // namespace borvik
