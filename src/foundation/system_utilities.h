/// Unique file names and texts from the settings.
#pragma once

#include <cstddef>

#include "foundation/narrow_string.h"

namespace tessolt {

/// The root that holds the settings of the machine.
inline constexpr const char* kRootLocalMachine = "HKEY_LOCAL_MACHINE";

/// Fills `result` with a path in `folder` that doesn't exist yet: prefix, 20 hexadecimal digits
/// made of thread, time and random number, and suffix. `prefix` and `suffix` may be null; an empty
/// folder is the root folder.
void MakeUniqueName(const char* folder, const char* prefix, const char* suffix, CZncString& result);

/// Fills `dest`, of `size` bytes, with the named text in the ANSI code page, or with `defaultText`
/// when it is missing or doesn't fit with its zero byte. Returns `dest`. `use64BitView` makes no
/// difference: there is one view.
char* RegReadString(const char* root, const char* key, const char* value, const char* defaultText,
                    char* dest, std::size_t size, bool use64BitView);
/// The same into a string, for texts of at most 510 bytes.
CZncString& RegReadString(const char* root, const char* key, const char* value,
                          const char* defaultText, CZncString& dest, bool use64BitView);

}  // namespace tessolt
