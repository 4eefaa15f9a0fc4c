#pragma once

#include <cstddef>

namespace borvik {

class DataBuffer;

/// ISO-2022-KR (RFC 1557) from and to the bytes of the Korean pages. Both operations append to
/// `out`.
class Korean {
public:
    Korean() = default;
    virtual ~Korean() = default;
    Korean(const Korean&) = default;
    Korean& operator=(const Korean&) = default;

    /// A character that is cut off at the end of the input is lost.
    void iso2022KrToKsc(const void* input, std::size_t length, DataBuffer& out) const;

    /// The text begins with the designation, even where it is all ASCII; an empty one stays empty.
    /// No SI stands at its end.
    void kscToIso2022Kr(const void* input, std::size_t length, DataBuffer& out) const;
};

}  // namespace borvik
