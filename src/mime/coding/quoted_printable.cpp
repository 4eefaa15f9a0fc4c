#include "mime/coding/quoted_printable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "mime/coding/hex_digits.h"
#include "mime/coding/quoted_printable_lines.h"

namespace borvik::scalar {

namespace {

using quoted_printable::isPlain;
using quoted_printable::kLastCodedColumn;
using quoted_printable::kMaxColumn;

/// Input coded between two looks at the room in the output, and what may be coded beyond it.
constexpr std::size_t kChunk = 16384;
constexpr std::size_t kOvershoot = 16;

/// What a byte becomes where it stands neither at the start nor at the end of a line. Blanks and
/// CR, which take a look at what follows, have no length.
struct CodedByte {
    char text[4];
    std::uint8_t length;
};

constexpr std::array<CodedByte, 256> makeCodedBytes() {
    std::array<CodedByte, 256> coded{};
    for (std::size_t c = 0; c < coded.size(); ++c) {
        if (isPlain(static_cast<char>(c)) && c > ' ') {
            coded[c] = {{static_cast<char>(c)}, 1};
        } else if (!isPlain(static_cast<char>(c)) && c != '\r') {
            coded[c] = {{'=', kHexPairs[2 * c], kHexPairs[2 * c + 1]}, 3};
        }
    }
    return coded;
}
constexpr std::array<CodedByte, 256> kCodedBytes = makeCodedBytes();

/// Bytes that are taken one by one behind a coded one before the next try with a whole run.
constexpr std::size_t kMixedRun = 8;

class LineEncoder {
public:
    explicit LineEncoder(std::string_view bytes)
        : in_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    std::size_t left() const { return static_cast<std::size_t>(end_ - in_); }

    /// Room that `count` bytes can need: three characters each, a soft break for every 73
    /// characters, and what the stores write too much.
    static constexpr std::size_t room(std::size_t count) {
        return 3 * count + 3 * (3 * count / kLastCodedColumn + 2) + kOvershoot;
    }

    /// Codes about `count` bytes, at most `kOvershoot` more; returns the place behind the output.
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

}  // namespace borvik::scalar
