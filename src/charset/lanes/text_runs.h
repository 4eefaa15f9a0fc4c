#pragma once

#include <cstddef>
#include <cstdint>

#include "charset/lanes/text_cursor.h"
#include "charset/tables/conversion_tables.h"

namespace borvik {

/// Where a UTF-7 text stands between two characters, when no bits are left over from a digit.
struct Utf7Run {
    /// Within a coded run.
    bool coded = false;
    /// No digit of the run was read yet, and a unit was made of its digits. For decoding alone.
    bool first = false;
    bool wroteOne = false;
};

/// The characters that an escape of ISO-2022-JP has selected.
enum class JisSet : std::uint8_t { kAscii, kKana, kDoubleByte };

/// The fast lanes of the conversion loops. Each converts what it can take in wide steps and stops
/// in front of what it can't, be it at once: the loops of `text_kernels.h` know every case and go
/// on with the next characters one by one. So any set of lanes gives the same output.
///
/// U+0000, bytes and units without a character, and ill-formed text are left to the loops.
struct TextRuns {
    /// ASCII to ASCII, and UTF-16 to ASCII.
    void (*copyAscii)(TextCursor& c);
    void (*utf16ToAscii)(TextCursor& c);
    /// Pages of one byte and of two bytes a character to UTF-16, the former to UTF-8 too.
    void (*singleByteToUtf16)(const DecodeTable& table, TextCursor& c);
    void (*singleByteToUtf8)(const DecodeTable& table, TextCursor& c);
    void (*doubleByteToUtf16)(const DecodeTable& table, TextCursor& c);
    /// UTF-16 to pages of one byte and of two bytes a character.
    void (*utf16ToSingleByte)(const EncodeTable& table, TextCursor& c);
    void (*utf16ToDoubleByte)(const EncodeTable& table, TextCursor& c);
    /// Between UTF-8 and UTF-16, a unit for each sequence of 1 to 3 bytes.
    void (*utf8ToUtf16)(TextCursor& c);
    void (*utf16ToUtf8)(TextCursor& c);
    /// Between well-formed UTF-8 and UTF-16, whose pairs of surrogates are sequences of 4 bytes.
    /// U+0000 is a character here.
    void (*utf8ToPairs)(TextCursor& c);
    void (*pairsToUtf8)(TextCursor& c);
    /// The units that `length` bytes of well-formed UTF-8 become, and the bytes of so many units, 3
    /// for half a pair alone.
    std::size_t (*unitsOfUtf8)(const std::uint8_t* in, std::size_t length);
    std::size_t (*utf8BytesOfPairs)(const std::uint8_t* in, std::size_t units);
    /// Between UTF-7 and UTF-16.
    void (*utf7ToUtf16)(TextCursor& c, Utf7Run& run);
    void (*utf16ToUtf7)(TextCursor& c, Utf7Run& run);
    /// ISO-2022-JP to UTF-16 by the table of Shift_JIS.
    void (*jisToUtf16)(const DecodeTable& shiftJis, TextCursor& c, JisSet& set);
};

/// The best lanes for this processor, chosen at the first call, by any thread.
const TextRuns& nativeRuns();

/// The plain form of the two that count.
std::size_t plainUnitsOfUtf8(const std::uint8_t* in, std::size_t length);
std::size_t plainUtf8BytesOfPairs(const std::uint8_t* in, std::size_t units);

/// Lanes in plain code for any processor, which do no more than ASCII.
const TextRuns& portableRuns();

}  // namespace borvik
