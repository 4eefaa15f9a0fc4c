#include "charset/japanese.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "charset/lanes/text_runs.h"
#include "charset/output_room.h"

namespace borvik {
namespace {

constexpr std::uint8_t kEscape = 0x1B;
constexpr std::uint8_t kCellsPerRow = 94;
constexpr std::uint8_t kFirstCell = 0x21;
constexpr std::uint8_t kFirstExtensionRow = 0x79;
constexpr std::uint8_t kLastExtensionRow = 0x7C;

constexpr std::size_t kExtensionCount = 376;
/// The first rows of the list, which stand in the order of their Shift_JIS codes.
constexpr std::size_t kOrderedExtensions = 360;

/// Shift_JIS codes of the JIS rows 0x79 to 0x7C, 94 cells a row.
constexpr std::array<std::uint16_t, kExtensionCount> makeExtensions() {
    constexpr std::uint16_t kRanges[][2] = {
        {0xFA5C, 0xFA7E}, {0xFA80, 0xFAFC}, {0xFB40, 0xFB7E}, {0xFB80, 0xFBFC}, {0xFC40, 0xFC4B},
        {0x8145, 0x8145}, {0x8145, 0x8145}, {0xFA40, 0xFA49}, {0x81CA, 0x81CA}, {0xFA55, 0xFA57},
    };
    std::array<std::uint16_t, kExtensionCount> codes{};
    std::size_t count = 0;
    for (const auto& range : kRanges) {
        for (std::uint16_t code = range[0]; code <= range[1]; ++code) {
            codes[count++] = code;
        }
    }
    return codes;
}

constexpr std::array<std::uint16_t, kExtensionCount> kExtensions = makeExtensions();
static_assert(kExtensions[kOrderedExtensions - 1] == 0xFC4B && kExtensions.back() == 0xFA57);

constexpr std::uint8_t kFirstExtensionLead = 0xFA;
constexpr std::uint8_t kLastExtensionLead = 0xFC;

/// Row index + 1 in the list of each code with a lead byte of 0xFA to 0xFC; 0 for those not listed.
constexpr std::array<std::uint16_t, 3 * 256> makeExtensionIndex() {
    std::array<std::uint16_t, 3 * 256> index{};
    for (std::size_t i = 0; i < kExtensions.size(); ++i) {
        if (kExtensions[i] >> 8 >= kFirstExtensionLead) {
            index[kExtensions[i] - (kFirstExtensionLead << 8)] = static_cast<std::uint16_t>(i + 1);
        }
    }
    return index;
}

constexpr std::array<std::uint16_t, 3 * 256> kExtensionIndex = makeExtensionIndex();

/// Shift_JIS codes of the half-width katakana 0xA1 to 0xDF in full width.
constexpr std::uint16_t kFullWidth[] = {
    0x8142, 0x8175, 0x8176, 0x8141, 0x8145, 0x8392, 0x8340, 0x8342, 0x8344, 0x8346, 0x8348,
    0x8383, 0x8385, 0x8387, 0x8362, 0x815B, 0x8341, 0x8343, 0x8345, 0x8347, 0x8349, 0x834A,
    0x834C, 0x834E, 0x8350, 0x8352, 0x8354, 0x8356, 0x8358, 0x835A, 0x835C, 0x835E, 0x8360,
    0x8363, 0x8365, 0x8367, 0x8369, 0x836A, 0x836B, 0x836C, 0x836D, 0x836E, 0x8371, 0x8374,
    0x8377, 0x837A, 0x837D, 0x837E, 0x8380, 0x8381, 0x8382, 0x8384, 0x8386, 0x8388, 0x8389,
    0x838A, 0x838B, 0x838C, 0x838D, 0x838F, 0x8393, 0x814A, 0x814B,
};
constexpr std::uint8_t kFirstKatakana = 0xA1;
constexpr std::uint8_t kLastKatakana = 0xDF;
static_assert(std::size(kFullWidth) == kLastKatakana - kFirstKatakana + 1);

constexpr bool isWithin(unsigned value, unsigned low, unsigned high) {
    return value >= low && value <= high;
}

std::uint8_t* putPair(unsigned first, unsigned second, std::uint8_t* out) {
    out[0] = static_cast<std::uint8_t>(first);
    out[1] = static_cast<std::uint8_t>(second);
    return out + 2;
}

/// The bytes of a Shift_JIS character by the row and the cell of JIS. There are two kinds of trail
/// bytes: those of even rows, at 0, and those of odd ones, at 256.
struct ShiftJisOfJis {
    std::array<std::uint8_t, 256> leads{};
    std::array<std::uint8_t, 512> trails{};
};

constexpr ShiftJisOfJis makeShiftJisOfJis() {
    ShiftJisOfJis tables;
    for (unsigned i = 0; i < 256; ++i) {
        tables.leads[i] = static_cast<std::uint8_t>((i + 1) / 2 + (i >= 0x5F ? 0xB0 : 0x70));
        tables.trails[i] = static_cast<std::uint8_t>(i + 0x7E);
        tables.trails[256 + i] = static_cast<std::uint8_t>(i + (i < 0x60 ? 0x1F : 0x20));
    }
    return tables;
}

constexpr ShiftJisOfJis kShiftJisOfJis = makeShiftJisOfJis();

/// A JIS character as Shift_JIS.
std::uint8_t* putShiftJis(unsigned row, unsigned cell, std::uint8_t* out) {
    if (isWithin(row, kFirstExtensionRow, kLastExtensionRow)) {
        const int index = (static_cast<int>(row) - kFirstExtensionRow) * kCellsPerRow +
                          static_cast<int>(cell) - kFirstCell;
        if (index >= 0 && index < static_cast<int>(kExtensionCount)) {
            const unsigned code = kExtensions[static_cast<std::size_t>(index)];
            return putPair(code >> 8, code, out);
        }
    }
    return putPair(kShiftJisOfJis.leads[row], kShiftJisOfJis.trails[(row & 1) << 8 | cell], out);
}

struct JisPair {
    std::uint8_t first;
    std::uint8_t second;
};

/// A Shift_JIS character as JIS, without regard to ranges.
constexpr JisPair jisOf(unsigned lead, unsigned trail) {
    const unsigned adjust = trail < 0x9F ? 1 : 0;
    const unsigned rowOffset = lead >= 0xA0 ? 0xB0 : 0x70;
    const unsigned lowOffset = trail < 0x80 ? 0x1F : 0x20;
    const unsigned cellOffset = adjust == 1 ? lowOffset : 0x7E;
    return {static_cast<std::uint8_t>((lead - rowOffset) * 2 - adjust),
            static_cast<std::uint8_t>(trail - cellOffset)};
}

std::uint8_t* putJis(unsigned lead, unsigned trail, std::uint8_t* out) {
    const JisPair pair = jisOf(lead, trail);
    return putPair(pair.first, pair.second, out);
}

constexpr bool isPairLead(unsigned byte) {
    return isWithin(byte, 0x81, 0x9F) || isWithin(byte, 0xE0, 0xEF);
}

constexpr bool isPairTrail(unsigned byte) {
    return isWithin(byte, 0x40, 0xFC);
}

/// What both bytes of a Shift_JIS character add to its JIS bytes, the first in the low half; 0 for
/// those that are none of a common pair.
struct JisOfShiftJis {
    std::array<std::uint16_t, 256> leads{};
    std::array<std::uint16_t, 256> trails{};
};

constexpr JisOfShiftJis makeJisOfShiftJis() {
    JisOfShiftJis tables;
    for (unsigned byte = 0; byte < 256; ++byte) {
        // The lowest row that the lead byte has is that of the low trail bytes.
        if (isPairLead(byte)) {
            tables.leads[byte] = jisOf(byte, 0x40).first;
        }
        if (isPairTrail(byte)) {
            const JisPair pair = jisOf(0x81, byte);
            tables.trails[byte] = static_cast<std::uint16_t>(
                pair.second << 8 | (pair.first - jisOf(0x81, 0x40).first));
        }
    }
    return tables;
}

constexpr JisOfShiftJis kJisOfShiftJis = makeJisOfShiftJis();

bool isLineEnd(std::uint8_t byte) {
    return byte == '\r' || byte == '\n';
}

void readKatakana(TextCursor& c) {
    const std::uint8_t byte = *c.in++;
    *c.out++ = isLineEnd(byte) ? byte : static_cast<std::uint8_t>(byte + 0x80);
}

/// Bytes outside double-byte runs, up to the next escape. Most runs between two characters are
/// short: a word of bytes settles them. Long ones are worth a search.
void copyToEscape(TextCursor& c) {
    constexpr std::uint64_t kLowBits = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::uint64_t word;
    if (c.left() >= sizeof word) {
        std::memcpy(&word, c.in, sizeof word);
        std::memcpy(c.out, &word, sizeof word);
        // The lowest of these bits is that of the first escape.
        const std::uint64_t others = word ^ (kLowBits * kEscape);
        const std::uint64_t found = (others - kLowBits) & ~others & kHighBits;
        const std::size_t length =
            found == 0 ? sizeof word : static_cast<std::size_t>(std::countr_zero(found)) / 8;
        c.in += length;
        c.out += length;
        if (found != 0) {
            return;
        }
    }
    std::size_t length = std::min(
        c.left(), static_cast<std::size_t>(c.outLimit - c.out) + TextCursor::kStepRoom / 2);
    if (const void* escape = std::memchr(c.in, kEscape, length)) {
        length = static_cast<std::size_t>(static_cast<const std::uint8_t*>(escape) - c.in);
    }
    std::memcpy(c.out, c.in, length);
    c.in += length;
    c.out += length;
}

/// Shift_JIS to ISO-2022-JP.
struct Encoder {
    bool doubleByte = false;

