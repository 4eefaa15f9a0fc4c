#pragma once

#include <cstddef>
#include <string_view>

namespace borvik {

/// Base64 (RFC 2045, section 6.8) between memory and memory. The operations choose the widest form
/// that the processor runs; those in `scalar` are the same byte for byte on any processor.

/// Line length of MIME bodies, without the line end.
inline constexpr std::size_t kMimeLineLength = 76;
/// Bytes that one full line of base64 holds.
inline constexpr std::size_t kBase64LineBytes = kMimeLineLength / 4 * 3;

/// Characters that `count` bytes become, without line ends.
constexpr std::size_t base64Size(std::size_t count) {
    return (count + 2) / 3 * 4;
}

/// Characters that `count` bytes become as body lines: CRLF behind every full line and at the end.
constexpr std::size_t base64LinesSize(std::size_t count) {
    return count == 0 ? 0 : base64Size(count) + count / kBase64LineBytes * 2 + 2;
}

/// Room that decoding `length` characters needs, more than it can write.
constexpr std::size_t base64DecodeRoom(std::size_t length) {
    return length / 4 * 3 + 3 + 32;
}

/// Writes `base64Size` characters, padded with "="; returns the place behind them.
char* encodeBase64Run(std::string_view bytes, char* out);

/// Writes `base64LinesSize` characters: lines of 76, each with CRLF, and CRLF at the end in any
/// case, so that a last full line is followed by an empty one. Nothing for no bytes. Returns the
/// place behind.
char* encodeBase64Lines(std::string_view bytes, char* out);

/// Decodes into `out`, which has `base64DecodeRoom`; returns the place behind the bytes written.
/// "=" or a zero byte ends the text. Line ends, blanks, tabs and bytes outside "+" to "z" are
/// skipped. A byte within that range that isn't of the alphabet counts as the value 127, the upper
/// bit of which runs into its neighbour. Of a last incomplete group the whole bytes are written.
char* decodeBase64Run(std::string_view text, char* out);

namespace scalar {
char* encodeBase64Run(std::string_view bytes, char* out);
char* encodeBase64Lines(std::string_view bytes, char* out);
char* decodeBase64Run(std::string_view text, char* out);
}  // namespace scalar

}  // namespace borvik
