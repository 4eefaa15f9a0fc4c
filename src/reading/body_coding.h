#pragma once

#include <string>
#include <string_view>

namespace tessolt::reading {

/// Whether the bytes of a body under that Content-Transfer-Encoding are others than its text.
bool isCoded(std::string_view transferEncoding);

/// The bytes of a body under its Content-Transfer-Encoding (RFC 2045 6); those of an unknown one
/// are the text itself.
std::string decodedBody(std::string_view body, std::string_view transferEncoding);

/// Appends what base64 stands for. Bytes outside the alphabet are skipped. Text behind the padding
/// counts when it is base64 to its end, as where two pieces were joined, and else is no part of the
/// bytes.
void appendBase64(std::string_view text, std::string& out);

/// Appends what quoted-printable stands for. Line ends stay as they are; blanks in front of them
/// go; a "=" that begins nothing stays.
void appendQuotedPrintable(std::string_view text, std::string& out);

}  // namespace tessolt::reading
