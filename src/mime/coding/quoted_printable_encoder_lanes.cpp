#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "mime/coding/quoted_printable_encoder_lanes.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "charset/lanes/shuffle_tables.h"
#include "charset/lanes/vectors-inl.h"
#include "mime/coding/quoted_printable.h"
#include "mime/coding/quoted_printable_lines.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

using quoted_printable::isPlain;
using quoted_printable::kMaxColumn;

constexpr hn::RebindToSigned<WideTag> kWideSigned;
constexpr WideTag kWide;

HWY_INLINE hn::Vec<WideTag> wideTable(const std::uint8_t* table) {
    return hn::LoadDup128(kWide, table);
}

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

/// The bytes of a block, bit i for byte i.
struct BlockBits {
    std::uint64_t coded = 0;
    /// The CR of each line end.
    std::uint64_t lineEnds = 0;
};

HWY_INLINE bool isLineEnd(const char* in) {
    return in[0] == '\r' && in[1] == '\n';
}

/// Looks at the two bytes behind the block as well. Bit 0 of `feed` is set when the block begins
/// with the second byte of a line end, and tells the same of the next block afterwards.
HWY_INLINE BlockBits bitsOfBlock(const char* in, std::uint64_t& feed) {
    alignas(kVector) static constexpr auto kRows = makePlainRows();
    alignas(kVector) static constexpr std::uint8_t kBits[kVector] = {1, 2, 4, 8, 16, 32, 64, 128};
    const auto rows = wideTable(kRows.data());
    const auto bits = wideTable(kBits);
    const auto low4 = hn::Set(kWide, 0x0F);
    std::uint64_t coded = 0;
    std::uint64_t blanks = 0;
    std::uint64_t returns = 0;
    std::uint64_t feeds = 0;
    for (std::size_t i = 0; i < kBlock; i += hn::MaxLanes(kWide)) {
        const auto text = hn::LoadU(kWide, reinterpret_cast<const std::uint8_t*>(in + i));
        constexpr hn::Repartition<std::uint16_t, WideTag> kWideUnits;
        const auto high =
            hn::And(hn::BitCast(kWide, hn::ShiftRight<4>(hn::BitCast(kWideUnits, text))), low4);
        const auto plain = hn::And(hn::TableLookupBytes(rows, hn::And(text, low4)),
                                   hn::TableLookupBytes(bits, high));
        const auto below =
            hn::RebindMask(kWide, hn::Lt(hn::BitCast(kWideSigned, text), hn::Set(kWideSigned, 33)));
        coded |= bitsOf(kWide, hn::Eq(plain, hn::Zero(kWide))) << i;
        blanks |= bitsOf(kWide, below) << i;
        returns |= bitsOf(kWide, hn::Eq(text, hn::Set(kWide, '\r'))) << i;
        feeds |= bitsOf(kWide, hn::Eq(text, hn::Set(kWide, '\n'))) << i;
    }
    constexpr unsigned kLast = kBlock - 1;
    const std::uint64_t lineEnds =
        returns & (feeds >> 1 | static_cast<std::uint64_t>(in[kBlock] == '\n') << kLast);
    const std::uint64_t beforeEnds =
        lineEnds >> 1 | static_cast<std::uint64_t>(isLineEnd(in + kBlock)) << kLast;
    const std::uint64_t trailing = blanks & ~coded & beforeEnds;
    const std::uint64_t kept = lineEnds | lineEnds << 1 | feed;
    feed = lineEnds >> kLast;
    return {(coded & ~kept) | trailing, lineEnds};
}

