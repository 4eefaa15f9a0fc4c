#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/narrow_string.h"

namespace tessolt {

/// Replaces a password by upper-case hexadecimal digits in the form that the queue's reader undoes:
/// three key bytes, then each byte of the text and a closing zero byte with a key byte added in
/// turn, then filler up to 28 digits. Anybody can undo it. An empty text stays empty; otherwise the
/// thread's small random numbers start anew from 1.
void Scramble(CZncString& text);

/// The password in the scrambled form; nothing when `digits` isn't one.
std::optional<std::string> Unscramble(std::string_view digits);

}  // namespace tessolt
