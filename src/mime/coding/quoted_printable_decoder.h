#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "mime/coding/hex_digits.h"

namespace borvik {

class DataBuffer;

/// The pieces of the quoted-printable decoder that its vector code is made of too.
namespace quoted_printable {

constexpr char low7(char c) {
    return static_cast<char>(c & 0x7F);
}

/// Doesn't count at the end of a line. Of the line feeds only those with the 8th bit are meant: a
/// plain one ends the line before.
constexpr bool isTrailingBlank(char c) {
    const char low = low7(c);
    return c != '\n' && (low == ' ' || low == '\t' || low == '\r' || low == '\n');
}

inline const char* withoutTrailingBlanks(const char* begin, const char* end) {
    while (end != begin && isTrailingBlank(end[-1])) {
        --end;
    }
    return end;
}

/// Copies in whole vectors, and so a part of what follows too. Returns the place behind the copy.
inline char* copyRun(const char* from, const char* to, char* out) {
    constexpr std::ptrdiff_t kVector = 32;
    const std::ptrdiff_t count = to - from;
    std::memcpy(out, from, kVector);
    std::memcpy(out + kVector, from + kVector, kVector);
    for (std::ptrdiff_t copied = 2 * kVector; copied < count; copied += kVector) {
        std::memcpy(out + copied, from + copied, kVector);
    }
    return out + count;
}

/// What the two bytes behind a "=" stand for is looked up for each of them; the sum, in 16 bits,
/// tells about both: `kSoftBreak` for CR and LF, a byte and one more, or anything above.
struct EscapeHalves {
    std::array<std::uint16_t, 256> first;
    std::array<std::uint16_t, 256> second;
};
inline constexpr std::uint16_t kSoftBreak = 0;
inline constexpr std::uint16_t kHighestByte = 0xFF + 1;

constexpr EscapeHalves makeEscapeHalves() {
    constexpr std::uint16_t kHalfBreak = 0x8000;
    constexpr std::uint16_t kNoDigit = 0x1000;
    EscapeHalves halves{};
    for (std::size_t c = 0; c < 256; ++c) {
        const int value = hexValue(low7(static_cast<char>(c)));
        halves.first[c] = value < 0 ? kNoDigit : static_cast<std::uint16_t>(value * 16 + 1);
        halves.second[c] = value < 0 ? kNoDigit : static_cast<std::uint16_t>(value);
    }
    halves.first['\r'] = kHalfBreak;
    halves.second['\n'] = kHalfBreak;
    return halves;
}
inline constexpr EscapeHalves kEscapeHalves = makeEscapeHalves();

constexpr std::uint16_t escapeAt(const char* digits) {
    return static_cast<std::uint16_t>(kEscapeHalves.first[static_cast<unsigned char>(digits[0])] +
                                      kEscapeHalves.second[static_cast<unsigned char>(digits[1])]);
}

constexpr bool isByte(std::uint16_t escape) {
    return escape != kSoftBreak && escape <= kHighestByte;
}

/// One run over a text. The output has room for what is left of the text all the time, and for
/// vectors beyond it: only a line feed without a CR becomes longer.
class Decoder {
public:
    /// Takes blocks of the text from where a decoder stands, as long as enough bytes are left in
    /// front of `readable`.
    using TakeBlocks = void (*)(Decoder& decoder, const char* readable);

    /// Where it reads and writes. There is no place to write when memory ran out.
    struct Place {
        const char* in;
        char* out;
    };

    /// Bytes in front of a block that its line ends depend on.
    static constexpr std::ptrdiff_t kLookBack = 2;
    static constexpr std::ptrdiff_t kBlock = 64;
    /// What must be left for a block: a run that begins in it may be read beyond it by a vector.
    static constexpr std::ptrdiff_t kRead = 2 * kBlock;

    Decoder(std::string_view text, DataBuffer& out)
        : in_(text.data()), end_(text.data() + text.size()), buffer_(out) {}

    /// False without memory.
    bool begin();
    /// Takes most of the text, or all of it, in vectors; the rest is for `takeLines`.
    void takeVectors(TakeBlocks takeBlocks);
    /// Decodes line by line to the end, and sets the length of the output. False without memory.
    bool takeLines();

    Place place() const { return {in_, out_}; }
    void goTo(const Place& place) {
        in_ = place.in;
        out_ = place.out;
    }
    /// Take all stops of a block, bit i for byte i, or those among the bytes up to `end`. False at
    /// the end of the text, and without memory.
    bool takeStops(const char* block, std::uint64_t stops);
    bool takeFirstStops(const char* end);

private:
    static constexpr std::size_t kSlack = 64;

    std::size_t written();
    bool keepRoom();
    bool takeStop(const char* stop);
    void takeEquals();
    void takeByteOrEquals(const char* lineEnd);

    const char* in_;
    const char* end_;
    DataBuffer& buffer_;
    char* out_ = nullptr;
};

/// Appends the decoded bytes of a text, all of them line by line when `takeBlocks` is null.
bool decode(std::string_view text, DataBuffer& out, Decoder::TakeBlocks takeBlocks);

}  // namespace quoted_printable

}  // namespace borvik
