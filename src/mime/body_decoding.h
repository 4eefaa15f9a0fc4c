#pragma once

#include <cstdint>
#include <string_view>

#include "base/data_buffer.h"

namespace borvik {

/// From the coded body of a leaf to the stored one: a text ends up in UTF-8, whatever its label
/// says, and other bodies as their bytes. All of them replace `body`. A code page of 0 means that
/// there is no label.

/// The bytes as they are, where they stand if `borrows`; with `convert`, taken from the code page
/// to UTF-8. 8-bit text without a label counts as iso-8859-1, or as UTF-8 when it looks like it; so
/// does text with a single-byte label that its bytes refute.
void decode8BitBody(std::string_view text, std::uint32_t codePage, bool convert, bool borrows,
                    DataBuffer& body);

/// Base64 (RFC 2045, section 6.8), then from the code page to UTF-8. With `usesUp` the memory of
/// the text is given back while it is read, as far as it is whole pages.
void decodeBase64Body(std::string_view text, std::uint32_t codePage, bool usesUp, DataBuffer& body);

/// The second half of that: `body` holds the bytes and is taken to UTF-8 in place.
void convertBase64Body(std::uint32_t codePage, DataBuffer& body);

/// Quoted-printable (RFC 2045, section 6.7), then from the code page to UTF-8. True when the bytes
/// are windows-1252 under an iso-8859-1 label, and were read as such.
bool decodeQuotedPrintableBody(std::string_view text, std::uint32_t codePage, DataBuffer& body);

}  // namespace borvik
