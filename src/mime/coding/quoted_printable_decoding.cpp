#include "mime/coding/quoted_printable_decoding.h"

#include <algorithm>
#include <bit>

#include "base/data_buffer.h"
#include "mime/coding/quoted_printable_decoder.h"

namespace borvik {

namespace quoted_printable {

bool Decoder::begin() {
    const auto size = static_cast<std::size_t>(end_ - in_);
    const std::size_t wanted = buffer_.getSize() + size + size / 16 + 2 * kSlack;
    if (wanted <= DataBuffer::kMaxSize && !buffer_.ensureCapacity(wanted)) {
        return false;
    }
    out_ = buffer_.getData() + buffer_.getSize();
    return keepRoom();
}

std::size_t Decoder::written() {
    return static_cast<std::size_t>(out_ - buffer_.getData());
}

/// Makes room for all that is left at once where that isn't sure: a text of bare line feeds would
/// move the output for each of them.
bool Decoder::keepRoom() {
    const std::size_t needed = static_cast<std::size_t>(end_ - in_) + kSlack;
    if (buffer_.getCapacity() - written() < needed) {
        std::size_t bareFeeds = 0;
        char before = 0;
        for (const char* at = in_; at != end_; before = *at++) {
            bareFeeds += static_cast<unsigned>(*at == '\n') & static_cast<unsigned>(before != '\r');
        }
        buffer_.setLength(written());
        out_ = buffer_.grow(needed + bareFeeds);
    }
    return out_ != nullptr;
}

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

bool Decoder::takeFirstStops(const char* end) {
    for (const char* at = in_; at != end; ++at) {
        const bool isStop = low7(*at) == '=' || *at == '\n' || *at == '\0';
        if (isStop && at >= in_ && !takeStop(at)) {
            return false;
        }
    }
    return true;
}

void Decoder::takeVectors(TakeBlocks takeBlocks) {
    constexpr std::ptrdiff_t kTail = 256;
    if (end_ - in_ >= kTail) {
        takeBlocks(*this, end_);
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
    takeBlocks(*this, end_ + kRead);
    in_ = nullptr;
    end_ = nullptr;
}

bool decode(std::string_view text, DataBuffer& out, Decoder::TakeBlocks takeBlocks) {
    if (text.empty()) {
        return true;
    }
    Decoder decoder(text, out);
    if (!decoder.begin()) {
        return false;
    }
    if (takeBlocks != nullptr) {
        decoder.takeVectors(takeBlocks);
    }
    return decoder.takeLines();
}

}  // namespace quoted_printable

bool scalar::appendDecodedQuotedPrintable(std::string_view text, DataBuffer& out) {
    return quoted_printable::decode(text, out, nullptr);
}

}  // namespace borvik
