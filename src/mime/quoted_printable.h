#pragma once

#include <string_view>

namespace borvik {

class DataBuffer;

/// Quoted-printable bodies (RFC 2045, section 6.7).

/// Appends the coded bytes; no line is longer than 76 characters. CRLF stays a line end, any other
/// CR or LF is coded, and so are a "." and "From " at the start of a line, which relays tend to
/// change. False when memory ran out.
bool appendQuotedPrintable(std::string_view bytes, DataBuffer& out);

/// Appends the decoded bytes. The text ends at its first zero byte. Every line end becomes CRLF;
/// blanks in front of it go. "=" without two hex digits behind it stays as it is. Tests look at the
/// low 7 bits of a byte. False when memory ran out.
bool appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out);

/// Value of a hex digit by the low 7 bits of `c`, -1 for any other byte.
int hexValue(char c);

/// The two upper-case digits of every byte stand at twice its value.
extern const char* const kHexPairs;

}  // namespace borvik
