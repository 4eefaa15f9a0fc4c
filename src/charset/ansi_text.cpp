#include "charset/ansi_text.h"

#include <algorithm>

#include "charset/code_pages.h"
#include "charset/conversion_tables.h"
#include "charset/text_blocks.h"
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

const std::uint8_t* bytesOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

bool isSurrogate(char16_t unit) {
    return (unit & 0xF800) == kFirstHighSurrogate;
}

/// Copies blocks of ASCII from `in` to `out` as long as they come, by one of the block steps.
template <bool (*kStep)(const std::uint8_t*, std::uint8_t*), typename In, typename Out>
std::size_t asciiBlocks(const In* in, std::size_t length, Out* out) {
    std::size_t done = 0;
    while (length - done >= NativeBlocks::kBlock &&
           kStep(reinterpret_cast<const std::uint8_t*>(in + done),
                 reinterpret_cast<std::uint8_t*>(out + done))) {
        done += NativeBlocks::kBlock;
    }
    return done;
}

std::u16string decodePage(std::string_view text, const DecodeTable& table) {
    std::u16string out(text.size(), u'\0');
    const std::uint8_t* in = bytesOf(text);
    std::size_t made = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (table.asciiCompatible) {
            const std::size_t run =
                asciiBlocks<NativeBlocks::widenAscii>(in + i, text.size() - i, out.data() + made);
            i += run;
            made += run;
        }
        const std::size_t stepEnd = std::min(text.size(), i + NativeBlocks::kBlock);
        while (i < stepEnd) {
            const std::uint8_t byte = in[i++];
            char16_t unit = table.single[byte];
            if (!table.isMultiByte()) {
                out[made++] = unit != 0 ? unit : byte;
                continue;
            }
            const char16_t pair = i < text.size() ? table.pair(byte, in[i]) : u'\0';
            if (pair != 0) {
                ++i;
                unit = pair;
            } else if (unit == 0 && byte != 0) {
                unit = kDefaultCharacter;
            }
            out[made++] = unit;
        }
    }
    out.resize(made);
    return out;
}

/// The byte of a unit that has no row: the same-numbered one where the page leaves it undefined.
char encodeUnmapped(char16_t unit, const DecodeTable& table) {
    const bool undefinedByte = unit <= 0xFF && !table.isMultiByte() && table.single[unit] == 0;
    return undefinedByte || unit == 0 ? static_cast<char>(unit) : kDefaultCharacter;
}

std::string encodePage(std::u16string_view text, const EncodeTable& table,
                       const DecodeTable& decode) {
    std::string out(2 * text.size(), '\0');
    char* to = out.data();
    for (std::size_t i = 0; i < text.size();) {
        if (table.asciiCompatible) {
            const std::size_t run =
                asciiBlocks<NativeBlocks::narrowAscii>(text.data() + i, text.size() - i, to);
            i += run;
            to += run;
        }
        const std::size_t stepEnd = std::min(text.size(), i + NativeBlocks::kBlock);
        for (; i < stepEnd; ++i) {
            const std::uint16_t cell = table.cell(text[i]);
            if (cell == 0) {
                *to++ = encodeUnmapped(text[i], decode);
                continue;
            }
            *to++ = static_cast<char>(cell & 0xFF);
            if (cell > 0xFF) {
                *to++ = static_cast<char>(cell >> 8);
            }
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return out;
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

}  // namespace

std::uint32_t ansiCodePage() {
    return legalPage(platform::GetACP());
}

std::u16string utf8ToWidePaired(std::string_view text) {
    std::u16string out(text.size(), u'\0');
    const std::uint8_t* in = bytesOf(text);
    std::size_t made = 0;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t run =
            asciiBlocks<NativeBlocks::widenAscii>(in + i, text.size() - i, out.data() + made);
        i += run;
        made += run;
        const std::size_t stepEnd = std::min(text.size(), i + NativeBlocks::kBlock);
        while (i < stepEnd) {
            char32_t character = 0;
            i += readUtf8(in + i, text.size() - i, character);
            if (character < kFirstSupplementary) {
                out[made++] = static_cast<char16_t>(character);
                continue;
            }
            const char32_t offset = character - kFirstSupplementary;
            out[made++] = static_cast<char16_t>(kFirstHighSurrogate + (offset >> 10));
            out[made++] = static_cast<char16_t>(kFirstLowSurrogate + (offset & 0x3FF));
        }
    }
    out.resize(made);
    return out;
}

std::string wideToUtf8Paired(std::u16string_view text) {
    std::string out(kLongestUtf8Unit * text.size(), '\0');
    auto* const begin = reinterpret_cast<std::uint8_t*>(out.data());
    std::uint8_t* to = begin;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t run =
            asciiBlocks<NativeBlocks::narrowAscii>(text.data() + i, text.size() - i, to);
        i += run;
        to += run;
        const std::size_t stepEnd = std::min(text.size(), i + NativeBlocks::kBlock);
        while (i < stepEnd) {
            const char16_t unit = text[i++];
            if (unit == 0) {
                *to++ = 0;
                continue;
            }
            if (!isSurrogate(unit)) {
                to = putUtf8Unit(unit, to);
                continue;
            }
            const char16_t next = i < text.size() ? text[i] : u'\0';
            if (unit >= kFirstLowSurrogate || (next & 0xFC00) != kFirstLowSurrogate) {
                to = putUtf8Unit(kReplacement, to);
                continue;
            }
            ++i;
            const char32_t character =
                kFirstSupplementary + ((unit & 0x3FFU) << 10 | (next & 0x3FFU));
            *to++ = static_cast<std::uint8_t>(0xF0 | character >> 18);
            *to++ = static_cast<std::uint8_t>(0x80 | (character >> 12 & 0x3F));
            *to++ = static_cast<std::uint8_t>(0x80 | (character >> 6 & 0x3F));
            *to++ = static_cast<std::uint8_t>(0x80 | (character & 0x3F));
        }
    }
    out.resize(static_cast<std::size_t>(to - begin));
    return out;
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
