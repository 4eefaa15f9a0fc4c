#if defined(__x86_64__)

#include "charset/sse42.h"
#include "charset/text_runs_sse42.h"
#include "charset/utf7_alphabet.h"
#include "charset/utf8_bytes.h"

namespace borvik::sse42 {
namespace {

/// The bytes that are not direct characters of UTF-7.
BORVIK_SSE42 inline unsigned codedMask(__m128i value) {
    alignas(16) static constexpr std::array<std::uint8_t, 16> kRows = makeUtf7DirectRows();
    const __m128i bits = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
    return mask(_mm_cmpeq_epi8(setBits(load(kRows.data()), bits, value), _mm_setzero_si128()));
}

/// 16 digits make 6 units.
constexpr unsigned kUnitsOfVector = 6;

/// The bytes that are no base64 digits.
BORVIK_SSE42 inline unsigned nonDigitMask(__m128i value) {
    // The class of a byte is told by its nibbles: where the bits of both meet, it is no digit.
    const __m128i lowClasses = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                             0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m128i highClasses = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                              0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m128i both =
        _mm_and_si128(_mm_shuffle_epi8(lowClasses, _mm_and_si128(value, bytes(0x0F))),
                      _mm_shuffle_epi8(highClasses, shiftRight(value, 4, 0x0F)));
    return ~mask(_mm_cmpeq_epi8(both, _mm_setzero_si128())) & 0xFFFFU;
}

/// The first bytes of a vector, or 16-bit lanes; the others become 0.
BORVIK_SSE42 inline __m128i firstBytes(__m128i value, unsigned count) {
    const __m128i places = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_and_si128(value, _mm_cmpgt_epi8(bytes(static_cast<int>(count)), places));
}

/// The units that digits stand for; others than digits must not be looked at. Behind `count` digits
/// come zeros.
BORVIK_SSE42 inline __m128i unitsOfDigits(__m128i digits, unsigned count) {
    // What turns a digit into its value, by high nibble; "/" has the row before that of "+".
    const __m128i offsets = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i toUnits = _mm_setr_epi8(1, 2, 6, 0, 4, 5, 9, 10, 14, 8, 12, 13, -1, -1, -1, -1);
    const __m128i row =
        _mm_add_epi8(shiftRight(digits, 4, 0x0F), _mm_cmpeq_epi8(digits, bytes('/')));
    const __m128i values = firstBytes(_mm_add_epi8(digits, _mm_shuffle_epi8(offsets, row)), count);
    const __m128i twelves = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i bits = _mm_madd_epi16(twelves, _mm_set1_epi32(0x00011000));
    return _mm_shuffle_epi8(bits, toUnits);
}

/// Up to 6 units as digits; the bits behind them in the last digit are those of the next unit.
BORVIK_SSE42 inline __m128i digitsOfUnits(__m128i units) {
    // Of each 3 bytes in stream order the second, the first, the third and again the second.
    const __m128i spread = _mm_setr_epi8(0, 1, 3, 0, 5, 2, 4, 5, 6, 7, 9, 6, 11, 8, 10, 11);
    // What turns a value into its digit: for 26 to 51, 52 to 61, 62, 63 and 0 to 25.
    const __m128i offsets =
        _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                      '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
    const __m128i parts = _mm_shuffle_epi8(units, spread);
    const __m128i odd = _mm_mulhi_epu16(_mm_and_si128(parts, _mm_set1_epi32(0x0FC0FC00)),
                                        _mm_set1_epi32(0x04000040));
    const __m128i even = _mm_mullo_epi16(_mm_and_si128(parts, _mm_set1_epi32(0x003F03F0)),
                                         _mm_set1_epi32(0x01000010));
    const __m128i values = _mm_or_si128(odd, even);
    const __m128i upper = _mm_and_si128(_mm_cmpgt_epi8(bytes(26), values), bytes(13));
    const __m128i row = _mm_or_si128(_mm_subs_epu8(values, bytes(51)), upper);
    return _mm_add_epi8(values, _mm_shuffle_epi8(offsets, row));
}

/// Characters outside coded runs, up to the first other one. False there.
BORVIK_SSE42 inline bool readDirect(TextCursor& c) {
    const __m128i value = load(c.in);
    const unsigned others =
        mask(_mm_or_si128(_mm_cmpeq_epi8(value, bytes('+')), _mm_cmplt_epi8(value, bytes(1))));
    store(c.out, _mm_unpacklo_epi8(value, _mm_setzero_si128()));
    store(c.out + kVector, _mm_unpackhi_epi8(value, _mm_setzero_si128()));
    const unsigned count = firstBit(others);
    c.in += count;
    c.out += 2 * count;
    return others == 0;
}

/// The next digits of a run, with "-" if that ends it. False for an end in any other way, and for
/// bits that are left over.
BORVIK_SSE42 inline bool readCoded(TextCursor& c, Utf7Run& run) {
    const __m128i digits = load(c.in);
    const unsigned others = nonDigitMask(digits);
    if (others == 0) {
        store(c.out, unitsOfDigits(digits, kVector));
        c.in += kVector;
        c.out += std::size_t{2} * kUnitsOfVector;
        run = {true, false, true};
        return true;
    }
    const unsigned count = firstBit(others);
    const unsigned made = count * 6 / 16;
    alignas(16) std::array<std::uint8_t, kVector> units;
    store(units.data(), unitsOfDigits(digits, count));
    if (c.in[count] != '-' || loadUnit(units.data() + std::size_t{2} * made) != 0 ||
        (made == 0 && run.first)) {
        return false;
    }
    std::memcpy(c.out, units.data(), units.size());
    c.in += count + 1;
    c.out += std::size_t{2} * made;
    run.coded = false;
    return true;
}

/// A run of one unit, as Latin text is full of. To foresee its end by a branch is quicker than to
/// wait for a count of digits.
BORVIK_SSE42 inline bool readSingle(TextCursor& c) {
    const unsigned high = kUtf7Sextets[c.in[0]];
    const unsigned middle = kUtf7Sextets[c.in[1]];
    const unsigned low = kUtf7Sextets[c.in[2]];
    if (c.in[3] != '-' || ((high | middle | low) & 0x80) != 0 || (low & 3) != 0) {
        return false;
    }
    c.out = putUnit(static_cast<char16_t>(high << 10 | middle << 4 | low >> 2), c.out);
    c.in += 4;
    return true;
}

}  // namespace

BORVIK_SSE42 void utf7ToUtf16(TextCursor& cursor, Utf7Run& state) {
    TextCursor c = cursor;
    Utf7Run run = state;

    while (c.has(2 * kVector)) {
        if (!run.coded) {
            if (readDirect(c)) {
                continue;
            }
            if (*c.in != '+') {
                break;
            }
            ++c.in;
            if (c.left() >= 4 && readSingle(c)) {
                continue;
            }
            run = {true, true, false};
        }
        // There may be one byte less than before, and still a vector of them.
        if (c.left() < kVector || !readCoded(c, run)) {
            break;
        }
    }
    cursor = c;
    state = run;
}

namespace {

/// 16 units as bytes. Saturating gives 0 or 0xFF for units over 0xFF, which are not direct
/// characters either.
BORVIK_SSE42 inline __m128i narrowUnits(const std::uint8_t* in) {
    return _mm_packus_epi16(load(in), load(in + kVector));
}

/// Units of a block, each told by a bit whether it is coded.
constexpr unsigned kUnitsOfBlock = 64;

/// Writes a block as runs of direct and of coded units, which the bits of its units mark off
/// without looking at the text again.
class BlockWriter {
public:
    BORVIK_SSE42 BlockWriter(const std::uint8_t* in, std::uint8_t* out) : in_(in), out_(out) {
        const __m128i plus = bytes('+');
        for (unsigned i = 0; i < kUnitsOfBlock; i += kVector) {
            const __m128i value = narrowUnits(in + 2 * i);
            coded_ |= static_cast<std::uint64_t>(codedMask(value)) << i;
            pluses_ |= static_cast<std::uint64_t>(mask(_mm_cmpeq_epi8(value, plus))) << i;
        }
    }

