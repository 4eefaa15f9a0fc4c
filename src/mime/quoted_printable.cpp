#include "mime/quoted_printable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "mime/base64.h"
#include "mime/hex_digits.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace borvik {

namespace {

constexpr std::size_t kVector = 16;

/// Content of a line, a soft break's "=" not counted.
constexpr std::size_t kMaxColumn = kMimeLineLength - 1;
/// From this column a coded byte doesn't fit any more.
constexpr std::size_t kLastCodedColumn = kMaxColumn - 2;

/// Input coded between two looks at the room in the output.
constexpr std::size_t kChunk = 16384;

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

/// Bytes at `in` before the first one that isn't plain, at most `limit`. They are copied to `out`,
/// and up to 15 bytes behind them are written too; `end` bounds what may be read.
std::size_t copyPlain(const char* in, const char* end, std::size_t limit, char* out) {
    std::size_t done = 0;
#if defined(__SSE2__)
    const __m128i belowBlank = _mm_set1_epi8(31);
    const __m128i del = _mm_set1_epi8(127);
    const __m128i equals = _mm_set1_epi8('=');
    const __m128i tab = _mm_set1_epi8('\t');
    while (done < limit && static_cast<std::size_t>(end - in) - done >= kVector) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + done));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), v);
        const __m128i coded = _mm_or_si128(_mm_cmpeq_epi8(v, del), _mm_cmpeq_epi8(v, equals));
        const __m128i plain = _mm_or_si128(_mm_andnot_si128(coded, _mm_cmpgt_epi8(v, belowBlank)),
                                           _mm_cmpeq_epi8(v, tab));
        const unsigned other = ~static_cast<unsigned>(_mm_movemask_epi8(plain)) & 0xFFFF;
        const std::size_t run =
            other == 0 ? kVector : static_cast<std::size_t>(__builtin_ctz(other));
        if (run < kVector) {
            return std::min(done + run, limit);
        }
        done = std::min(done + kVector, limit);
    }
#endif
    while (done < limit && isPlain(in[done])) {
        out[done] = in[done];
        ++done;
    }
    return done;
}

class LineEncoder {
public:
    explicit LineEncoder(std::string_view bytes)
        : in_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    std::size_t left() const { return static_cast<std::size_t>(end_ - in_); }

    /// Room that `count` bytes can need: three characters each, a soft break for every 73
    /// characters, and what a vector store writes too much.
    static constexpr std::size_t room(std::size_t count) {
        return 3 * count + 3 * (3 * count / kLastCodedColumn + 2) + kVector;
    }

    /// Codes about `count` bytes, at most two more; returns the place behind the output.
    char* encode(std::size_t count, char* out) {
        const char* const chunkEnd = in_ + count;
        out_ = out;
        while (in_ < chunkEnd) {
            if (column_ == 0 && fragile()) {
                writeCoded(*in_++);
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
    bool beginsLineEnd() const { return left() >= 2 && in_[0] == '\r' && in_[1] == '\n'; }

    /// Bytes that relays change at the start of a line.
    bool fragile() const {
        return *in_ == '.' || (*in_ == 'F' && left() >= 5 && std::memcmp(in_, "From ", 5) == 0);
    }

    void takeRun(const char* chunkEnd) {
        const std::size_t limit =
            std::min(kMaxColumn - column_, static_cast<std::size_t>(chunkEnd - in_));
        std::size_t run = copyPlain(in_, end_, limit, out_);
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
    }

    const char* in_;
    const char* end_;
    char* out_ = nullptr;
    std::size_t column_ = 0;
};

}  // namespace

bool appendQuotedPrintable(std::string_view bytes, DataBuffer& out) {
    if (bytes.empty()) {
        return true;
    }
    LineEncoder encoder(bytes);
    const std::size_t first = std::min(bytes.size(), kChunk);
    const std::size_t expected =
        out.getSize() + bytes.size() + bytes.size() / 32 + LineEncoder::room(first + 2);
    if (expected > DataBuffer::kMaxSize || !out.ensureCapacity(expected)) {
        return false;
    }
    while (encoder.left() != 0) {
        const std::size_t count = std::min(encoder.left(), kChunk);
        char* const begin = out.grow(LineEncoder::room(count + 2));
        if (begin == nullptr) {
            return false;
        }
        const char* const end = encoder.encode(count, begin);
        out.setLength(out.getSize() + static_cast<std::size_t>(end - begin));
    }
    return true;
}

}  // namespace borvik
