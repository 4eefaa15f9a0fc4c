#pragma once

#include <cstdint>
#include <string_view>

#include "base/data_buffer.h"
#include "base/string_buffer.h"

namespace borvik {

/// Operations that convert the text of a buffer with the conversion engine. Characters without a
/// mapping are dropped.

/// Replaces an ASCII character in a text that may be UTF-8.
void replaceCharSafe(StringBuffer& text, char from, char to);

/// Converts the content in place. Nothing for an empty buffer, for a code page of 0, and where
/// ASCII text is the same in both pages.
void convertEncoding(StringBuffer& text, std::uint32_t from, std::uint32_t to);

/// The whole content from UTF-8 to the ANSI code page, in place.
void utf8ToAnsi(StringBuffer& text);

/// The whole content from the ANSI code page to `to`, in place.
void ansiToCodePage(StringBuffer& text, std::uint32_t to);

/// Replaces `out` by the UTF-8 form of UTF-16LE text.
void utf16ToUtf8(const DataBuffer& utf16, DataBuffer& out);

/// Whether bytes that claim to be in a single-byte code page are really UTF-8: they hold a two-byte
/// UTF-8 sequence of Latin-1, and a byte that the page lacks.
bool isMislabelledUtf8(std::string_view bytes, std::uint32_t codePage);
inline bool isMislabelledUtf8(const DataBuffer& bytes, std::uint32_t codePage) {
    return isMislabelledUtf8(bytes.view(), codePage);
}

}  // namespace borvik
