/// Long blocks of memory that are about to be filled.
#pragma once

#include <cstddef>

namespace platform {

/// A shorter block has no whole large page for sure, or gains nothing worth a call.
inline constexpr std::size_t kLeastForLargePages = std::size_t{4} << 20;

/// Asks the system to give its large pages to the block: each costs one fault, as every 4 KB do
/// otherwise. Nothing is asked for a short block, and nothing changes where there are none.
void askForLargePages(void* block, std::size_t size) noexcept;

/// A string that has room for `length` units and is to be resized to it.
template <class String>
void reserveLarge(String& text, std::size_t length) {
    text.reserve(length);
    if (length * sizeof(typename String::value_type) >= kLeastForLargePages) {
        askForLargePages(text.data(), length * sizeof(typename String::value_type));
    }
}

}  // namespace platform
