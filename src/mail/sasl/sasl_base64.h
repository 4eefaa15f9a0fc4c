#pragma once

#include <string>
#include <string_view>

namespace tessolt {

/// The base64 of logins (RFC 4648, 4), bytes of any value on the plain side.
std::string Base64Encoded(std::string_view bytes);
/// Bad input gives rubbish, which no login survives.
std::string Base64Decoded(std::string_view text);

}  // namespace tessolt