    bool operator()(TextCursor& c) {
        const TextRuns& runs = nativeRuns();
        while (c.goesOn()) {
            if (!doubleByte) {
                runs.copyAscii(c);
            } else {
                takePairs(c);
            }
            if (!c.goesOn()) {
                break;
            }
            int steps = kCharactersPerStep;
            do {
                step(c);
            } while (!doubleByte && --steps > 0 && c.in < c.inEnd);
        }
        return true;
    }

    static constexpr char kToDoubleByte[] = "\x1B$B";
    static constexpr char kToAscii[] = "\x1B(B";
    static constexpr std::size_t kEscapeLength = 3;

private:
    /// A character takes at most 5 bytes with its escape.
    static constexpr int kCharactersPerStep = TextCursor::kStepRoom / 5;

    /// Common pairs within a double-byte run, up to the first other character.
    static void takePairs(TextCursor& c) {
        constexpr std::size_t kMostPairs = TextCursor::kStepRoom / 2;
        const std::uint8_t* in = c.in;
        std::uint8_t* out = c.out;
        for (std::size_t left = std::min(kMostPairs, c.left() / 2); left > 0; --left) {
            const unsigned lead = kJisOfShiftJis.leads[in[0]];
            const unsigned trail = kJisOfShiftJis.trails[in[1]];
            if (lead == 0 || trail == 0) {
                break;
            }
            const auto pair = static_cast<std::uint16_t>(lead + trail);
            std::memcpy(out, &pair, sizeof pair);
            in += 2;
            out += 2;
        }
        c.in = in;
        c.out = out;
    }

