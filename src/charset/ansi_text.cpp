#include "charset/ansi_text.h"

#include <algorithm>
#include <utility>

#include "charset/code_pages.h"
#include "charset/conversion_tables.h"
#include "charset/text_cursor.h"
#include "charset/text_runs.h"
#include "charset/utf8_bytes.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

constexpr char kDefaultCharacter = '?';
constexpr char16_t kReplacement = 0xFFFD;
constexpr char16_t kFirstHighSurrogate = 0xD800;
constexpr char16_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kFirstSupplementary = 0x10000;

std::uint32_t legalPage(std::uint32_t codePage) {
    return platform::isLegalAnsiPage(codePage) ? codePage : kWindowsLatin1;
}

/// Characters that a loop takes before it tries the fast lanes again.
constexpr std::size_t kStep = 16;

/// A text with room for the most that a conversion can write, filled through a cursor and then cut.
template <typename String>
class Result {
public:
    Result(const void* input, std::size_t length, std::size_t mostCharacters)
        : text_(mostCharacters + TextCursor::kStepRoom, 0) {
        const auto* in = static_cast<const std::uint8_t*>(input);
        auto* out = reinterpret_cast<std::uint8_t*>(text_.data());
        cursor = {in, in + length, out, out + (text_.size() * kSize - TextCursor::kStepRoom)};
    }

    String take() && {
        const auto* begin = reinterpret_cast<const std::uint8_t*>(text_.data());
        text_.resize(static_cast<std::size_t>(cursor.out - begin) / kSize);
        return std::move(text_);
    }

    TextCursor cursor;

private:
    static constexpr std::size_t kSize = sizeof(typename String::value_type);

    String text_;
};

bool isSurrogate(char16_t unit) {
    return (unit & 0xF800) == kFirstHighSurrogate;
}

bool holdsSurrogate(const std::uint8_t* units, const std::uint8_t* end) {
    unsigned found = 0;
    for (; units < end; units += 2) {
        found |= isSurrogate(loadUnit(units)) ? 1U : 0U;
    }
    return found != 0;
}

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
        for (std::size_t i = 0; i < kStep && c.in < c.inEnd; ++i) {
            multiByte ? decodePair(table, c) : decodeByte(table, c);
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
    Result<std::string> result(text.data(), 2 * text.size(), 2 * text.size());
    TextCursor& c = result.cursor;
    while (c.in < c.inEnd) {
        if (table.asciiCompatible) {
            nativeRuns().utf16ToAscii(c);
        }
        for (std::size_t i = 0; i < kStep && c.in < c.inEnd; ++i, c.in += 2) {
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
    }
    return std::move(result).take();
}

/// Reads one character of well-formed UTF-8, or the longest part of one that could have become it.
/// Returns the bytes read; `character` is U+FFFD for an ill-formed part.
std::size_t readUtf8(const std::uint8_t* in, std::size_t left, char32_t& character) {
    character = kReplacement;
    const std::uint8_t first = in[0];
    if (first < 0x80) {
        character = first;
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 1;
    }
    std::size_t length = 2;
    std::uint8_t lowest = 0x80;
    std::uint8_t highest = 0xBF;
    if (first >= 0xF0) {
        length = 4;
        lowest = first == 0xF0 ? 0x90 : lowest;
        highest = first == 0xF4 ? 0x8F : highest;
    } else if (first >= 0xE0) {
        length = 3;
        lowest = first == 0xE0 ? 0xA0 : lowest;
        highest = first == 0xED ? 0x9F : highest;
    }
    char32_t value = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= left || in[i] < lowest || in[i] > highest) {
            return i;
        }
        value = value << 6 | (in[i] & 0x3FU);
        lowest = 0x80;
        highest = 0xBF;
    }
    character = value;
    return length;
}

