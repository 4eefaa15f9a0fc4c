#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessolt::reading {

/// Text in another charset.
struct Transcoded {
    std::string bytes;
    std::size_t lost = 0;  ///< Characters that aren't in it as they were.
};

/// Converts text between code pages (see `charset_labels.h`). What can't be read becomes U+FFFD,
/// and what the target has no character for is left out; both are counted. Unicode is written
/// without a byte order mark. Nothing for a page that can't be read, or can't be written.
std::optional<Transcoded> transcode(std::string_view bytes, std::uint32_t from, std::uint32_t to);

}  // namespace tessolt::reading
