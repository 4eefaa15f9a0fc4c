#include "reading/charset_text.h"

#include <algorithm>
#include <cstring>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"
#include "reading/charset_labels.h"

namespace tessolt::reading {
namespace {

using borvik::DataBuffer;

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstBeyond = 0x10000;
constexpr char32_t kLastCharacter = 0x10FFFF;
constexpr std::size_t kWordSize = sizeof(std::uint64_t);
constexpr std::uint64_t kHighBits = 0x8080808080808080;

std::uint8_t byteAt(std::string_view text, std::size_t place) {
    return static_cast<std::uint8_t>(text[place]);
}

bool isSurrogate(char32_t character) {
    return character >= 0xD800 && character <= 0xDFFF;
}

void appendUtf8(char32_t c, std::string& out) {
    if (c > kLastCharacter || isSurrogate(c)) {
        c = kReplacement;
    }
    if (c < 0x80) {
        out += static_cast<char>(c);
        return;
    }
    if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
    } else {
        if (c < kFirstBeyond) {
            out += static_cast<char>(0xE0 | c >> 12);
        } else {
            out += static_cast<char>(0xF0 | c >> 18);
            out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        }
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    }
    out += static_cast<char>(0x80 | (c & 0x3F));
}

/// Length of the well-formed character at `place`, 0 when there is none (RFC 3629 4).
std::size_t utf8Length(std::string_view text, std::size_t place) {
    const std::uint8_t lead = byteAt(text, place);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || lead > 0xF4 || place + length > text.size()) {
        return 0;
    }
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;
    if (lead == 0xE0) {
        low = 0xA0;
    } else if (lead == 0xED) {
        high = 0x9F;
    } else if (lead == 0xF0) {
        low = 0x90;
    } else if (lead == 0xF4) {
        high = 0x8F;
    }
    if (byteAt(text, place + 1) < low || byteAt(text, place + 1) > high) {
        return 0;
    }
    for (std::size_t i = place + 2; i < place + length; ++i) {
        if ((byteAt(text, i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

std::string mendedUtf8(std::string_view bytes) {
    return isWellFormedUtf8(bytes) ? std::string(bytes)
                                   : borvik::wideToUtf8Paired(borvik::utf8ToWidePaired(bytes));
}

/// UTF-16 or UTF-32. A mark at the front decides the order of bytes against the label.
template <typename Unit>
std::basic_string<Unit> unitsOf(std::string_view bytes, bool isBigEndian) {
    std::basic_string<Unit> units;
    units.reserve(bytes.size() / sizeof(Unit));
    constexpr Unit kMark = 0xFEFF;
    for (std::size_t i = 0; i + sizeof(Unit) <= bytes.size(); i += sizeof(Unit)) {
        Unit unit = 0;
        for (std::size_t b = 0; b < sizeof(Unit); ++b) {
            const std::size_t shift = 8 * (isBigEndian ? sizeof(Unit) - 1 - b : b);
            unit = static_cast<Unit>(unit | static_cast<Unit>(byteAt(bytes, i + b)) << shift);
        }
        const auto swappedMark = static_cast<Unit>(sizeof(Unit) == 2 ? 0xFFFE : 0xFFFE0000);
        if (i == 0 && unit == swappedMark) {
            return unitsOf<Unit>(bytes, !isBigEndian);
        }
        if (i != 0 || unit != kMark) {
            units += unit;
        }
    }
    return units;
}

std::string utf32Text(std::string_view bytes, bool isBigEndian) {
    std::string out;
    for (const char32_t c : unitsOf<char32_t>(bytes, isBigEndian)) {
        appendUtf8(c, out);
    }
    if (bytes.size() % sizeof(char32_t) != 0) {
        appendUtf8(kReplacement, out);
    }
    return out;
}

std::string utf16Text(std::string_view bytes, bool isBigEndian) {
    std::string out = borvik::wideToUtf8Paired(unitsOf<char16_t>(bytes, isBigEndian));
    if (bytes.size() % sizeof(char16_t) != 0) {
        appendUtf8(kReplacement, out);
    }
    return out;
}

/// A character of a table page at `place`, moved behind it.
char32_t takeByTable(const borvik::DecodeTable& table, std::string_view bytes, std::size_t& place) {
    const std::uint8_t lead = byteAt(bytes, place++);
    char32_t unit = 0;
    if (table.isMultiByte() && table.isLead(lead) && place < bytes.size()) {
        unit = table.pair(lead, byteAt(bytes, place));
        // An ASCII byte that makes no pair stands for itself.
        place += unit != 0 || byteAt(bytes, place) >= 0x80 ? 1 : 0;
    } else {
        unit = table.single[lead];
    }
    return unit != 0 || lead == 0 ? unit : kReplacement;
}

std::string tableText(std::string_view bytes, std::uint32_t page) {
    DataBuffer out;
    if (borvik::EncodingConvert().convert(page, borvik::kUtf8, bytes, out) &&
        bytes.find('\0') == std::string_view::npos) {
        return std::string(out.view());
    }
    const borvik::DecodeTable* const table = borvik::decodeTable(page);
    if (table == nullptr) {
        return std::string(out.view());
    }
    // The engine leaves out what it can't convert; here it must show.
    std::string text;
    for (std::size_t place = 0; place < bytes.size();) {
        appendUtf8(takeByTable(*table, bytes, place), text);
    }
    return text;
}

/// A four-byte code of GB 18030 at `place`; 0 when there is none.
char32_t fourByteCharacter(std::string_view bytes, std::size_t place) {
    constexpr std::uint32_t kDigits = 10;
    constexpr std::uint32_t kLeads = 126;
    constexpr std::uint32_t kSupplementary = 189000;
    constexpr std::uint32_t kBasicEnd = 39420;
    if (place + 4 > bytes.size()) {
        return 0;
    }
    const std::uint32_t a = byteAt(bytes, place) - 0x81U;
    const std::uint32_t b = byteAt(bytes, place + 1) - 0x30U;
    const std::uint32_t c = byteAt(bytes, place + 2) - 0x81U;
    const std::uint32_t d = byteAt(bytes, place + 3) - 0x30U;
    if (a >= kLeads || b >= kDigits || c >= kLeads || d >= kDigits) {
        return 0;
    }
    const std::uint32_t rank = ((a * kDigits + b) * kLeads + c) * kDigits + d;
    if (rank >= kSupplementary) {
        const char32_t character = kFirstBeyond + (rank - kSupplementary);
        return character <= kLastCharacter ? character : 0;
    }
    if (rank >= kBasicEnd) {
        return 0;
    }
    const auto next = std::ranges::upper_bound(gb18030Ranges(), rank, {}, &Gb18030Range::rank);
    const Gb18030Range& range = *std::prev(next);
    return range.unit + (rank - range.rank);
}

/// A two-byte code that page 936 lacks; 0 when there is none.
char32_t furtherPair(std::uint32_t code) {
    const auto next = std::ranges::upper_bound(gb18030Pairs(), code, {}, &Gb18030Pairs::code);
    if (next == gb18030Pairs().begin()) {
        return 0;
    }
    const Gb18030Pairs& row = *std::prev(next);
    return code < static_cast<std::uint32_t>(row.code) + row.count ? row.unit + (code - row.code)
                                                                   : 0;
}

std::string gb18030Text(std::string_view bytes) {
    std::string out;
    const borvik::DecodeTable* const table = borvik::decodeTable(borvik::kGbk);
    for (std::size_t place = 0; place < bytes.size();) {
        if (byteAt(bytes, place) < 0x80) {
            out += bytes[place++];
            continue;
        }
        char32_t character = fourByteCharacter(bytes, place);
        if (character != 0) {
            place += 4;
        } else if (place + 1 < bytes.size() &&
                   (character =
                        furtherPair(byteAt(bytes, place) << 8U | byteAt(bytes, place + 1))) != 0) {
            place += 2;
        } else {
            character = takeByTable(*table, bytes, place);
        }
        appendUtf8(character, out);
    }
    return out;
}

/// HZ (RFC 1843): "~{" and "~}" around pairs of 7-bit bytes, "~~" for the sign itself, and a line
/// end behind "~" that counts as nothing.
std::string hzText(std::string_view bytes) {
    std::string eightBit;
    bool isChinese = false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char next = i + 1 < bytes.size() ? bytes[i + 1] : '\0';
        if (bytes[i] == '~' && (next == '{' || next == '}' || next == '\n')) {
            isChinese = next == '{' || (next == '\n' && isChinese);
            ++i;
        } else if (bytes[i] == '~' && next == '~') {
            eightBit += '~';
            ++i;
        } else if (isChinese && bytes[i] >= '!' && next >= '!') {
            eightBit += static_cast<char>(byteAt(bytes, i) | 0x80);
            eightBit += static_cast<char>(byteAt(bytes, i + 1) | 0x80);
            ++i;
        } else {
            isChinese = isChinese && bytes[i] != '\n';
            eightBit += bytes[i];
        }
    }
    return tableText(eightBit, borvik::kGbk);
}

std::string isoLatin10Text(std::string_view bytes) {
    constexpr std::uint8_t kFirst = 0xA0;
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        appendUtf8(byte < kFirst ? char32_t{byte} : isoLatin10()[byte - kFirst], out);
    }
    return out;
}

std::string utf7Text(std::string_view bytes) {
    DataBuffer units;
    borvik::EncodingConvert().convert(borvik::kUtf7, borvik::kUtf16Le, bytes, units);
    return utf16Text(units.view(), false);
}

}  // namespace

bool isWellFormedUtf8(std::string_view text) {
    std::size_t place = 0;
    while (place < text.size()) {
        std::uint64_t word = 0;
        if (place + kWordSize <= text.size()) {
            std::memcpy(&word, text.data() + place, kWordSize);
            if ((word & kHighBits) == 0) {
                place += kWordSize;
                continue;
            }
        }
        const std::size_t length = utf8Length(text, place);
        if (length == 0) {
            return false;
        }
        place += length;
    }
    return true;
}

std::string unlabelledText(std::string_view bytes) {
    if (isWellFormedUtf8(bytes)) {
        return std::string(bytes);
    }
    const std::uint32_t ansi = borvik::ansiCodePage();
    return tableText(bytes, ansi == borvik::kUtf8 ? borvik::kWindowsLatin1 : ansi);
}

std::string textInPage(std::string_view bytes, std::uint32_t page) {
    if (borvik::isAsciiCompatible(page) && borvik::isAscii(bytes)) {
        return std::string(bytes);
    }
    switch (page) {
        case borvik::kUtf8:
            return mendedUtf8(bytes.starts_with("\xEF\xBB\xBF") ? bytes.substr(3) : bytes);
        case borvik::kUtf16Le:
        case borvik::kUtf16Be:
            return utf16Text(bytes, page == borvik::kUtf16Be);
        case borvik::kUtf32Le:
        case borvik::kUtf32Be:
            return utf32Text(bytes, page == borvik::kUtf32Be);
        case borvik::kUtf7:
            return utf7Text(bytes);
        case kGb18030Page:
            return gb18030Text(bytes);
        case kHzPage:
            return hzText(bytes);
        case kIsoLatin10Page:
            return isoLatin10Text(bytes);
        default:
            return tableText(bytes, page);
    }
}

std::string textInCharset(std::string_view bytes, std::string_view label) {
    const std::uint32_t page = pageOfLabel(label);
    return page == 0 || page == borvik::kUsAscii ? unlabelledText(bytes) : textInPage(bytes, page);
}

}  // namespace tessolt::reading
