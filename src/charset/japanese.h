#pragma once

#include <cstddef>

#include "charset/lanes/text_runs.h"

namespace borvik {

class DataBuffer;

/// A conversion loop from ISO-2022-JP to Shift_JIS that goes on where it stopped. Writes at most as
/// many bytes as it reads.
class Iso2022JpDecoder {
public:
    bool operator()(TextCursor& c);

    /// Which characters come next. Between two calls this may be changed.
    JisSet set = JisSet::kAscii;

private:
    void readEscape(TextCursor& c);
    void readPairs(TextCursor& c);
};

/// ISO-2022-JP (RFC 1468) from and to Shift_JIS, byte by byte. Both operations append to `out`.
class Japanese {
public:
    Japanese() = default;
    virtual ~Japanese() = default;
    Japanese(const Japanese&) = default;
    Japanese& operator=(const Japanese&) = default;

    /// Also reads half-width katakana (ESC "(" "I"). Input that ends within an escape or a
    /// character loses that one.
    void iso2022JpToShiftJis(const void* input, std::size_t length, DataBuffer& out) const;

    /// Half-width katakana become full-width, with a sound mark behind them joined in. The text
    /// ends in ASCII, and every line does.
    void shiftJisToIso2022Jp(const void* input, std::size_t length, DataBuffer& out) const;
};

}  // namespace borvik