    void switchTo(bool wanted, TextCursor& c) {
        if (doubleByte != wanted) {
            doubleByte = wanted;
            std::memcpy(c.out, wanted ? kToDoubleByte : kToAscii, kEscapeLength);
            c.out += kEscapeLength;
        }
    }

    void step(TextCursor& c) {
        const std::uint8_t lead = *c.in;
        if (lead < 0x80) {
            switchTo(false, c);
            *c.out++ = *c.in++;
        } else if (isPairLead(lead)) {
            stepPair(lead, c);
        } else if (isWithin(lead, kFirstKatakana, kLastKatakana)) {
            stepKatakana(c);
        } else if (isWithin(lead, kFirstExtensionLead, kLastExtensionLead)) {
            stepExtension(lead, c);
        } else {
            stepOther(lead, c);
        }
    }

    void stepPair(std::uint8_t lead, TextCursor& c) {
        if (c.left() < 2) {
            c.in = c.inEnd;
            return;
        }
        const std::uint8_t trail = c.in[1];
        c.in += 2;
        if (isPairTrail(trail)) {
            switchTo(true, c);
            c.out = putJis(lead, trail, c.out);
        } else {
            c.out = putPair(lead, trail, c.out);
        }
    }

    /// Takes in a sound mark behind the character where the two make one full-width character.
    void stepKatakana(TextCursor& c) {
        constexpr std::uint8_t kVoiced = 0xDE;
        constexpr std::uint8_t kSemiVoiced = 0xDF;
        constexpr std::uint8_t kU = 0xB3;
        constexpr unsigned kVu = 0x8394;
        const std::uint8_t kana = *c.in++;
        const std::uint8_t mark = c.in < c.inEnd ? *c.in : 0;
        const bool hRow = isWithin(kana, 0xCA, 0xCE);
        unsigned code = kFullWidth[kana - kFirstKatakana];
        if (mark == kVoiced && (hRow || isWithin(kana, 0xB6, 0xC4) || kana == kU)) {
            ++c.in;
            code = kana == kU ? kVu : code + 1;
        } else if (mark == kSemiVoiced && hRow) {
            ++c.in;
            code += 2;
        }
        switchTo(true, c);
        c.out = putJis(code >> 8, code & 0xFF, c.out);
    }

