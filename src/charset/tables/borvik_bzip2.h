#pragma once

#include <string_view>

#include "base/data_buffer.h"

namespace borvik {

/// One-call decompression of the packed tables: a magic number, the unpacked length, a bzip2
/// stream.
class BorvikBzip2 {
public:
    /// Replaces `out` by the unpacked bytes. False, with `out` empty, when the magic number is
    /// wrong or the stream is damaged or longer than it says. Throws `std::bad_alloc`.
    static bool unpack(std::string_view packed, DataBuffer& out);
};

}  // namespace borvik
