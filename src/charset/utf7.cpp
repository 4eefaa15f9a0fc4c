#include "charset/utf7.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "base/data_buffer.h"
#include "charset/lanes/text_runs.h"
#include "charset/lanes/utf7_alphabet.h"
#include "charset/lanes/utf8_bytes.h"
#include "charset/output_room.h"

namespace borvik {
namespace {

constexpr char16_t kByteOrderMark = 0xFEFF;
constexpr unsigned kDigitBits = 6;
constexpr unsigned kUnitBits = 16;
/// Taken one by one before the lanes are tried again, which begin where no bits are left over.
constexpr int kUnitsPerStep = 16;

/// Units under 0x80 that stand for themselves outside a coded run.
constexpr std::array<bool, 128> makeDirect() {
    std::array<bool, 128> direct{};
    for (const char c : kUtf7Direct) {
        direct[static_cast<unsigned char>(c)] = true;
    }
    return direct;
}

constexpr std::array<bool, 128> kDirect = makeDirect();

constexpr bool isDirect(char16_t unit) {
    return unit < kDirect.size() && kDirect[unit];
}

class Encoder {
public:
    explicit Encoder(const TextRuns& runs) : runs_(runs) {}

    bool operator()(TextCursor& c) {
        while (c.goesOn()) {
            if (count_ == 0) {
                runs_.utf16ToUtf7(c, run_);
            }
            for (int i = 0; (i < kUnitsPerStep || count_ != 0) && c.goesOn(); ++i) {
                step(c);
            }
        }
        return true;
    }

    bool isCoded() const { return run_.coded; }

    /// Ends a coded run: the bits that are left, filled up with zeros, and "-". At most 2 bytes.
    std::uint8_t* endRun(std::uint8_t* out) {
        if (count_ > 0) {
            *out++ = utf7Digit(bits_ << (kDigitBits - count_));
        }
        *out++ = '-';
        bits_ = 0;
        count_ = 0;
        run_.coded = false;
        return out;
    }

private:
    void step(TextCursor& c) {
        const char16_t unit = loadUnit(c.in);
        if (isDirect(unit)) {
            if (run_.coded) {
                c.out = endRun(c.out);
            }
            *c.out++ = static_cast<std::uint8_t>(unit);
            c.in += 2;
            return;
        }
        if (!run_.coded) {
            *c.out++ = '+';
            if (unit == u'+') {
                *c.out++ = '-';
                c.in += 2;
                return;
            }
            run_.coded = true;
        }
        c.in += 2;
        bits_ = bits_ << kUnitBits | unit;
        for (count_ += kUnitBits; count_ >= kDigitBits; count_ -= kDigitBits) {
            *c.out++ = utf7Digit(bits_ >> (count_ - kDigitBits));
        }
        bits_ &= (1U << count_) - 1;
    }

    const TextRuns& runs_;
    Utf7Run run_;
    std::uint32_t bits_ = 0;
    unsigned count_ = 0;
};

class Decoder {
public:
    explicit Decoder(const TextRuns& runs) : runs_(runs) {}

    bool operator()(TextCursor& c) {
        while (c.goesOn()) {
            if (count_ == 0) {
                runs_.utf7ToUtf16(c, run_);
            }
            for (int i = 0; (i < kUnitsPerStep || count_ != 0) && c.goesOn(); ++i) {
                run_.coded ? stepCoded(c) : stepDirect(c);
            }
        }
        return true;
    }

    /// To be asked behind the last byte.
    bool wellFormed() {
        if (run_.coded) {
            endRun();
            wellFormed_ = wellFormed_ && run_.wroteOne;
        }
        return wellFormed_;
    }

private:
    void stepDirect(TextCursor& c) {
        const std::uint8_t byte = *c.in++;
        if (byte == '+') {
            run_ = {true, true, false};
        } else if (byte >= 0x80) {
            wellFormed_ = false;
            c.out = putUnit(static_cast<char16_t>(0xFF00 | byte), c.out);
        } else if (byte != 0) {
            c.out = putUnit(byte, c.out);
        }
    }

    void stepCoded(TextCursor& c) {
        const std::uint8_t byte = *c.in;
        const std::uint8_t sextet = kUtf7Sextets[byte];
        // "+" is a digit, so that of the two only "-" ends a run.
        if (sextet == kNoUtf7Digit) {
            endRun();
            if (byte == '-') {
                ++c.in;
                if (run_.first) {
                    c.out = putUnit(u'+', c.out);
                    return;
                }
            }
            wellFormed_ = wellFormed_ && run_.wroteOne;
            return;
        }
        ++c.in;
        run_.first = false;
        bits_ = bits_ << kDigitBits | sextet;
        count_ += kDigitBits;
        if (count_ >= kUnitBits) {
            count_ -= kUnitBits;
            c.out = putUnit(static_cast<char16_t>(bits_ >> count_), c.out);
            bits_ &= (1U << count_) - 1;
            run_.wroteOne = true;
        }
    }

    /// Leaves the coded run; bits that are left over are no more than filling.
    void endRun() {
        run_.coded = false;
        wellFormed_ = wellFormed_ && bits_ == 0;
        bits_ = 0;
        count_ = 0;
    }

    const TextRuns& runs_;
    Utf7Run run_;
    bool wellFormed_ = true;
    std::uint32_t bits_ = 0;
    unsigned count_ = 0;
};

}  // namespace

bool utf16ToUtf7(std::string_view utf16, DataBuffer& out, const TextRuns& runs) {
    utf16 = utf16.substr(0, utf16.size() & ~std::size_t{1});
    if (utf16.size() >= 2 &&
        loadUnit(reinterpret_cast<const std::uint8_t*>(utf16.data())) == kByteOrderMark) {
        utf16.remove_prefix(2);
    }
    Encoder encoder(runs);
    const bool stored = appendConverted(utf16.data(), utf16.size(), out, utf16.size(),
                                        [&encoder](TextCursor& c) { return encoder(c); });
    if (!encoder.isCoded()) {
        return stored;
    }
    std::array<std::uint8_t, 2> tail;
    const std::uint8_t* end = encoder.endRun(tail.data());
    return out.append(tail.data(), static_cast<std::size_t>(end - tail.data())) && stored;
}

bool utf7ToUtf16(std::string_view utf7, DataBuffer& out, const TextRuns& runs) {
    Decoder decoder(runs);
    const bool stored = appendConverted(utf7.data(), utf7.size(), out, 2 * utf7.size(),
                                        [&decoder](TextCursor& c) { return decoder(c); });
    return decoder.wellFormed() && stored;
}

}  // namespace borvik
