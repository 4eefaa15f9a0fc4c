#pragma once

#include <string_view>

namespace borvik {

class DataBuffer;

/// UTF-8 to UTF-32 in host order, or most significant byte first, appended to `out`. Surrogates
/// that are written as 3-byte sequences become values of their own. Stops with false at the first
/// sequence that is cut off or ill-formed; what stands before it is written.
bool utf8ToUtf32Le(std::string_view utf8, DataBuffer& out);
bool utf8ToUtf32Be(std::string_view utf8, DataBuffer& out);

/// UTF-32 in host order to UTF-8, appended to `out`. Surrogates are written as they are, values
/// from 0x200000 as U+FFFD, and bytes behind the last whole value are ignored. False for 1 to 3
/// bytes.
bool utf32ToUtf8(std::string_view utf32, DataBuffer& out);

}  // namespace borvik
