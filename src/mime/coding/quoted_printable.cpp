#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "mime/coding/quoted_printable.cpp"
#include "mime/coding/quoted_printable.h"

#include <hwy/foreach_target.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "charset/lanes/shuffle_tables.h"
#include "charset/lanes/vectors-inl.h"
#include "mime/coding/base64.h"
#include "mime/coding/hex_digits.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

namespace {

/// Content of a line, a soft break's "=" not counted.
constexpr std::size_t kMaxColumn = kMimeLineLength - 1;
/// From this column a coded byte doesn't fit any more.
constexpr std::size_t kLastCodedColumn = kMaxColumn - 2;

/// Input coded between two looks at the room in the output, and what may be coded beyond it.
constexpr std::size_t kChunk = 16384;
constexpr std::size_t kOvershoot = 16;

/// What a byte becomes where it stands neither at the start nor at the end of a line. Blanks and
/// CR, which take a look at what follows, have no length.
struct CodedByte {
    char text[4];
    std::uint8_t length;
};

constexpr bool isLiteral(std::size_t c) {
    return c >= 33 && c <= 126 && c != '=';
}

constexpr std::array<CodedByte, 256> makeCodedBytes() {
    std::array<CodedByte, 256> coded{};
    for (std::size_t c = 0; c < coded.size(); ++c) {
        if (isLiteral(c)) {
            coded[c] = {{static_cast<char>(c)}, 1};
        } else if (c != ' ' && c != '\t' && c != '\r') {
            coded[c] = {{'=', kHexPairs[2 * c], kHexPairs[2 * c + 1]}, 3};
        }
    }
    return coded;
}
constexpr std::array<CodedByte, 256> kCodedBytes = makeCodedBytes();

/// Bytes that are taken one by one behind a coded one before the next try with a whole run.
constexpr std::size_t kMixedRun = 8;

/// Printable ASCII without "=", and blanks, which may need coding at the end of a line.
constexpr bool isPlain(char c) {
    return (c >= 32 && c <= 126 && c != '=') || c == '\t';
}

#if BORVIK_HAS_VECTORS

/// After so many lines without coded bytes more of them are expected.
constexpr std::size_t kSurelyPlain = 4;

/// Printable ASCII without "=", and tabs, as a set: the row of a low nibble has a bit for each high
/// one.
constexpr std::array<std::uint8_t, kVector> makePlainRows() {
    std::array<std::uint8_t, kVector> rows{};
    for (unsigned c = 0; c < 0x80; ++c) {
        if (isPlain(static_cast<char>(c))) {
            rows[c & 0x0F] = static_cast<std::uint8_t>(rows[c & 0x0F] | 1U << (c >> 4));
        }
    }
    return rows;
}

/// Not 0 for the bytes that aren't coded.
HWY_INLINE Bytes plainMarks(Bytes text) {
    static constexpr auto kRows = makePlainRows();
    static constexpr std::uint8_t kBits[kVector] = {1, 2, 4, 8, 16, 32, 64, 128};
    return setBits(loadTable(kRows), loadTable(kBits), text);
}

HWY_INLINE unsigned codedBits(Bytes text) {
    return ~atLeastBits(plainMarks(text), 1) & 0xFFFF;
}

constexpr std::uint8_t kDigits[kVector] = {'0', '1', '2', '3', '4', '5', '6', '7',
                                           '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'};

#if BORVIK_HAS_COMPRESS

/// The byte that each of three characters of a byte comes from.
constexpr std::array<std::uint8_t, 64> makeThreefold() {
    std::array<std::uint8_t, 64> from{};
    for (std::size_t i = 0; i < from.size(); ++i) {
        from[i] = static_cast<std::uint8_t>(i / 3 % kVector);
    }
    return from;
}

/// Writes 16 bytes, those of the mask `coded` as "=" and two digits. Touches 64 bytes.
HWY_INLINE void expand(Bytes text, unsigned coded, std::uint8_t* out) {
    static constexpr auto kThreefold = makeThreefold();
    constexpr std::uint64_t kFirsts = 0x0000249249249249;
    constexpr std::uint64_t kSeconds = kFirsts << 1;
    const __m512i from = _mm512_loadu_si512(kThreefold.data());
    const __m512i all = _mm512_permutexvar_epi8(from, _mm512_castsi128_si512(text.raw));
    const __m512i nibbles = _mm512_and_si512(
        _mm512_mask_mov_epi8(all, kSeconds, _mm512_srli_epi16(all, 4)), _mm512_set1_epi8(0x0F));
    const __m512i digits = _mm512_broadcast_i32x4(loadTable(kDigits).raw);
    const std::uint64_t codedFirsts = _pdep_u64(coded, kFirsts);
    __m512i made = _mm512_shuffle_epi8(digits, nibbles);
    made = _mm512_mask_mov_epi8(made, kFirsts, all);
    made = _mm512_mask_mov_epi8(made, codedFirsts, _mm512_set1_epi8('='));
    const std::uint64_t kept = kFirsts | codedFirsts << 1 | codedFirsts << 2;
    _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(kept, made));
}

