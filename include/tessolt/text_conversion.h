/// Conversion between UTF-8 (RFC 3629) and UTF-16. A part of a text that is no character becomes
/// U+FFFD: ill-formed bytes, as many as could begin one, and a lone half of a surrogate pair. Zeros
/// are characters like others. Usable from C11 and C++17.
#pragma once

#include <tessolt/automation_types.h>

/// The number of UTF-16 units that `length` bytes of UTF-8 become.
TESSOLT_API size_t TessoltUtf16Length(const char* utf8, size_t length);
/// Converts `length` bytes into at most `room` units, as many whole characters as fit, without a
/// closing zero. Returns the number of units written.
TESSOLT_API size_t TessoltUtf8ToUtf16(const char* utf8, size_t length, OLECHAR* units, size_t room);
/// The number of bytes of UTF-8 that `length` units become.
TESSOLT_API size_t TessoltUtf8Length(const OLECHAR* units, size_t length);
/// Converts `length` units into at most `room` bytes, as many whole characters as fit, without a
/// closing zero. Returns the number of bytes written.
TESSOLT_API size_t TessoltUtf16ToUtf8(const OLECHAR* units, size_t length, char* utf8, size_t room);
/// The number of a charset's code page, by any of its names in any case: those of the IANA
/// registry, and "cp1252", "windows-1252" and the like. 0 for a name that isn't known.
TESSOLT_API uint32_t TessoltCodePage(const char* name, size_t length);
/// Converts text between two code pages. The result holds bytes, `SysStringByteLen` of them, and is
/// the caller's to free. What can't be read becomes U+FFFD, what the target has no character for is
/// left out; `*lost` gets the number of both. Unicode is written without a byte order mark. Null
/// for a page that can't be read, or can't be written, with `*lost` 1, and with 0 when memory ends.
TESSOLT_API BSTR TessoltConvertBytes(const void* bytes, size_t size, uint32_t from, uint32_t to,
                                     size_t* lost);
/// A new automation string from `length` bytes of UTF-8, which the caller frees. Null when memory
/// ends or the text is beyond the 2^31 - 1 units that such a string can hold.
TESSOLT_API BSTR TessoltAllocUtf8(const char* utf8, size_t length);
