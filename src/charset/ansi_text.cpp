#include "charset/ansi_text.h"

#include <array>
#include <utility>

#include "charset/lanes/text_cursor.h"
#include "charset/lanes/text_runs.h"
#include "charset/lanes/utf8_bytes.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"
#include "charset/utf_pairs.h"
#include "platform/code_page.h"
#include "platform/memory_pages.h"

namespace borvik {
namespace {

constexpr char kDefaultCharacter = '?';

std::uint32_t legalPage(std::uint32_t codePage) {
    return platform::isLegalAnsiPage(codePage) ? codePage : kUtf8;
}

/// Characters that a loop takes before it tries the fast lanes again.
constexpr std::size_t kStep = 16;

/// A text that grows by pieces, which are filled through a cursor.
template <typename String>
class Result {
public:
    /// Reserves room for what is usual.
    Result(const void* input, std::size_t length, std::size_t characters) {
        text_.reserve(characters);
        const auto* in = static_cast<const std::uint8_t*>(input);
        cursor = {in, in + length, piece_.data(), piece_.data() + kPieceBytes};
    }

    /// Takes over what the piece holds. To be called once the cursor is past its limit, and at
    /// last.
    void flush() {
        const auto size = static_cast<std::size_t>(cursor.out - piece_.data());
        text_.append(reinterpret_cast<const Character*>(piece_.data()), size / sizeof(Character));
        cursor.out = piece_.data();
    }
    String take() && {
        flush();
        return std::move(text_);
    }

    TextCursor cursor;

private:
    using Character = typename String::value_type;
    static constexpr std::size_t kPieceBytes = 4096;

    alignas(Character) std::array<std::uint8_t, kPieceBytes + TextCursor::kStepRoom> piece_;
    String text_;
};

/// A character of a single-byte page; an undefined byte is the unit of the same number.
void decodeByte(const DecodeTable& table, TextCursor& c) {
    const std::uint8_t byte = *c.in++;
    const char16_t unit = table.single[byte];
    c.out = putUnit(unit != 0 ? unit : byte, c.out);
}

/// A character of a double-byte page, or "?" for a byte that begins none.
void decodePair(const DecodeTable& table, TextCursor& c) {
    const std::uint8_t lead = *c.in;
    char16_t unit = c.left() >= 2 ? table.pair(lead, c.in[1]) : u'\0';
    c.in += unit != 0 ? 2 : 1;
    if (unit == 0) {
        unit = table.single[lead];
        if (unit == 0 && lead != 0) {
            unit = kDefaultCharacter;
        }
    }
    c.out = putUnit(unit, c.out);
}

std::u16string decodePage(std::string_view text, const DecodeTable& table) {
    Result<std::u16string> result(text.data(), text.size(), text.size());
    TextCursor& c = result.cursor;
    const bool multiByte = table.isMultiByte();
    const auto lane = multiByte ? nativeRuns().doubleByteToUtf16 : nativeRuns().singleByteToUtf16;
    while (c.in < c.inEnd) {
        lane(table, c);
        for (std::size_t i = 0; i < kStep && c.goesOn(); ++i) {
            multiByte ? decodePair(table, c) : decodeByte(table, c);
        }
        if (!c.goesOn()) {
            result.flush();
        }
    }
    return std::move(result).take();
}

/// The byte of a unit that has no row: the same-numbered one where the page leaves it undefined.
char encodeUnmapped(char16_t unit, const DecodeTable& table) {
    const bool undefinedByte = unit <= 0xFF && !table.isMultiByte() && table.single[unit] == 0;
    return undefinedByte || unit == 0 ? static_cast<char>(unit) : kDefaultCharacter;
}

std::string encodePage(std::u16string_view text, const EncodeTable& table,
                       const DecodeTable& decode) {
    Result<std::string> result(text.data(), 2 * text.size(), text.size());
    TextCursor& c = result.cursor;
    while (c.in < c.inEnd) {
        if (table.asciiCompatible) {
            nativeRuns().utf16ToAscii(c);
        }
        for (std::size_t i = 0; i < kStep && c.goesOn(); ++i, c.in += 2) {
            const char16_t unit = loadUnit(c.in);
            const std::uint16_t cell = table.cell(unit);
            if (cell == 0) {
                *c.out++ = static_cast<std::uint8_t>(encodeUnmapped(unit, decode));
                continue;
            }
            *c.out++ = static_cast<std::uint8_t>(cell & 0xFF);
            if (cell > 0xFF) {
                *c.out++ = static_cast<std::uint8_t>(cell >> 8);
            }
        }
        if (!c.goesOn()) {
            result.flush();
        }
    }
    return std::move(result).take();
}

}  // namespace

std::uint32_t ansiCodePage() {
    return legalPage(platform::GetACP());
}

std::u16string utf8ToWidePaired(std::string_view text) {
    std::u16string wide;
    const std::size_t expected = wellFormedUtf16Length(text);
    platform::reserveLarge(wide, expected);
    wide.resize(expected);
    std::size_t written = takeUtf8(text, wide.data(), wide.size());
    if (!text.empty()) {
        // More characters than a well-formed text of this size has.
        const std::size_t whole = written + utf16Length(text);
        wide.resize(whole);
        written += takeUtf8(text, wide.data() + written, whole - written);
    }
    wide.resize(written);
    return wide;
}

std::string wideToUtf8Paired(std::u16string_view text) {
    std::string utf8;
    const std::size_t length = utf8Length(text);
    platform::reserveLarge(utf8, length);
    utf8.resize(length);
    takeUtf16(text, utf8.data(), utf8.size());
    return utf8;
}

std::u16string ansiToWide(std::string_view text) {
    return ansiToWide(text, platform::GetACP());
}

std::u16string ansiToWide(std::string_view text, std::uint32_t codePage) {
    const std::uint32_t page = legalPage(codePage);
    const DecodeTable* table = decodeTable(page);
    return table == nullptr ? utf8ToWidePaired(text) : decodePage(text, *table);
}

std::string wideToAnsi(std::u16string_view text) {
    return wideToAnsi(text, platform::GetACP());
}

std::string wideToAnsi(std::u16string_view text, std::uint32_t codePage) {
    const std::uint32_t page = legalPage(codePage);
    const EncodeTable* encode = encodeTable(page);
    const DecodeTable* decode = decodeTable(page);
    return encode == nullptr || decode == nullptr ? wideToUtf8Paired(text)
                                                  : encodePage(text, *encode, *decode);
}

std::string ansiToUtf8(std::string_view text) {
    return ansiToUtf8(text, platform::GetACP());
}

std::string ansiToUtf8(std::string_view text, std::uint32_t codePage) {
    return legalPage(codePage) == kUtf8 ? std::string(text)
                                        : wideToUtf8Paired(ansiToWide(text, codePage));
}

std::string utf8ToAnsi(std::string_view text) {
    return utf8ToAnsi(text, platform::GetACP());
}

std::string utf8ToAnsi(std::string_view text, std::uint32_t codePage) {
    return legalPage(codePage) == kUtf8 ? std::string(text)
                                        : wideToAnsi(utf8ToWidePaired(text), codePage);
}

std::optional<std::string> wideToAnsiExactly(std::u16string_view text) {
    std::string ansi = wideToAnsi(text);
    return ansiToWide(ansi) == text ? std::optional(std::move(ansi)) : std::nullopt;
}

bool isWellFormedUtf8(std::string_view text) {
    return wideToUtf8Paired(utf8ToWidePaired(text)) == text;
}

}  // namespace borvik