#else

/// Moves 4 lanes of "=" or a byte, two digits and nothing together, by a mask of those that are
/// coded.
constexpr std::array<shuffles::Shuffle, 16> makeCodedShuffles() {
    std::array<shuffles::Shuffle, 16> table{};
    for (unsigned mask = 0; mask < table.size(); ++mask) {
        shuffles::Builder builder;
        for (unsigned lane = 0; lane < 4; ++lane) {
            builder.take(4 * lane);
            if ((mask >> lane & 1U) != 0) {
                builder.take(4 * lane + 1);
                builder.take(4 * lane + 2);
            }
        }
        table[mask] = builder.result();
    }
    return table;
}

/// Writes 16 bytes, those of the mask `coded` as "=" and two digits. Touches 52 bytes.
HWY_INLINE void expand(Bytes text, unsigned coded, std::uint8_t* out) {
    static constexpr auto kShuffles = makeCodedShuffles();
    const Bytes digits = loadTable(kDigits);
    const Bytes upper = hn::TableLookupBytes(digits, shiftRight<4>(text, 0x0F));
    const Bytes lower = hn::TableLookupBytes(digits, hn::And(text, bytes(0x0F)));
    const auto isCoded = hn::Eq(plainMarks(text), hn::Zero(kBytes));
    const Bytes first = hn::IfThenElse(isCoded, bytes('='), text);
    const Bytes zero = hn::Zero(kBytes);
    const Units frontLow = hn::BitCast(kUnits, hn::InterleaveLower(kBytes, first, upper));
    const Units backLow = hn::BitCast(kUnits, hn::InterleaveLower(kBytes, lower, zero));
    const Units frontHigh = hn::BitCast(kUnits, hn::InterleaveUpper(kBytes, first, upper));
    const Units backHigh = hn::BitCast(kUnits, hn::InterleaveUpper(kBytes, lower, zero));
    const auto put = [coded, out](unsigned at, Units lanes) HWY_ATTR {
        std::uint8_t* to = out + at + 2 * countBits(coded & ((1U << at) - 1));
        store(to, shuffle(hn::BitCast(kBytes, lanes), kShuffles[coded >> at & 0x0F]));
    };
    put(0, hn::InterleaveLower(kUnits, frontLow, backLow));
    put(4, hn::InterleaveUpper(kUnits, frontLow, backLow));
    put(8, hn::InterleaveLower(kUnits, frontHigh, backHigh));
    put(12, hn::InterleaveUpper(kUnits, frontHigh, backHigh));
}

#endif

/// How many of the first bytes fit into `room` columns.
HWY_INLINE unsigned fitting(Bytes text, std::size_t room) {
    const auto isCoded = hn::Eq(plainMarks(text), hn::Zero(kBytes));
    // The columns up to and with each byte.
    Bytes columns = hn::IfThenElse(isCoded, bytes(3), bytes(1));
    columns = hn::Add(columns, hn::ShiftLeftBytes<1>(kBytes, columns));
    columns = hn::Add(columns, hn::ShiftLeftBytes<2>(kBytes, columns));
    columns = hn::Add(columns, hn::ShiftLeftBytes<4>(kBytes, columns));
    columns = hn::Add(columns, hn::ShiftLeftBytes<8>(kBytes, columns));
    return countBits(belowBits(columns, static_cast<int>(room) + 1));
}

