#pragma once

#include <string_view>

#include "charset/lanes/text_runs.h"

namespace borvik {

class DataBuffer;

/// UTF-16 in host order to UTF-7 (RFC 2152), appended to `out`. A byte-order mark in front is
/// dropped. The optional direct characters are coded, and every coded run ends in "-". Returns
/// false only without memory.
bool utf16ToUtf7(std::string_view utf16, DataBuffer& out, const TextRuns& runs = nativeRuns());

/// UTF-7 to UTF-16 in host order, appended to `out`. False for input that is not well-formed; what
/// can be made of it is written all the same: a byte from 0x80 as 0xFF80 to 0xFFFF, a 0 byte not at
/// all.
bool utf7ToUtf16(std::string_view utf7, DataBuffer& out, const TextRuns& runs = nativeRuns());

}  // namespace borvik
