#pragma once

#include <string>
#include <string_view>

#include "mime/mime_message2.h"

namespace borvik {

/// Bytes with CR, LF, zero and 8-bit bytes made visible.
std::string visible(std::string_view bytes);

/// A tree in one line: a leaf as its type (and its charset, if it has one) with its body, a
/// multipart as its type with its parts in brackets.
std::string describe(const MimeMessage2& node);

/// The tree that a file's bytes, or a string's, are parsed into.
std::string describeFile(std::string_view bytes);
std::string describeString(std::string_view text);

/// The whole text of a node.
std::string rendered(const MimeMessage2& node);

}  // namespace borvik
