#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "charset/japanese.h"
#include "charset/lanes/text_cursor.h"
#include "charset/lanes/text_runs.h"
#include "charset/tables/conversion_tables.h"

namespace borvik {

/// A conversion loop from ISO-2022-JP by way of Shift_JIS to UTF-16 that goes on where it stopped.
/// The lanes take what they can; the rest goes by Shift_JIS a few bytes at a time.
class Iso2022JpReader {
public:
    /// `shiftJis` must outlive the object.
    Iso2022JpReader(const TextRuns& runs, const DecodeTable& shiftJis)
        : runs_(runs), table_(shiftJis) {}

    /// False when it dropped a character. Does nothing when there is room for less than
    /// `kFewestUnits`.
    bool operator()(TextCursor& c);

    static constexpr std::size_t kFewestUnits = TextCursor::kStepRoom + 64;

private:
    static constexpr std::size_t kBytesPerStep = 256;

    const TextRuns& runs_;
    const DecodeTable& table_;
    Iso2022JpDecoder decoder_;
    /// A first byte of a pair may wait here for the second one.
    std::size_t held_ = 0;
    std::array<std::uint8_t, 1 + kBytesPerStep + TextCursor::kStepRoom> bytes_;
};

}  // namespace borvik
