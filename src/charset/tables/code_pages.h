#pragma once

#include <cstdint>

namespace borvik {

/// Numbers of the code pages that the code names, in the Windows numbering. 0 stands for "no
/// charset".
inline constexpr std::uint32_t kNoCodePage = 0;
inline constexpr std::uint32_t kDosLatinUs = 437;
inline constexpr std::uint32_t kShiftJis = 932;
inline constexpr std::uint32_t kGbk = 936;
inline constexpr std::uint32_t kKoreanUhc = 949;
inline constexpr std::uint32_t kBig5 = 950;
inline constexpr std::uint32_t kUtf16Le = 1200;
inline constexpr std::uint32_t kUtf16Be = 1201;
inline constexpr std::uint32_t kWindowsLatin1 = 1252;
inline constexpr std::uint32_t kWindowsArabic = 1256;
inline constexpr std::uint32_t kJohab = 1361;
inline constexpr std::uint32_t kMacJapanese = 10001;
inline constexpr std::uint32_t kMacArabic = 10004;
inline constexpr std::uint32_t kUsAscii = 20127;
inline constexpr std::uint32_t kIsoLatin1 = 28591;
inline constexpr std::uint32_t kIsoArabic = 28596;
inline constexpr std::uint32_t kUserDefined = 50000;
inline constexpr std::uint32_t kIso2022Jp = 50220;
inline constexpr std::uint32_t kIso2022JpCs = 50221;
inline constexpr std::uint32_t kIso2022Jp2 = 50222;
inline constexpr std::uint32_t kIso2022Kr = 50225;
inline constexpr std::uint32_t kEucJp = 51932;
inline constexpr std::uint32_t kEucCn = 51936;
inline constexpr std::uint32_t kEucKr = 51949;
inline constexpr std::uint32_t kUtf7 = 65000;
inline constexpr std::uint32_t kUtf8 = 65001;
inline constexpr std::uint32_t kUtf32Le = 65005;
inline constexpr std::uint32_t kUtf32Be = 65006;

/// True for pages, of those in wide use, in which every ASCII byte but zero stands for itself and
/// nothing else: converting ASCII text between two of them changes nothing.
constexpr bool isAsciiCompatible(std::uint32_t codePage) {
    constexpr std::uint32_t kThai = 874;
    constexpr std::uint32_t kKoi8R = 20866;
    constexpr std::uint32_t kKoi8U = 21866;
    constexpr std::uint32_t kWindowsFirst = 1250;
    constexpr std::uint32_t kWindowsLast = 1258;
    constexpr std::uint32_t kIsoLast = 28605;
    switch (codePage) {
        case kUsAscii:
        case kThai:
        case kKoi8R:
        case kKoi8U:
        case kShiftJis:
        case kGbk:
        case kKoreanUhc:
        case kBig5:
        case kEucKr:
        case kUtf8:
            return true;
        default:
            return (kWindowsFirst <= codePage && codePage <= kWindowsLast) ||
                   (kIsoLatin1 <= codePage && codePage <= kIsoLast);
    }
}

}  // namespace borvik
