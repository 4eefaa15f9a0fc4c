#include "charset/lanes/text_runs.h"

#include <cstddef>
#include <cstring>

#include "charset/lanes/utf8_bytes.h"

namespace borvik {
namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::uint64_t kLowBits = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

std::uint64_t loadWord(const std::uint8_t* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Every byte is 0x01 to 0x7F.
bool isPlain(std::uint64_t word) {
    return ((word | (word - kLowBits)) & kHighBits) == 0;
}

void asciiToUtf16(TextCursor& c) {
    while (c.has(kWord) && isPlain(loadWord(c.in))) {
        for (std::size_t i = 0; i < kWord; ++i) {
            c.out = putUnit(*c.in++, c.out);
        }
    }
}

void copyAscii(TextCursor& c) {
    while (c.has(kWord) && isPlain(loadWord(c.in))) {
        std::memcpy(c.out, c.in, kWord);
        c.in += kWord;
        c.out += kWord;
    }
}

/// Four units at a time: each is under 0x80 and not 0.
void utf16ToAscii(TextCursor& c) {
    constexpr std::uint64_t kOnes = 0x0001000100010001;
    constexpr std::uint64_t kOutside = 0xFF80FF80FF80FF80;
    while (c.has(kWord)) {
        const std::uint64_t word = loadWord(c.in);
        if (((word | (word - kOnes)) & kOutside) != 0) {
            return;
        }
        for (std::size_t i = 0; i < kWord; i += sizeof(char16_t)) {
            *c.out++ = c.in[i];
        }
        c.in += kWord;
    }
}

void singleByteToUtf16(const DecodeTable& table, TextCursor& c) {
    if (table.asciiCompatible) {
        asciiToUtf16(c);
    }
}

void singleByteToUtf8(const DecodeTable& table, TextCursor& c) {
    if (table.asciiCompatible) {
        copyAscii(c);
    }
}

void doubleByteToUtf16(const DecodeTable&, TextCursor& c) {
    asciiToUtf16(c);
}

void utf16ToSingleByte(const EncodeTable& table, TextCursor& c) {
    if (table.asciiCompatible) {
        utf16ToAscii(c);
    }
}

void utf16ToDoubleByte(const EncodeTable&, TextCursor& c) {
    utf16ToAscii(c);
}

void leaveUtf7ToTheLoop(TextCursor&, Utf7Run&) {}

void leaveJisToTheLoop(const DecodeTable&, TextCursor&, JisSet&) {}

constexpr TextRuns kPortable = {
    .copyAscii = copyAscii,
    .utf16ToAscii = utf16ToAscii,
    .singleByteToUtf16 = singleByteToUtf16,
    .singleByteToUtf8 = singleByteToUtf8,
    .doubleByteToUtf16 = doubleByteToUtf16,
    .utf16ToSingleByte = utf16ToSingleByte,
    .utf16ToDoubleByte = utf16ToDoubleByte,
    .utf8ToUtf16 = asciiToUtf16,
    .utf16ToUtf8 = utf16ToAscii,
    .utf8ToPairs = asciiToUtf16,
    .pairsToUtf8 = utf16ToAscii,
    .unitsOfUtf8 = plainUnitsOfUtf8,
    .utf8BytesOfPairs = plainUtf8BytesOfPairs,
    .utf7ToUtf16 = leaveUtf7ToTheLoop,
    .utf16ToUtf7 = leaveUtf7ToTheLoop,
    .jisToUtf16 = leaveJisToTheLoop,
};

}  // namespace

std::size_t plainUnitsOfUtf8(const std::uint8_t* in, std::size_t length) {
    std::size_t units = 0;
    for (std::size_t i = 0; i < length; ++i) {
        units +=
            static_cast<unsigned>((in[i] & 0xC0) != 0x80) + static_cast<unsigned>(in[i] >= 0xF0);
    }
    return units;
}

std::size_t plainUtf8BytesOfPairs(const std::uint8_t* in, std::size_t units) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < units; ++i) {
        const char16_t unit = loadUnit(in + 2 * i);
        const char16_t next = i + 1 < units ? loadUnit(in + 2 * i + 2) : u'\0';
        const bool isPair = (unit & 0xFC00) == 0xD800 && (next & 0xFC00) == 0xDC00;
        bytes += 1 + static_cast<unsigned>(unit >= 0x80) + static_cast<unsigned>(unit >= 0x800) -
                 (isPair ? 2U : 0U);
    }
    return bytes;
}

const TextRuns& portableRuns() {
    return kPortable;
}

}  // namespace borvik
