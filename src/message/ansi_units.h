#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "charset/unit_scan.h"

namespace tessolt {

/// Writes a text below U+0080 as bytes.
inline void NarrowInto(std::u16string_view ascii, char* out) {
    std::size_t at = 0;
#if defined(__SSE2__)
    constexpr std::size_t kBlock = 16;
    for (; ascii.size() - at >= kBlock; at += kBlock) {
        const auto* const units = reinterpret_cast<const __m128i*>(ascii.data() + at);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at),
                         _mm_packus_epi16(_mm_loadu_si128(units), _mm_loadu_si128(units + 1)));
    }
#endif
    for (; at < ascii.size(); ++at) {
        out[at] = static_cast<char>(ascii[at]);
    }
}

/// The 8-bit form of a text below U+0080, which is the same in every ANSI page.
inline std::string NarrowAscii(std::u16string_view ascii) {
    std::string narrow(ascii.size(), '\0');
    NarrowInto(ascii, narrow.data());
    return narrow;
}

/// Appends the 8-bit form of a text below U+0080.
inline void AppendNarrow(std::u16string_view ascii, std::string& out) {
    const std::size_t begin = out.size();
    out.resize(begin + ascii.size());
    NarrowInto(ascii, out.data() + begin);
}

/// The wide form of a text below U+0080.
inline std::u16string WidenAscii(std::string_view ascii) {
    constexpr std::size_t kBlock = 32;
    std::u16string wide(ascii.size(), u'\0');
    std::size_t at = 0;
    for (; ascii.size() - at >= kBlock; at += kBlock) {
        std::array<unsigned char, kBlock> bytes;
        std::array<char16_t, kBlock> units;
        std::memcpy(bytes.data(), ascii.data() + at, kBlock);
        for (std::size_t i = 0; i < kBlock; ++i) {
            units[i] = bytes[i];
        }
        std::memcpy(wide.data() + at, units.data(), sizeof units);
    }
    for (; at < ascii.size(); ++at) {
        wide[at] = static_cast<unsigned char>(ascii[at]);
    }
    return wide;
}

constexpr char16_t kFirstBeyondAscii = 0x80;

/// The text in the ANSI code page. Fields are short and mostly ASCII, which needs no tables.
inline std::string AnsiOf(std::u16string_view text) {
    return borvik::bitsOfUnits(text) < kFirstBeyondAscii ? NarrowAscii(text)
                                                         : borvik::wideToAnsi(text);
}

inline void AppendAnsi(std::u16string_view text, std::string& out) {
    if (borvik::bitsOfUnits(text) < kFirstBeyondAscii) {
        AppendNarrow(text, out);
    } else {
        out += borvik::wideToAnsi(text);
    }
}

/// The same of a text that has a form without substitutes there, as a path must; else nothing.
inline std::optional<std::string> AnsiOfExactly(std::u16string_view text) {
    return borvik::bitsOfUnits(text) < kFirstBeyondAscii ? std::optional(NarrowAscii(text))
                                                         : borvik::wideToAnsiExactly(text);
}

/// The wide form of UTF-8.
inline std::u16string WideOf(std::string_view utf8) {
    return borvik::isAscii(utf8) ? WidenAscii(utf8) : borvik::utf8ToWidePaired(utf8);
}

}  // namespace tessolt
