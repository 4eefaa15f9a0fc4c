/// What a program knows of its memory and tells the system: blocks about to be filled, and done
/// with.
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

/// Tells the system that what lies from `begin` up to `end`, in storage of the caller's own that
/// is no file's, is never read again: whole pages of it are free from now on.
void releasePages(const void* begin, const void* end) noexcept;

}  // namespace platform
