#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tessolt::reading {

/// The text of a field in UTF-8: unfolded (RFC 5322 2.2.3), encoded words decoded (RFC 2047 6.2),
/// without blanks at its ends. Blanks between two encoded words go, all others stay; a fold with a
/// tab becomes a blank; a broken word stays as it is written. Words of one charset that follow each
/// other are decoded together, since some writers cut a character in two.
///
/// 8-bit text is UTF-8 when it is well-formed as a whole, else in the charset `label`.
std::string headerText(std::string_view raw, std::string_view label = {});

/// Length of the encoded word at the front of `text`, 0 when none begins there. With `allowBlanks`
/// its text may hold blanks, which RFC 2047 forbids and some write.
std::size_t encodedWordLength(std::string_view text, bool allowBlanks);

}  // namespace tessolt::reading