alignas(kVector) constexpr std::uint8_t kDigits[kVector] = {'0', '1', '2', '3', '4', '5', '6', '7',
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
HWY_INLINE void expand(const char* in, unsigned coded, std::uint8_t* out) {
    static constexpr auto kThreefold = makeThreefold();
    constexpr std::uint64_t kFirsts = 0x0000249249249249;
    constexpr std::uint64_t kSeconds = kFirsts << 1;
    const __m512i from = _mm512_loadu_si512(kThreefold.data());
    const __m512i all = _mm512_permutexvar_epi8(from, _mm512_castsi128_si512(load(in).raw));
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
HWY_INLINE void expand(const char* in, unsigned coded, std::uint8_t* out) {
    static constexpr auto kShuffles = makeCodedShuffles();
    const Bytes text = load(in);
    const Bytes digits = loadTable(kDigits);
    const Bytes upper = hn::TableLookupBytes(digits, shiftRight<4>(text, 0x0F));
    const Bytes lower = hn::TableLookupBytes(digits, hn::And(text, bytes(0x0F)));
    const std::uint8_t mask[] = {
        static_cast<std::uint8_t>(coded), static_cast<std::uint8_t>(coded >> 8), 0, 0, 0, 0, 0, 0};
    const Bytes first = hn::IfThenElse(hn::LoadMaskBits(kBytes, mask), bytes('='), text);
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

/// Copies a block, in vectors: compilers take another way for a size that is no power of two.
HWY_INLINE void copyBlock(const char* from, char* to) {
    for (std::size_t i = 0; i < kBlock; i += hn::MaxLanes(kWide)) {
        hn::StoreU(hn::LoadU(kWide, reinterpret_cast<const std::uint8_t*>(from + i)), kWide,
                   reinterpret_cast<std::uint8_t*>(to + i));
    }
}

/// Codes in two steps, so that neither waits for what the other can't foresee: the bytes of a piece
/// become a stream of lines as long as they like; then that is cut where soft breaks are due.
class PieceEncoder {
public:
    /// Bytes that a step takes: what it makes of them stays in the nearest cache.
    static constexpr std::size_t kPiece = 2048;

    explicit PieceEncoder(std::string_view bytes)
        : in_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    std::size_t left() const { return static_cast<std::size_t>(end_ - in_); }

    /// Room that a piece of `count` bytes can need: three characters each, what the piece before
    /// has left, a soft break for every 73 characters, and what the stores write too much.
    static constexpr std::size_t room(std::size_t count) {
        const std::size_t most = 3 * count + 2 * kLook;
        return most + kBreak * (most / (kMaxColumn - 2) + 2) + kLook + kBreak;
    }

    /// Codes a piece of `count` bytes and writes all lines that are whole, all that there is behind
    /// the last piece. Returns the place behind the output.
    char* encode(std::size_t count, char* out) {
        expandPiece(count);
        return in_ == end_ ? writeRest(out) : writeLines(out);
    }

private:
    /// Characters that the end of a line depends on, and more than the longest line: as many are
    /// copied for each.
    static constexpr std::size_t kLook = 80;
    static constexpr std::size_t kBreak = 3;
    static constexpr std::size_t kLineEnd = 2;
    /// Coding the first byte of a line takes two characters in front of it.
    static constexpr std::size_t kFront = 16;
    static constexpr std::size_t kSlack = kLook + kBlock;
    static constexpr std::uint16_t kNowhere = 0xFFFF;

    /// Where the stream goes on, and where the next of its line ends is noted.
    struct Place {
        char* stream;
        std::uint16_t* ends;
    };

    char* begin() { return stream_ + kFront; }

    /// Whole blocks where they stand, and the last of the text in a place with zeros behind it.
    HWY_INLINE void expandPiece(std::size_t count) {
        Place place = {begin() + length_, ends_ + endCount_};
        const char* in = in_;
        const char* const pieceEnd = in + count;
        std::uint64_t feed = feed_;
        for (; in != pieceEnd && end_ - in >= kBlockAndLook; in += kBlock) {
            expandBlock(in, bitsOfBlock(in, feed), kBlock, place);
        }
        while (in != pieceEnd) {
            char tail[kBlockAndLook] = {};
            const auto left = static_cast<std::size_t>(end_ - in);
            std::memcpy(tail, in, std::min(left, sizeof tail));
            BlockBits bits = bitsOfBlock(tail, feed);
            const std::size_t taken = std::min(left, kBlock);
            if (left <= kBlock) {
                const char last = tail[left - 1];
                bits.coded |= static_cast<std::uint64_t>(last == ' ' || last == '\t') << (left - 1);
                bits.coded &= ~std::uint64_t{0} >> (kBlock - left);
            }
            expandBlock(tail, bits, taken, place);
            in += taken;
        }
        in_ = in;
        feed_ = feed;
        length_ = static_cast<std::size_t>(place.stream - begin());
        endCount_ = static_cast<std::size_t>(place.ends - ends_);
    }

    /// Writes a block to the stream, of which `count` bytes count.
    HWY_INLINE void expandBlock(const char* in, const BlockBits& bits, std::size_t count,
                                Place& place) {
        if (bits.coded == 0) {
            copyBlock(in, place.stream);
        } else {
            auto* out = reinterpret_cast<std::uint8_t*>(place.stream);
            for (unsigned i = 0; i < kBlock; i += kVector) {
                const auto coded = static_cast<unsigned>(bits.coded >> i & 0xFFFF);
                expand(in + i, coded, out);
                out += kVector + 2 * countBits(coded);
            }
        }
        // Mostly there is one or none.
        std::uint64_t ends = bits.lineEnds;
        noteEnd(bits.coded, ends, place);
        for (ends &= ends - 1; ends != 0; ends &= ends - 1) {
            noteEnd(bits.coded, ends, place);
        }
        place.stream += count + 2 * static_cast<std::size_t>(std::popcount(bits.coded));
    }

    /// Notes where the first of the line ends is, if there is any.
    HWY_INLINE void noteEnd(std::uint64_t coded, std::uint64_t ends, Place& place) {
        const auto before = static_cast<std::size_t>(std::popcount(coded & (~ends & (ends - 1))));
        const auto at = place.stream - begin() + std::countr_zero(ends);
        *place.ends = static_cast<std::uint16_t>(static_cast<std::size_t>(at) + 2 * before);
        place.ends += ends != 0 ? 1 : 0;
    }

    /// Codes the first byte of a line if relays change it there. Returns where the line begins
    /// then. A blank at the end of the line was coded.
    const char* codeFirst(char* line) {
        const bool isFrom = std::memcmp(line, "From", 4) == 0 &&
                            (line[4] == ' ' || std::memcmp(line + 4, "=20", 3) == 0);
        if (*line != '.' && !isFrom) {
            return line;
        }
        std::memcpy(line - 2, isFrom ? "=46" : "=2E", 3);
        return line - 2;
    }

    /// What lines were written: the place behind them, and the last one's length.
    struct Written {
        char* out;
        std::size_t length;
    };

    /// Writes the lines of the stream that begin in front of `stop`, and leaves where the next one
    /// begins and the next line end is. Soft breaks and line ends take turns as the text goes, so
    /// no branch depends on them.
    HWY_INLINE Written writeUpTo(const char* stop, const char*& nextLine,
                                 const std::uint16_t*& nextEnd, char* out) {
        const char* line = begin();
        const std::uint16_t* end = ends_;
        std::size_t length = 0;
        while (line < stop) {
            if (*line == '.' || *line == 'F') [[unlikely]] {
                line = codeFirst(begin() + (line - begin()));
            }
            copyBlock(line, out);
            std::memcpy(out + kBlock, line + kBlock, kLook - kBlock);
            const auto toEnd = static_cast<std::size_t>(begin() + *end - line);
            const std::size_t cut = kMaxColumn - (line[kMaxColumn - 1] == '=' ? 1U : 0U) -
                                    (line[kMaxColumn - 2] == '=' ? 2U : 0U);
            const bool isWhole = toEnd <= kMaxColumn;
            length = isWhole ? toEnd : cut;
            std::memcpy(out + length, isWhole ? "\r\n" : "=\r\n", kBreak);
            out += length + (isWhole ? kLineEnd : kBreak);
            line += length + (isWhole ? kLineEnd : 0);
            end += isWhole ? 1 : 0;
        }
        nextLine = line;
        nextEnd = end;
        return {out, length};
    }

    /// What may depend on bytes that come yet stays.
    char* writeLines(char* out) {
        const char* line = nullptr;
        const std::uint16_t* end = nullptr;
        ends_[endCount_] = kNowhere;
        // A line end may be split, too.
        const char* const stop = begin() + length_ - std::min(length_, kLook);
        out = writeUpTo(stop, line, end, out).out;
        const auto taken = static_cast<std::size_t>(line - begin());
        length_ -= taken;
        std::memmove(begin(), line, length_);
        const std::uint16_t* const lastEnd = ends_ + endCount_;
        for (endCount_ = 0; end != lastEnd; ++end) {
            ends_[endCount_++] = static_cast<std::uint16_t>(*end - taken);
        }
        return out;
    }

    /// The end of the text is like a line end of which nothing is written.
    char* writeRest(char* out) {
        const char* line = nullptr;
        const std::uint16_t* end = nullptr;
        const char* const textEnd = begin() + length_;
        std::memset(begin() + length_, 0, kSlack);
        ends_[endCount_] = static_cast<std::uint16_t>(length_);
        Written written = writeUpTo(textEnd, line, end, out);
        if (line == textEnd) {
            return written.out;
        }
        written.out -= kLineEnd;
        if (written.length == kMaxColumn) {
            std::memcpy(written.out, "=\r\n", kBreak);
            written.out += kBreak;
        }
        return written.out;
    }

    /// A block, and what its line ends depend on behind it.
    static constexpr std::ptrdiff_t kBlockAndLook = kBlock + kLineEnd;

    const char* in_;
    const char* end_;
    std::size_t length_ = 0;
    std::size_t endCount_ = 0;
    std::uint64_t feed_ = 0;
    std::uint16_t ends_[kPiece / 2 + kLook];
    char stream_[kFront + 3 * kPiece + 2 * kLook + kSlack];
};

}  // namespace

bool appendEncoded(std::string_view bytes, DataBuffer& out) {
    if (bytes.empty()) {
        return true;
    }
    PieceEncoder encoder(bytes);
    const std::size_t first = std::min(bytes.size(), PieceEncoder::kPiece);
    const std::size_t expected =
        out.getSize() + bytes.size() + bytes.size() / 32 + PieceEncoder::room(first);
    if (expected > DataBuffer::kMaxSize || !out.ensureCapacity(expected)) {
        return false;
    }
    while (encoder.left() != 0) {
        const std::size_t count = std::min(encoder.left(), PieceEncoder::kPiece);
        char* const begin = out.grow(PieceEncoder::room(count));
        if (begin == nullptr) {
            return false;
        }
        const char* const end = encoder.encode(count, begin);
        out.setLength(out.getSize() + static_cast<std::size_t>(end - begin));
    }
    return true;
}

#else

bool appendEncoded(std::string_view bytes, DataBuffer& out) {
    return scalar::appendQuotedPrintable(bytes, out);
}

#endif

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
