#include "charset/text_kernels.h"

#include <cstring>

#include "charset/encoding_utf8.h"

namespace borvik::kernels {
namespace {

/// Characters that a loop takes before it tries the lanes again.
constexpr std::size_t kStep = 16;

/// As above, in the loops that are quick by themselves.
constexpr std::size_t kLongStep = 64;
constexpr unsigned kUnrolled = 8;

/// Bytes that go by way of UTF-16 before a lane that goes straight is tried again.
constexpr std::size_t kStretch = 2048;

const std::uint8_t* stepEnd(const TextCursor& c, std::size_t bytes) {
    return c.in + std::min(c.left(), bytes);
}

/// `kLongStep` units that all have a byte. False, with nothing done, when some have none. The bytes
/// of a word of units go out together.
bool encodeBytes(const EncodeTable& table, TextCursor& c) {
    constexpr std::uint64_t kLowBits = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    const std::uint8_t* bytes = table.bytes.data();
    const std::uint8_t* in = c.in;
    std::uint8_t* out = c.out;
    std::uint64_t missing = 0;
    for (std::size_t i = 0; i < kLongStep; i += kUnrolled) {
        std::uint64_t units[2];
        std::memcpy(units, in + 2 * i, sizeof units);
        std::uint64_t made = 0;
        for (unsigned k = 0; k < kUnrolled; ++k) {
            const std::uint64_t byte = bytes[units[k / 4] >> (16 * (k % 4)) & 0xFFFF];
            made |= byte << (8 * k);
        }
        // The high bits become set where a byte is 0, and above.
        missing |= (made - kLowBits) & ~made;
        std::memcpy(out + i, &made, sizeof made);
    }
    if ((missing & kHighBits) != 0) {
        return false;
    }
    c.in += 2 * kLongStep;
    c.out += kLongStep;
    return true;
}

/// The same for double-byte pages. Without a branch for the length, which changes all the time.
bool encodePairs(const EncodeTable& table, TextCursor& c) {
    const std::uint16_t* cells = table.cells.data();
    const std::uint8_t* in = c.in;
    std::uint8_t* out = c.out;
    std::uint32_t missing = 0;
    for (std::size_t i = 0; i < kLongStep; i += kUnrolled) {
        for (std::size_t k = 0; k < kUnrolled; ++k) {
            const std::uint32_t cell = cells[loadUnit(in + 2 * (i + k))];
            const auto stored = static_cast<std::uint16_t>(cell);
            std::memcpy(out, &stored, sizeof stored);
            // The high bits become set where the cell is 0, and below where it is one byte.
            missing |= cell - 1;
            out += 2 - ((cell - 0x100U) >> 31);
        }
    }
    if (missing > 0xFFFF) {
        return false;
    }
    c.in += 2 * kLongStep;
    c.out = out;
    return true;
}

/// The next units one by one: U+0000 is a 0 byte in every page, and others without bytes are
/// dropped.
bool encodeDropping(const EncodeTable& table, TextCursor& c) {
    bool complete = true;
    for (const std::uint8_t* end = stepEnd(c, 2 * kLongStep); c.in < end; c.in += 2) {
        const char16_t unit = loadUnit(c.in);
        const std::uint16_t cell = table.cell(unit);
        std::memcpy(c.out, &cell, sizeof cell);
        const bool counts = cell != 0 || unit == 0;
        c.out += static_cast<unsigned>(counts) + (cell > 0xFF ? 1U : 0U);
        complete = complete && counts;
    }
    return complete;
}

}  // namespace

bool singleByteToUnicode(const TextRuns& runs, const DecodeTable& table, TextCursor& c) {
    bool complete = true;
    while (c.goesOn()) {
        runs.singleByteToUtf16(table, c);
        if (!c.goesOn()) {
            break;
        }
        for (const std::uint8_t* end = stepEnd(c, kStep); c.in < end; ++c.in) {
            const char16_t unit = table.single[*c.in];
            if (unit == 0 && *c.in != 0) {
                complete = false;
            } else {
                c.out = putUnit(unit, c.out);
            }
        }
    }
    return complete;
}

bool multiByteToUnicode(const TextRuns& runs, const DecodeTable& table, TextCursor& c,
                        bool goesOn) {
    bool complete = true;
    while (c.goesOn()) {
        runs.doubleByteToUtf16(table, c);
        if (!c.goesOn()) {
            break;
        }
        for (std::size_t i = 0; i < kStep && c.in < c.inEnd; ++i) {
            const std::uint8_t lead = *c.in;
            if (goesOn && c.left() == 1 && table.isLead(lead)) {
                return complete;
            }
            char16_t unit = c.left() >= 2 ? table.pair(lead, c.in[1]) : u'\0';
            if (unit != 0) {
                c.in += 2;
            } else {
                ++c.in;
                unit = table.single[lead];
                if (unit == 0 && lead != 0) {
                    complete = false;
                    continue;
                }
            }
            c.out = putUnit(unit, c.out);
        }
    }
    return complete;
}

bool unicodeToMultiByte(const TextRuns& runs, const EncodeTable& table, TextCursor& c) {
    bool complete = true;
    while (c.goesOn()) {
        if (table.isMultiByte()) {
            runs.utf16ToDoubleByte(table, c);
        } else {
            runs.utf16ToSingleByte(table, c);
        }
        if (!c.goesOn()) {
            break;
        }
        const bool done = c.left() >= 2 * kLongStep &&
                          (table.isMultiByte() ? encodePairs(table, c) : encodeBytes(table, c));
        complete = (done || encodeDropping(table, c)) && complete;
    }
    return complete;
}

bool unicodeToUtf8(const TextRuns& runs, TextCursor& c) {
    while (c.goesOn()) {
        runs.utf16ToUtf8(c);
        if (!c.goesOn()) {
            break;
        }
        for (const std::uint8_t* end = stepEnd(c, 2 * kStep); c.in < end; c.in += 2) {
            c.out = putUtf8Unit(loadUnit(c.in), c.out);
        }
    }
    return true;
}

bool utf8ToUnicode(const TextRuns& runs, TextCursor& c) {
    while (c.goesOn()) {
        runs.utf8ToUtf16(c);
        if (!c.goesOn()) {
            break;
        }
        for (std::size_t i = 0; i < kStep && c.in < c.inEnd; ++i) {
            char16_t unit = 0;
            const auto remaining = static_cast<std::uint32_t>(std::min<std::size_t>(c.left(), 3));
            const std::int32_t length = EncodingUtf8::readSequence(c.in, remaining, unit);
            if (length < 0) {
                ++c.in;
                continue;
            }
            c.out = putUnit(unit, c.out);
            c.in += length;
        }
    }
    return true;
}

bool singleByteToUtf8(const TextRuns& runs, const DecodeTable& table, TextCursor& c) {
    bool complete = true;
    while (c.goesOn()) {
        runs.singleByteToUtf8(table, c);
        TextCursor stretch{c.in, stepEnd(c, kStretch), c.out, c.outLimit};
        const auto decode = [&](TextCursor& d) { return singleByteToUnicode(runs, table, d); };
        const auto encode = [&](TextCursor& e) { return unicodeToUtf8(runs, e); };
        complete = pipe(stretch, decode, encode) && complete;
        if (stretch.in == c.in) {
            break;
        }
        c.in = stretch.in;
        c.out = stretch.out;
    }
    return complete;
}

}  // namespace borvik::kernels
