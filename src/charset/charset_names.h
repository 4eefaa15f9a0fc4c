#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace borvik {

/// The name that is written out for a page. The text is NUL-terminated.
struct PreferredCharsetName {
    std::uint32_t codePage;
    std::string_view name;
};

/// A spelling that is read, in lower case and with "-" for "_", and its page.
struct AcceptedCharsetName {
    std::string_view name;
    std::uint32_t codePage;
};

/// All preferred names, sorted by page.
std::span<const PreferredCharsetName> preferredCharsetNames();

/// All accepted spellings, sorted by name.
std::span<const AcceptedCharsetName> acceptedCharsetNames();

/// No accepted spelling is longer.
inline constexpr std::size_t kLongestCharsetName = 32;

}  // namespace borvik
