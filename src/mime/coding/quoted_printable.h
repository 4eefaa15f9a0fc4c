#pragma once

#include <string_view>

namespace borvik {

class DataBuffer;

/// Appends bytes as a quoted-printable body (RFC 2045, section 6.7); no line is longer than 76
/// characters. CRLF stays a line end, any other CR or LF is coded, and so are a "." and "From " at
/// the start of a line, which relays tend to change. False when memory ran out.
bool appendQuotedPrintable(std::string_view bytes, DataBuffer& out);

namespace scalar {
/// The same byte by byte, for any processor.
bool appendQuotedPrintable(std::string_view bytes, DataBuffer& out);
}  // namespace scalar

}  // namespace borvik
