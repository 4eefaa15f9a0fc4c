#pragma once

#include <cstddef>

#include "mime/coding/base64.h"

/// The lines that the quoted-printable encoders write.
namespace borvik::quoted_printable {

/// Content of a line, a soft break's "=" not counted.
inline constexpr std::size_t kMaxColumn = kMimeLineLength - 1;
/// From this column a coded byte doesn't fit any more.
inline constexpr std::size_t kLastCodedColumn = kMaxColumn - 2;

/// Printable ASCII without "=", and blanks, which may need coding at the end of a line.
constexpr bool isPlain(char c) {
    return (c >= 32 && c <= 126 && c != '=') || c == '\t';
}

}  // namespace borvik::quoted_printable