    void stepExtension(std::uint8_t lead, TextCursor& c) {
        if (c.left() < 2) {
            c.in = c.inEnd;
            return;
        }
        const std::uint8_t trail = c.in[1];
        c.in += 2;
        const unsigned place = kExtensionIndex[(lead - kFirstExtensionLead) << 8 | trail];
        if (place != 0) {
            switchTo(true, c);
            c.out = putPair(kFirstExtensionRow + (place - 1) / kCellsPerRow,
                            kFirstCell + (place - 1) % kCellsPerRow, c.out);
        } else if (doubleByte) {
            c.out = putJis(lead, trail, c.out);
        } else {
            *c.out++ = lead;
        }
    }

    /// Bytes that begin no character: within a double-byte run they are taken for one.
    void stepOther(std::uint8_t lead, TextCursor& c) {
        ++c.in;
        if (lead == 0x80 || !doubleByte) {
            switchTo(false, c);
            *c.out++ = lead;
        } else if (c.in < c.inEnd) {
            c.out = putJis(lead, *c.in++, c.out);
        }
    }
};

}  // namespace

bool Iso2022JpDecoder::operator()(TextCursor& c) {
    while (c.goesOn()) {
        if (*c.in == kEscape) {
            readEscape(c);
        } else if (set == JisSet::kDoubleByte) {
            readPairs(c);
        } else if (set == JisSet::kKana) {
            readKatakana(c);
        } else {
            copyToEscape(c);
        }
    }
    return true;
}

void Iso2022JpDecoder::readEscape(TextCursor& c) {
    const std::size_t length = c.left();
    const unsigned kind = length > 1 ? c.in[1] : 0;
    if (kind != '$' && kind != '(') {
        c.in += std::min<std::size_t>(length, 2);
        return;
    }
    const unsigned name = length > 2 ? c.in[2] : 0;
    if (kind == '$' && (name == '@' || name == 'B')) {
        set = JisSet::kDoubleByte;
    } else if (kind == '(' && (name == 'B' || name == 'J')) {
        set = JisSet::kAscii;
    } else if (kind == '(' && name == 'I') {
        set = JisSet::kKana;
    }
    c.in += std::min<std::size_t>(length, 3);
}

void Iso2022JpDecoder::readPairs(TextCursor& c) {
    constexpr std::size_t kBytesPerStep = 128;
    const std::uint8_t* in = c.in;
    const std::uint8_t* end = in + std::min<std::size_t>(c.left(), kBytesPerStep) / 2 * 2;
    std::uint8_t* out = c.out;
    for (; in < end && kEscape < *in; in += 2) {
        out = putShiftJis(in[0], in[1], out);
    }
    c.in = in;
    c.out = out;
    if (in == c.inEnd || *in == kEscape) {
        return;
    }
    if (isLineEnd(*in)) {
        set = JisSet::kAscii;
        *c.out++ = *c.in++;
    } else if (c.left() < 2) {
        c.in = c.inEnd;
    } else {
        c.out = putShiftJis(in[0], in[1], out);
        c.in += 2;
    }
}

void Japanese::iso2022JpToShiftJis(const void* input, std::size_t length, DataBuffer& out) const {
    appendConverted(input, length, out, length, Iso2022JpDecoder());
}

void Japanese::shiftJisToIso2022Jp(const void* input, std::size_t length, DataBuffer& out) const {
    Encoder encoder;
    appendConverted(input, length, out, length + length / 8,
                    [&encoder](TextCursor& c) { return encoder(c); });
    if (encoder.doubleByte) {
        out.append(Encoder::kToAscii, Encoder::kEscapeLength);
    }
}

}  // namespace borvik
