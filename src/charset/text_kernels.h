#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "charset/lanes/text_cursor.h"
#include "charset/lanes/text_runs.h"
#include "charset/lanes/utf8_bytes.h"
#include "charset/tables/conversion_tables.h"

/// The conversion loops. Each goes on from where a cursor stands until the input is used up or the
/// output is past its limit, and returns false when it dropped a character that counts as a
/// failure. The lanes take what they can; the loops do the rest, a character at a time.
namespace borvik::kernels {

/// A single-byte page to UTF-16.
bool singleByteToUnicode(const TextRuns& runs, const DecodeTable& table, TextCursor& c);

/// A double-byte page to UTF-16. A pair comes before a single byte; a byte that begins nothing is
/// dropped by itself, and the next one is looked at anew. When the text `goesOn` behind the input,
/// a last byte that can begin a pair is left.
bool multiByteToUnicode(const TextRuns& runs, const DecodeTable& table, TextCursor& c,
                        bool goesOn = false);

/// UTF-16 of a whole number of units to a page.
bool unicodeToMultiByte(const TextRuns& runs, const EncodeTable& table, TextCursor& c);

/// UTF-16 of a whole number of units to UTF-8, each unit by itself. U+0000 is left out.
bool unicodeToUtf8(const TextRuns& runs, TextCursor& c);

/// UTF-8 to UTF-16. Each byte that begins no sequence of 1 to 3 bytes is dropped without a report.
bool utf8ToUnicode(const TextRuns& runs, TextCursor& c);

/// A single-byte page to UTF-8, by way of UTF-16 where no lane goes straight.
bool singleByteToUtf8(const TextRuns& runs, const DecodeTable& table, TextCursor& c);

/// Runs `first` into `second` through a small buffer, so that the units between the two never leave
/// the cache. `first` writes UTF-16 and `second` at most 3 bytes a unit.
template <typename First, typename Second>
bool pipe(TextCursor& c, First first, Second second) {
    constexpr std::size_t kUnits = 2048;
    constexpr std::size_t kTouchedUnits = TextCursor::kStepRoom / sizeof(char16_t);
    constexpr std::size_t kFewestUnits = kTouchedUnits + 384;
    alignas(16) std::array<std::uint8_t, 2 * (kUnits + kTouchedUnits)> units;
    bool complete = true;
    while (c.goesOn()) {
        const auto room = static_cast<std::size_t>(c.outLimit - c.out) / kLongestUtf8Unit;
        if (room < kFewestUnits) {
            break;
        }
        const std::size_t limit = std::min(kUnits, room - kTouchedUnits);
        TextCursor decode{c.in, c.inEnd, units.data(), units.data() + 2 * limit};
        complete = first(decode) && complete;
        c.in = decode.in;
        TextCursor encode{units.data(), decode.out, c.out, c.outLimit};
        complete = second(encode) && complete;
        c.out = encode.out;
    }
    return complete;
}

}  // namespace borvik::kernels