#endif

class LineEncoder {
public:
    explicit LineEncoder(std::string_view bytes)
        : in_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    std::size_t left() const { return static_cast<std::size_t>(end_ - in_); }

    /// Room that `count` bytes can need: three characters each, a soft break for every 73
    /// characters, and what the stores of a block write too much.
    static constexpr std::size_t room(std::size_t count) {
        return 3 * count + 3 * (3 * count / kLastCodedColumn + 2) + 4 * kOvershoot;
    }

    /// Codes about `count` bytes, at most `kOvershoot` more; returns the place behind the output.
    char* encode(std::size_t count, char* out) {
        const char* const chunkEnd = in_ + count;
        out_ = out;
        while (in_ < chunkEnd) {
            if (column_ == 0 && fragile()) {
                writeCoded(*in_++);
            } else if (takeBlocks(chunkEnd)) {
                continue;
            } else if (isPlain(*in_)) {
                takeRun(chunkEnd);
            } else if (beginsLineEnd()) {
                in_ += 2;
                writeLineEnd();
                continue;
            } else {
                writeCoded(*in_++);
                takeMixed(chunkEnd);
            }
            if (column_ >= kMaxColumn && !beginsLineEnd()) {
                writeSoftBreak();
            }
        }
        return out_;
    }

private:
    bool beginsLineEnd() const { return lineEndAt(in_); }

    bool lineEndAt(const char* in) const {
        return end_ - in >= 2 && in[0] == '\r' && in[1] == '\n';
    }

    /// Bytes that relays change at the start of a line.
    bool fragile() const {
        return *in_ == '.' || (*in_ == 'F' && left() >= 5 && std::memcmp(in_, "From ", 5) == 0);
    }

    void takeRun(const char* chunkEnd) {
        const std::size_t limit =
            std::min(kMaxColumn - column_, static_cast<std::size_t>(chunkEnd - in_));
        std::size_t run = 0;
        for (; run < limit && isPlain(in_[run]); ++run) {
            out_[run] = in_[run];
        }
        in_ += run;
        const bool codeLast =
            (in_[-1] == ' ' || in_[-1] == '\t') && (in_ == end_ || beginsLineEnd());
        run -= codeLast ? 1 : 0;
        out_ += run;
        column_ += run;
        if (codeLast) {
            writeCoded(in_[-1]);
        }
    }

    /// Text with many coded bytes: no branch depends on which of them are coded.
    void takeMixed(const char* chunkEnd) {
        const char* const stop =
            in_ + std::min(kMixedRun, static_cast<std::size_t>(chunkEnd - in_));
        while (in_ != stop && column_ < kLastCodedColumn) {
            const CodedByte& coded = kCodedBytes[static_cast<unsigned char>(*in_)];
            if (coded.length == 0) {
                return;
            }
            std::memcpy(out_, coded.text, sizeof coded.text);
            out_ += coded.length;
            column_ += coded.length;
            ++in_;
        }
    }

#if BORVIK_HAS_VECTORS
    /// Blocks of 16 bytes, or as many of them as the line has room for, up to a CR, a blank in
    /// front of one, or a line that may have to begin with a coded byte. False, with nothing done,
    /// where there is none.
    bool takeBlocks(const char* chunkEnd) {
        // The members are in memory, where every byte written might change them.
        const char* in = in_;
        char* out = out_;
        std::size_t column = column_;
        while (in<chunkEnd&& static_cast<std::size_t>(end_ - in)> kVector && *in != '\r') {
            const Bytes text = load(in);
            // By a branch, since the next block mustn't wait for what stands in this one.
            const unsigned beforeCr = equalBits(load(in + 1), bytes('\r'));
            unsigned cut = kVector;
            unsigned coded = codedBits(text);
            if (beforeCr != 0) [[unlikely]] {
                cut = cutOf(text, beforeCr);
                coded &= (1U << cut) - 1;
            }
            const std::size_t room = kMaxColumn - column;
            // Where text is mixed, a branch for blocks without coded bytes can't be foreseen.
            unsigned count = cut;
            unsigned length = 0;
            if (plainLines_ >= kSurelyPlain && coded == 0) {
                store(reinterpret_cast<std::uint8_t*>(out), text);
                if (cut == kVector && room > kVector) [[likely]] {
                    in += kVector;
                    out += kVector;
                    column += kVector;
                    continue;
                }
                count = static_cast<unsigned>(std::min<std::size_t>(cut, room));
                length = count;
            } else {
                expand(text, coded, reinterpret_cast<std::uint8_t*>(out));
                if (kVector + 2 * countBits(coded) > room) [[unlikely]] {
                    count = std::min(cut, fitting(text, room));
                }
                coded &= (1U << count) - 1;
                length = count + 2 * countBits(coded);
                codedInLine_ |= coded;
            }
            in += count;
            out += length;
            column += length;
            if (count < cut || (column == kMaxColumn && !lineEndAt(in))) {
                std::memcpy(out, "=\r\n", 3);
                out += 3;
                column = 0;
                endLine();
                if (*in == '.' || *in == 'F') {
                    break;
                }
            } else if (cut != kVector) {
                break;
            }
        }
        const bool some = in != in_;
        in_ = in;
        out_ = out;
        column_ = column;
        return some;
    }

