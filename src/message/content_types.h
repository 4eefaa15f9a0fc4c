#pragma once

#include <string_view>

namespace tessolt {

/// The media type (RFC 2046) of a file by what follows the last "." of its path, with case.
/// "application/octet-stream" for an extension that isn't known or is missing. NUL-terminated.
std::string_view ContentTypeForFile(std::string_view path);

}  // namespace tessolt
