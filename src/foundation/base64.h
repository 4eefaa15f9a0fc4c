#pragma once

#include <cstdint>

#include "foundation/base_object.h"
#include "foundation/narrow_string.h"

namespace tessolt {

/// The base64 of RFC 4648 with padding and without line breaks, for logins and encoded words. It
/// decodes whatever it is given: bad input is no error and gives rubbish.
class CZncBase64 : public CZncBase {
public:
    CZncBase64() : CZncBase("CZncBase64") {}

    /// Returns 0, or -1 if memory fails and `result` is unchanged.
    std::int32_t Encode(const void* data, std::uint32_t length, CZncString& result) const;
    /// Replaces `text` by its encoded form.
    std::int32_t EncodeString(CZncString& text) const;

    /// Decodes `text` into `dest`, at most `length` bytes of it, and sets `length` to the size of
    /// all decoded bytes. `dest` may be null when only that is wanted. Bytes 7 to 13 and blanks are
    /// skipped, and a "=" ends nothing. Returns 0, or -1 if memory fails.
    std::int32_t Decode(std::uint8_t* dest, std::uint32_t& length, const CZncString& text) const;
    /// Replaces `text` by its decoded form, up to its first zero byte.
    std::int32_t DecodeString(CZncString& text) const;
};

}  // namespace tessolt