/// One character, or U+FFFD for an ill-formed part, as one or two units.
void readPaired(TextCursor& c) {
    char32_t character = 0;
    c.in += readUtf8(c.in, c.left(), character);
    if (character < kFirstSupplementary) {
        c.out = putUnit(static_cast<char16_t>(character), c.out);
        return;
    }
    const char32_t offset = character - kFirstSupplementary;
    c.out = putUnit(static_cast<char16_t>(kFirstHighSurrogate + (offset >> 10)), c.out);
    c.out = putUnit(static_cast<char16_t>(kFirstLowSurrogate + (offset & 0x3FF)), c.out);
}

/// One unit, or the two of a pair.
void writePaired(TextCursor& c) {
    const char16_t unit = loadUnit(c.in);
    c.in += 2;
    if (unit == 0) {
        *c.out++ = 0;
        return;
    }
    if (!isSurrogate(unit)) {
        c.out = putUtf8Unit(unit, c.out);
        return;
    }
    const char16_t next = c.in < c.inEnd ? loadUnit(c.in) : u'\0';
    if (unit >= kFirstLowSurrogate || (next & 0xFC00) != kFirstLowSurrogate) {
        c.out = putUtf8Unit(kReplacement, c.out);
        return;
    }
    c.in += 2;
    const char32_t character = kFirstSupplementary + ((unit & 0x3FFU) << 10 | (next & 0x3FFU));
    *c.out++ = static_cast<std::uint8_t>(0xF0 | character >> 18);
    *c.out++ = static_cast<std::uint8_t>(0x80 | (character >> 12 & 0x3F));
    *c.out++ = static_cast<std::uint8_t>(0x80 | (character >> 6 & 0x3F));
    *c.out++ = static_cast<std::uint8_t>(0x80 | (character & 0x3F));
}

/// Runs a lane over the next stretch of text, and gives back what it did when surrogates are among
/// its units: it takes them one by one. Then the plain loop does the same stretch, or the next few
/// characters.
template <typename Lane, typename Units, typename Plain>
void convertPaired(TextCursor& c, Lane lane, Units unitsOf, Plain plain) {
    constexpr std::size_t kStretch = 4096;
    while (c.in < c.inEnd) {
        TextCursor run = c;
        run.inEnd = c.in + std::min(c.left(), kStretch);
        lane(run);
        const auto [units, end] = unitsOf(c, run);
        const std::uint8_t* plainEnd = run.in;
        if (!holdsSurrogate(units, end)) {
            c.in = run.in;
            c.out = run.out;
            plainEnd += std::min<std::size_t>(c.left(), kStep);
        }
        while (c.in < plainEnd) {
            plain(c);
        }
    }
}

}  // namespace

std::uint32_t ansiCodePage() {
    return legalPage(platform::GetACP());
}

std::u16string utf8ToWidePaired(std::string_view text) {
    Result<std::u16string> result(text.data(), text.size(), text.size());
    const auto written = [](const TextCursor& before, const TextCursor& after) {
        return std::pair<const std::uint8_t*, const std::uint8_t*>(before.out, after.out);
    };
    convertPaired(result.cursor, nativeRuns().utf8ToUtf16, written, readPaired);
    return std::move(result).take();
}

std::string wideToUtf8Paired(std::u16string_view text) {
    Result<std::string> result(text.data(), 2 * text.size(), kLongestUtf8Unit * text.size());
    const auto read = [](const TextCursor& before, const TextCursor& after) {
        return std::pair<const std::uint8_t*, const std::uint8_t*>(before.in, after.in);
    };
    convertPaired(result.cursor, nativeRuns().utf16ToUtf8, read, writePaired);
    return std::move(result).take();
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
    return wideToUtf8Paired(ansiToWide(text, codePage));
}

std::string utf8ToAnsi(std::string_view text) {
    return utf8ToAnsi(text, platform::GetACP());
}

std::string utf8ToAnsi(std::string_view text, std::uint32_t codePage) {
    return wideToAnsi(utf8ToWidePaired(text), codePage);
}

}  // namespace borvik
