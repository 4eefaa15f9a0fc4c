#include "reading/transcoding.h"

#include <algorithm>

#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "charset/utf_pairs.h"
#include "reading/charset_labels.h"
#include "reading/charset_text.h"

namespace tessolt::reading {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr unsigned kByteBits = 8;
constexpr unsigned kByteMask = 0xFF;

bool canBeRead(std::uint32_t page) {
    return page == kHzPage || page == kGb18030Page || page == kIsoLatin10Page ||
           borvik::EncodingConvert::isSupported(page);
}

bool isUnitPage(std::uint32_t page) {
    return page == borvik::kUtf16Le || page == borvik::kUtf16Be;
}

bool isWidePage(std::uint32_t page) {
    return page == borvik::kUtf32Le || page == borvik::kUtf32Be;
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

std::size_t replacementsIn(std::string_view utf8) {
    std::size_t count = 0;
    for (std::size_t at = utf8.find(kReplacement); at != utf8.npos;
         at = utf8.find(kReplacement, at + kReplacement.size())) {
        ++count;
    }
    return count;
}

/// The size of a code of a Unicode page, or 0 for other pages.
std::size_t widthOf(std::uint32_t page) {
    constexpr std::size_t kUnit = 2;
    constexpr std::size_t kValue = 4;
    return page == borvik::kUtf8 ? 1 : isUnitPage(page) ? kUnit : isWidePage(page) ? kValue : 0;
}

/// How often U+FFFD was in the text to begin with.
std::size_t replacementsBefore(std::string_view bytes, std::uint32_t page) {
    const std::size_t width = widthOf(page);
    if (width <= 1) {
        return width == 0 ? 0 : replacementsIn(bytes);
    }
    std::string code(width, '\0');
    const bool isBig = page == borvik::kUtf16Be || page == borvik::kUtf32Be;
    code[isBig ? width - 1 : 0] = '\xFD';
    code[isBig ? width - 2 : 1] = '\xFF';
    std::size_t count = 0;
    for (std::size_t at = 0; at + width <= bytes.size(); at += width) {
        count += bytes.substr(at, width) == code ? 1 : 0;
    }
    return count;
}

void appendCode(std::string& out, std::uint32_t code, std::size_t width, bool isBig) {
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t place = isBig ? width - 1 - i : i;
        out += static_cast<char>((code >> (kByteBits * place)) & kByteMask);
    }
}

/// UTF-16 or UTF-32.
std::string wideBytes(std::string_view utf8, std::uint32_t page) {
    constexpr char32_t kFirstHigh = 0xD800;
    constexpr char32_t kFirstLow = 0xDC00;
    constexpr char32_t kFirstPair = 0x10000;
    constexpr unsigned kHalfBits = 10;
    std::u16string units(borvik::utf16Length(utf8), u'\0');
    units.resize(borvik::takeUtf8(utf8, units.data(), units.size()));
    const bool isBig = page == borvik::kUtf16Be || page == borvik::kUtf32Be;
    const std::size_t width = widthOf(page);
    std::string out;
    out.reserve(units.size() * width);
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t code = units[i];
        // The halves stand in pairs: ill-formed text has been mended.
        if (isWidePage(page) && code >= kFirstHigh && code < kFirstLow && i + 1 < units.size()) {
            code = kFirstPair + ((code - kFirstHigh) << kHalfBits) + (units[++i] - kFirstLow);
        }
        appendCode(out, code, width, isBig);
    }
    return out;
}

/// Takes out the characters beyond U+FFFF, of which no page has any. Their number.
std::size_t dropBeyondBmp(std::string& utf8) {
    constexpr unsigned char kFirstOfFour = 0xF0;
    constexpr std::size_t kLength = 4;
    const auto isOfFour = [](char c) { return static_cast<unsigned char>(c) >= kFirstOfFour; };
    std::string kept;
    std::size_t begin = 0;
    std::size_t count = 0;
    for (auto at = std::find_if(utf8.begin(), utf8.end(), isOfFour); at != utf8.end();
         at = std::find_if(at + kLength, utf8.end(), isOfFour)) {
        const auto place = static_cast<std::size_t>(at - utf8.begin());
        kept.append(utf8, begin, place - begin);
        begin = place + kLength;
        ++count;
    }
    if (count > 0) {
        utf8 = kept.append(utf8, begin);
    }
    return count;
}

/// The characters that a page has no place for: of a piece that has any, those of its halves.
std::size_t lostIn(std::string_view utf8, std::uint32_t page) {
    borvik::DataBuffer scratch;
    if (utf8.empty() || borvik::EncodingConvert().convert(borvik::kUtf8, page, utf8, scratch)) {
        return 0;
    }
    std::size_t middle = utf8.size() / 2;
    while (middle > 0 && isContinuation(utf8[middle])) {
        --middle;
    }
    if (middle == 0) {
        middle = 1;
        while (middle < utf8.size() && isContinuation(utf8[middle])) {
            ++middle;
        }
    }
    return middle == utf8.size()
               ? 1
               : lostIn(utf8.substr(0, middle), page) + lostIn(utf8.substr(middle), page);
}

}  // namespace

std::optional<Transcoded> transcode(std::string_view bytes, std::uint32_t from, std::uint32_t to) {
    if (!canBeRead(from) || !borvik::EncodingConvert::isSupported(to)) {
        return std::nullopt;
    }
    Transcoded result;
    std::string utf8 = textInPage(bytes, from);
    if (widthOf(to) > 0) {
        const std::size_t before = replacementsBefore(bytes, from);
        const std::size_t now = replacementsIn(utf8);
        result.lost = now - std::min(now, before);
        result.bytes = to == borvik::kUtf8 ? std::move(utf8) : wideBytes(utf8, to);
        return result;
    }
    borvik::DataBuffer out;
    borvik::EncodingConvert converter;
    if (to == borvik::kUtf7) {
        // Each half of a pair is written by itself there.
        converter.convert(borvik::kUtf16Le, to, wideBytes(utf8, borvik::kUtf16Le), out);
        const std::size_t now = replacementsIn(utf8);
        result.lost = now - std::min(now, replacementsBefore(bytes, from));
    } else {
        result.lost = dropBeyondBmp(utf8);
        result.lost += converter.convert(borvik::kUtf8, to, utf8, out) ? 0 : lostIn(utf8, to);
    }
    result.bytes = out.view();
    return result;
}

}  // namespace tessolt::reading
