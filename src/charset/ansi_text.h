#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace borvik {

/// Text of the platform's boundary: 8-bit text in the ANSI code page, wide text (UTF-16) and UTF-8.
///
/// Unlike `EncodingConvert`, which drops, these substitute: a UTF-16 unit that the page lacks
/// becomes "?", each half of a surrogate pair one of its own. Every byte decodes: in UTF-8 an
/// ill-formed part is U+FFFD, in a single-byte page an undefined byte is the unit of the same
/// number and goes back to that byte, and in a double-byte page a byte without a character is "?".
/// There is no best fit beyond the rows of the tables.
///
/// A legal ANSI page is 65001, any single-byte page that holds ASCII, 932, 936, 949 and 950; any
/// other behaves as 65001.

/// The code page in force for ANSI text: that of the platform layer.
std::uint32_t ansiCodePage();

/// ANSI text as UTF-16, in the ANSI code page or the one given.
std::u16string ansiToWide(std::string_view text);
std::u16string ansiToWide(std::string_view text, std::uint32_t codePage);

/// UTF-16 as ANSI text, in the ANSI code page or the one given.
std::string wideToAnsi(std::u16string_view text);
std::string wideToAnsi(std::u16string_view text, std::uint32_t codePage);
/// The ANSI form of a text that has one without substitutes, as a path must; else nothing.
std::optional<std::string> wideToAnsiExactly(std::u16string_view text);

/// UTF-8 (RFC 3629) as UTF-16. A 4-byte character becomes a surrogate pair; each ill-formed part,
/// as long as it could begin a character, becomes one U+FFFD.
std::u16string utf8ToWidePaired(std::string_view text);

/// UTF-16 as UTF-8. A surrogate pair becomes 4 bytes, a lone half EF BF BD.
std::string wideToUtf8Paired(std::u16string_view text);

/// Whether the text holds nothing but whole characters of UTF-8 (RFC 3629).
bool isWellFormedUtf8(std::string_view text);

/// ANSI text as UTF-8, and back. When the page is UTF-8, both are the same bytes.
std::string ansiToUtf8(std::string_view text);
std::string ansiToUtf8(std::string_view text, std::uint32_t codePage);
std::string utf8ToAnsi(std::string_view text);
std::string utf8ToAnsi(std::string_view text, std::uint32_t codePage);

}  // namespace borvik
