#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessolt::reading {

/// True when the text is UTF-8 as RFC 3629 has it.
bool isWellFormedUtf8(std::string_view text);

/// Text without a label as UTF-8: it is UTF-8 when it is well-formed, else in the ANSI code page
/// when that isn't UTF-8 itself, else in windows-1252.
std::string unlabelledText(std::string_view bytes);

/// Text with a charset label as UTF-8. What the charset has no character for becomes U+FFFD. An
/// unknown label, none, and "us-ascii" over 8-bit bytes count as no label.
std::string textInCharset(std::string_view bytes, std::string_view label);

/// The same with the number of a code page (see `charset_labels.h`).
std::string textInPage(std::string_view bytes, std::uint32_t page);

}  // namespace tessolt::reading
