/// How the operations of the interfaces take a text.
#pragma once

#include <tessolt/automation_types.h>

#include <cstddef>

namespace tessolt {

/// A text for the length of one call: an automation string that stays its owner's, null for empty.
/// Nothing but that pointer, so that it is passed as one.
class TextArgument {
public:
    /// Stands for this string.
    constexpr TextArgument(BSTR text) noexcept : text_(text) {}
    /// Stands for an empty one.
    constexpr TextArgument(std::nullptr_t = nullptr) noexcept {}

    /// The string itself.
    constexpr operator BSTR() const noexcept { return text_; }

private:
    BSTR text_ = nullptr;
};

}  // namespace tessolt
