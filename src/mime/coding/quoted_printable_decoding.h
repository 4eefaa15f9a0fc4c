#pragma once

#include <string_view>

namespace borvik {

class DataBuffer;

/// Appends the decoded bytes of a quoted-printable body (RFC 2045, section 6.7). The text ends at
/// its first zero byte. Every line end becomes CRLF; blanks in front of it go. "=" without two hex
/// digits behind it stays as it is. Tests look at the low 7 bits of a byte, but for the line feed
/// that ends a line. False when memory ran out.
bool appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out);

namespace scalar {
/// The same line by line, for any processor.
bool appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out);
}  // namespace scalar

}  // namespace borvik