    /// How many bytes stand in front of a CR or of a blank in front of one.
    HWY_INLINE static unsigned cutOf(Bytes text, unsigned beforeCr) {
        const unsigned blanks = equalBits(text, bytes(' ')) | equalBits(text, bytes('\t'));
        return firstBit((beforeCr << 1 | (beforeCr & blanks)) & 0xFFFF);
    }
#else
    bool takeBlocks(const char* /*chunkEnd*/) {
        return false;
    }
#endif

    void writeCoded(char c) {
        if (column_ >= kLastCodedColumn) {
            writeSoftBreak();
        }
        *out_++ = '=';
        std::memcpy(out_, &kHexPairs[2 * static_cast<std::size_t>(static_cast<unsigned char>(c))],
                    2);
        out_ += 2;
        column_ += 3;
    }

    void writeSoftBreak() {
        *out_++ = '=';
        writeLineEnd();
    }

    void writeLineEnd() {
        *out_++ = '\r';
        *out_++ = '\n';
        column_ = 0;
        endLine();
    }

    void endLine() {
        plainLines_ = codedInLine_ != 0 ? 0 : plainLines_ + 1;
        codedInLine_ = 0;
    }

    const char* in_;
    const char* end_;
    char* out_ = nullptr;
    std::size_t column_ = 0;
    /// Lines without coded bytes in front of this one, and those that the blocks of this one have.
    std::size_t plainLines_ = 0;
    unsigned codedInLine_ = 0;
};

}  // namespace

bool appendEncoded(std::string_view bytes, DataBuffer& out) {
    if (bytes.empty()) {
        return true;
    }
    LineEncoder encoder(bytes);
    const std::size_t first = std::min(bytes.size(), kChunk);
    const std::size_t expected =
        out.getSize() + bytes.size() + bytes.size() / 32 + LineEncoder::room(first + kOvershoot);
    if (expected > DataBuffer::kMaxSize || !out.ensureCapacity(expected)) {
        return false;
    }
    while (encoder.left() != 0) {
        const std::size_t count = std::min(encoder.left(), kChunk);
        char* const begin = out.grow(LineEncoder::room(count + kOvershoot));
        if (begin == nullptr) {
            return false;
        }
        const char* const end = encoder.encode(count, begin);
        out.setLength(out.getSize() + static_cast<std::size_t>(end - begin));
    }
    return true;
}

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace borvik {

HWY_EXPORT(appendEncoded);

bool appendQuotedPrintable(std::string_view bytes, DataBuffer& out) {
    return HWY_DYNAMIC_DISPATCH(appendEncoded)(bytes, out);
}

}  // namespace borvik

#endif