    /// Stops behind the block, or within the last 6 units when these are coded.
    BORVIK_SSE42 void write(Utf7Run& run) {
        while (place_ < kUnitsOfBlock) {
            if (!run.coded) {
                writeDirect();
                if (place_ == kUnitsOfBlock) {
                    break;
                }
                *out_++ = '+';
                if ((pluses_ >> place_ & 1) != 0) {
                    *out_++ = '-';
                    ++place_;
                    continue;
                }
            }
            run.coded = !writeCoded();
            if (run.coded) {
                break;
            }
            *out_++ = '-';
        }
    }

    const std::uint8_t* readUpTo() const { return in_ + std::size_t{2} * place_; }
    std::uint8_t* writtenUpTo() const { return out_; }

private:
    /// The place of the next bit that is set, at or behind the present place.
    unsigned nextOf(std::uint64_t bits) const {
        const std::uint64_t rest = bits >> place_;
        return rest == 0 ? kUnitsOfBlock : place_ + static_cast<unsigned>(__builtin_ctzll(rest));
    }

    BORVIK_SSE42 void writeDirect() {
        const unsigned end = nextOf(coded_);
        const std::uint8_t* in = readUpTo();
        const std::size_t count = end - place_;
        for (std::size_t i = 0; i < count; i += 2 * kVector) {
            store(out_ + i, narrowUnits(in + 2 * i));
            store(out_ + i + kVector, narrowUnits(in + 2 * i + 2 * kVector));
        }
        out_ += count;
        place_ = end;
    }

    /// False when the run may go on behind the block. Whole groups are written then.
    BORVIK_SSE42 bool writeCoded() {
        const unsigned end = nextOf(~coded_);
        for (; place_ + kUnitsOfVector <= end; place_ += kUnitsOfVector) {
            store(out_, digitsOfUnits(load(readUpTo())));
            out_ += kVector;
        }
        if (end == kUnitsOfBlock) {
            return false;
        }
        const unsigned count = end - place_;
        store(out_, digitsOfUnits(firstBytes(load(readUpTo()), 2 * count)));
        out_ += (count * 16 + 5) / 6;
        place_ = end;
        return true;
    }

    const std::uint8_t* in_;
    std::uint8_t* out_;
    std::uint64_t coded_ = 0;
    std::uint64_t pluses_ = 0;
    unsigned place_ = 0;
};

}  // namespace

BORVIK_SSE42 void utf16ToUtf7(TextCursor& c, Utf7Run& run) {
    // Vectors that begin in the block reach behind it.
    constexpr std::size_t kSeen = std::size_t{2} * kUnitsOfBlock + 4 * kVector;
    while (c.has(kSeen)) {
        BlockWriter writer(c.in, c.out);
        writer.write(run);
        c.in = writer.readUpTo();
        c.out = writer.writtenUpTo();
    }
}

}  // namespace borvik::sse42

#endif
