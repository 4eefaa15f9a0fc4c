#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tessolt {

/// Longest line that may travel, in bytes without its line end (RFC 5322, section 2.1.1).
inline constexpr std::size_t kLongestLine = 998;

/// Whether no CR and no LF stands alone.
bool HasOnlyCrlf(std::string_view text);
bool HasOnlyCrlf(std::u16string_view text);

/// The text with CR LF for each line end: CR LF, a CR or an LF alone.
std::u16string WithCrlfLineEnds(std::u16string_view text);

/// Whether the text can travel as it is (RFC 2045, section 2.7): ASCII without zero bytes, every
/// line end CR LF, and no line longer than `kLongestLine`.
bool IsSevenBitText(std::string_view text);

/// The message without those fields of its header whose names, in any case, are among `names`;
/// folded lines go with their field. What follows the header stays as it is, and so does a header
/// that holds none of them: the result is then empty and `removed` false.
std::string WithoutFields(std::string_view message, std::initializer_list<std::string_view> names,
                          bool& removed);

}  // namespace tessolt
