#include "mime/quoted_printable_decoding.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "mime/base64_avx2.h"
#include "mime/hex_digits.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace borvik {

namespace {

constexpr char low7(char c) {
    return static_cast<char>(c & 0x7F);
}

/// Doesn't count at the end of a line. Of the line feeds only those with the 8th bit are meant: a
/// plain one ends the line before.
constexpr bool isTrailingBlank(char c) {
    const char low = low7(c);
    return c != '\n' && (low == ' ' || low == '\t' || low == '\r' || low == '\n');
}

const char* withoutTrailingBlanks(const char* begin, const char* end) {
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
constexpr std::uint16_t kSoftBreak = 0;
constexpr std::uint16_t kHighestByte = 0xFF + 1;

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
constexpr EscapeHalves kEscapeHalves = makeEscapeHalves();

constexpr std::uint16_t escapeAt(const char* digits) {
    return static_cast<std::uint16_t>(kEscapeHalves.first[static_cast<unsigned char>(digits[0])] +
                                      kEscapeHalves.second[static_cast<unsigned char>(digits[1])]);
}

constexpr bool isByte(std::uint16_t escape) {
    return escape != kSoftBreak && escape <= kHighestByte;
}

#if defined(__x86_64__)

#define TESSOLT_AVX2 __attribute__((target("avx2,bmi")))

constexpr std::ptrdiff_t kBlock = 64;
/// Bytes in front of a block that its line ends depend on.
constexpr std::ptrdiff_t kLookBack = 2;
/// A run that begins in a block may be read beyond it by a vector.
constexpr std::ptrdiff_t kRead = 2 * kBlock;

TESSOLT_AVX2 inline __m256i load(const char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// The stops of 64 bytes, bit i for byte i.
struct Stops {
    std::uint64_t equals = 0;  // by the low 7 bits
    /// Zero bytes, and line feeds but for those behind a CR with no blank in front of it. Controls
    /// and 8-bit bytes count as blanks here.
    std::uint64_t others = 0;

    Stops() = default;
    /// Looks at the two bytes before as well.
    TESSOLT_AVX2 explicit Stops(const char* block) {
        add(block, 0);
        add(block + kBlock / 2, kBlock / 2);
    }

private:
    TESSOLT_AVX2 void add(const char* bytes, int shift) {
        const __m256i here = load(bytes);
        const __m256i low = _mm256_and_si256(here, _mm256_set1_epi8(0x7F));
        const __m256i zero = _mm256_cmpeq_epi8(here, _mm256_setzero_si256());
        const __m256i feed = _mm256_cmpeq_epi8(here, _mm256_set1_epi8('\n'));
        const __m256i behindCr = _mm256_cmpeq_epi8(load(bytes - 1), _mm256_set1_epi8('\r'));
        const __m256i blank = _mm256_cmpgt_epi8(_mm256_set1_epi8(' ' + 1), load(bytes - 2));
        const __m256i clean = _mm256_andnot_si256(blank, behindCr);
        equals |= mask(_mm256_cmpeq_epi8(low, _mm256_set1_epi8('='))) << shift;
        others |= mask(_mm256_or_si256(zero, _mm256_andnot_si256(clean, feed))) << shift;
    }

    TESSOLT_AVX2 static std::uint64_t mask(__m256i marks) {
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(marks));
    }
};

#endif

/// One run over a text. The output has room for what is left of the text all the time, and for
/// vectors beyond it: only a line feed without a CR becomes longer.
class Decoder {
public:
    Decoder(std::string_view text, DataBuffer& out)
        : in_(text.data()), end_(text.data() + text.size()), buffer_(out) {}

    bool begin() {
        const auto size = static_cast<std::size_t>(end_ - in_);
        const std::size_t wanted = buffer_.getSize() + size + size / 16 + 2 * kSlack;
        if (wanted <= DataBuffer::kMaxSize && !buffer_.ensureCapacity(wanted)) {
            return false;
        }
        out_ = buffer_.getData() + buffer_.getSize();
        return keepRoom();
    }

    /// Takes most of the text, or all of it, in vectors; the rest is for `takeLines`.
    void takeVectors();
    /// Decodes line by line to the end, and sets the length of the output. False without memory.
    bool takeLines();

private:
    static constexpr std::size_t kSlack = 64;

    std::size_t written() { return static_cast<std::size_t>(out_ - buffer_.getData()); }

    bool keepRoom() {
        const std::size_t needed = static_cast<std::size_t>(end_ - in_) + kSlack;
        if (buffer_.getCapacity() - written() < needed) {
            buffer_.setLength(written());
            out_ = buffer_.grow(needed);
        }
        return out_ != nullptr;
    }

    void takeBlocks(const char* readable);
    bool takeFirstStops(const char* begin, const char* end);
    bool takeStops(const char* block, std::uint64_t stops);
    bool takeStop(const char* stop);
    void takeEquals();
    void takeByteOrEquals(const char* lineEnd);

    const char* in_;
    const char* end_;
    DataBuffer& buffer_;
    char* out_ = nullptr;
};

/// Decodes the "=" that comes next by its two digits; without them it stays.
void Decoder::takeByteOrEquals(const char* lineEnd) {
    // Careless senders print bytes with their sign extended, "=FFFFFFE9" for E9.
    constexpr std::string_view kExtension = "FFFFFF";
    const auto hasByte = [lineEnd](const char* digits) {
        return lineEnd - digits >= 2 && isByte(escapeAt(digits));
    };
    const char* digits = in_ + 1;
    if (!hasByte(digits)) {
        *out_++ = *in_++;
        return;
    }
    if (static_cast<std::size_t>(lineEnd - digits) > kExtension.size() &&
        std::equal(kExtension.begin(), kExtension.end(), digits,
                   [](char f, char c) { return low7(c) == f; }) &&
        hasByte(digits + kExtension.size())) {
        digits += kExtension.size();
    }
    *out_++ = static_cast<char>(escapeAt(digits) - 1);
    in_ = digits + 2;
}

/// Decodes line by line.
bool Decoder::takeLines() {
    if (out_ == nullptr) {
        return false;
    }
    end_ = std::find(in_, end_, '\0');
    while (in_ != end_) {
        const char* const feed = std::find(in_, end_, '\n');
        const char* const lineEnd = withoutTrailingBlanks(in_, feed);
        bool soft = false;
        while (in_ != lineEnd && !soft) {
            if (low7(*in_) != '=') {
                *out_++ = *in_++;
            } else if (in_ + 1 == lineEnd) {
                soft = true;
            } else {
                takeByteOrEquals(lineEnd);
            }
        }
        if (!soft && feed != end_) {
            *out_++ = '\r';
            *out_++ = '\n';
        }
        in_ = feed == end_ ? end_ : feed + 1;
        if (!keepRoom()) {
            return false;
        }
    }
    buffer_.setLength(written());
    return true;
}

/// Takes all up to a stop, and the stop. False at the end of the text, and without memory.
bool Decoder::takeStop(const char* stop) {
    const bool isEquals = low7(*stop) == '=';
    out_ = copyRun(in_, isEquals ? stop : withoutTrailingBlanks(in_, stop), out_);
    in_ = stop;
    if (isEquals) {
        takeEquals();
        return true;
    }
    if (*stop == '\0') {
        end_ = stop;
        return false;
    }
    *out_++ = '\r';
    *out_++ = '\n';
    ++in_;
    return keepRoom();
}

void Decoder::takeEquals() {
    const char* const behind = std::find_if_not(in_ + 1, end_, isTrailingBlank);
    if (behind == end_ || *behind == '\0') {
        in_ = behind;
    } else if (*behind == '\n') {
        in_ = behind + 1;
    } else {
        takeByteOrEquals(end_);
    }
}

#if defined(__x86_64__)

/// Takes all stops of a block. False at the end of the text, and without memory.
bool Decoder::takeStops(const char* block, std::uint64_t stops) {
    for (; stops != 0; stops &= stops - 1) {
        const char* const stop = block + std::countr_zero(stops);
        // The one before may have taken it.
        if (stop >= in_ && !takeStop(stop)) {
            return false;
        }
    }
    return true;
}

/// Takes the stops that stand in front of the first block.
bool Decoder::takeFirstStops(const char* begin, const char* end) {
    for (const char* at = begin; at != end; ++at) {
        const bool isStop = low7(*at) == '=' || *at == '\n' || *at == '\0';
        if (isStop && at >= in_ && !takeStop(at)) {
            return false;
        }
    }
    return true;
}

/// Takes blocks as long as `kRead` bytes are left in front of `readable`. What needs no change,
/// most line ends among it, is copied in one go from one stop to the next.
TESSOLT_AVX2 void Decoder::takeBlocks(const char* readable) {
    const char* block = in_ + kLookBack;
    if (!takeFirstStops(in_, block)) {
        return;
    }
    // The members are in memory, where every byte written might change them.
    const char* in = in_;
    char* out = out_;
    Stops next;
    if (readable - block >= kRead) {
        next = Stops(block);
    }
    for (; readable - block >= kRead; block += kBlock) {
        const Stops stops = next;
        // Those of the block behind are known before the ones here are taken: how many there are is
        // hard to predict, and the wait for them would come on top.
        next = Stops(block + kBlock);
        std::uint64_t left = stops.equals;
        if (stops.others == 0) {
            for (; left != 0; left &= left - 1) {
                const char* const stop = block + std::countr_zero(left);
                const std::uint16_t escape = escapeAt(stop + 1);
                if (escape >= kHighestByte) {
                    break;
                }
                out = copyRun(in, stop, out);
                *out = static_cast<char>(escape - 1);
                out += escape == kSoftBreak ? 0 : 1;
                in = stop + 3;
            }
            if (left == 0) {
                continue;
            }
        }
        in_ = in;
        out_ = out;
        if (!takeStops(block, left | stops.others)) {
            return;
        }
        in = in_;
        out = out_;
    }
    in_ = in;
    out_ = out;
    if (in_ < block) {
        // Blanks may turn out to be trailing ones.
        const char* const sure = withoutTrailingBlanks(in_, block);
        out_ = copyRun(in_, sure, out_);
        in_ = sure;
    }
}

void Decoder::takeVectors() {
    constexpr std::ptrdiff_t kTail = 256;
    if (end_ - in_ >= kTail) {
        takeBlocks(end_);
    }
    const std::ptrdiff_t left = end_ - in_;
    if (out_ == nullptr || left > kTail) {
        return;
    }
    // The rest goes the same way, in a place with zero bytes behind it.
    char tail[kTail + kRead];
    std::copy(in_, end_, tail);
    std::fill_n(tail + left, kRead, '\0');
    in_ = tail;
    end_ = tail + left;
    takeBlocks(end_ + kRead);
    in_ = nullptr;
    end_ = nullptr;
}

#undef TESSOLT_AVX2

const bool kByVectors = avx2::available();

#else

void Decoder::takeVectors() {}

constexpr bool kByVectors = false;

#endif

bool decode(std::string_view text, DataBuffer& out, bool byVectors) {
    if (text.empty()) {
        return true;
    }
    Decoder decoder(text, out);
    if (!decoder.begin()) {
        return false;
    }
    if (byVectors) {
        decoder.takeVectors();
    }
    return decoder.takeLines();
}

}  // namespace

bool scalar::appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out) {
    return decode(text, out, false);
}

bool appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out) {
    return decode(text, out, kByVectors);
}

}  // namespace borvik
