#pragma once

#include <string>
#include <string_view>

namespace tessolt::reading {

struct MediaType {
    std::string_view type;
    std::string_view subtype;  ///< Empty when the field holds no media type.
};

/// The media type of a Content-Type field (RFC 2045 5.1), without parameters.
MediaType mediaTypeOf(std::string_view value);

/// The first word of a field such as Content-Disposition or Content-Transfer-Encoding.
std::string_view tokenOf(std::string_view value);

/// A parameter's value as it stands between quote marks or behind the "=", in any charset; empty
/// when there is none. For boundaries and labels.
std::string rawParameter(std::string_view value, std::string_view name);

/// A parameter's value in UTF-8, by RFC 2231: charset, language and continuations. `name*` wins
/// over `name*0` and that one over `name`. Encoded words are decoded too, as many write them.
/// `label` is what 8-bit text is in that isn't UTF-8. Empty when there is none.
std::string parameter(std::string_view value, std::string_view name, std::string_view label = {});

}  // namespace tessolt::reading
