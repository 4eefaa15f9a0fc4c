#include "automation/results.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "charset/tables/code_pages.h"
#include "charset/utf_pairs.h"

namespace tessolt {

namespace {

/// Writes a unit for each byte of ASCII text.
void widen(std::string_view ascii, OLECHAR* units) {
#if defined(__SSE2__)
    constexpr std::size_t kVector = 16;
    const auto widenVector = [](const char* from, OLECHAR* to) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        auto* const out = reinterpret_cast<__m128i*>(to);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
    };
    if (ascii.size() >= kVector) {
        // The last vector may overlap the one before.
        const std::size_t last = ascii.size() - kVector;
        for (std::size_t at = 0; at < last; at += kVector) {
            widenVector(ascii.data() + at, units + at);
        }
        widenVector(ascii.data() + last, units + last);
        return;
    }
#endif
    for (const char c : ascii) {
        *units++ = static_cast<unsigned char>(c);
    }
}

}  // namespace

BSTR allocUtf8(std::string_view utf8) {
    if (borvik::isAscii(utf8)) {
        const BSTR text = platform::allocBstrRoom(utf8.size());
        if (text) {
            widen(utf8, text);
        }
        return text;
    }
    std::string_view rest = utf8;
    const std::size_t expected = borvik::wellFormedUtf16Length(utf8);
    platform::OwnedBstr text(platform::allocBstrRoom(expected));
    if (!text) {
        return nullptr;
    }
    const std::size_t written = borvik::takeUtf8(rest, text.get(), expected);
    if (rest.empty() && written == expected) {
        return text.release();
    }
    // Ill-formed parts make the text longer or shorter than it looked.
    platform::OwnedBstr whole(platform::allocBstrRoom(written + borvik::utf16Length(rest)));
    if (whole) {
        std::copy_n(text.get(), written, whole.get());
        borvik::takeUtf8(rest, whole.get() + written, SysStringLen(whole.get()) - written);
    }
    return whole.release();
}

HRESULT giveUtf8(std::string_view text, BSTR* place) {
    if (!place) {
        return E_POINTER;
    }
    *place = allocUtf8(text);
    return *place ? S_OK : E_OUTOFMEMORY;
}

HRESULT giveAnsi(std::string_view text, BSTR* place) {
    if (!place) {
        return E_POINTER;
    }
    // ASCII is the same in UTF-8 and in every ANSI page.
    if (borvik::ansiCodePage() != borvik::kUtf8 && !borvik::isAscii(text)) {
        return giveText(borvik::ansiToWide(text), place);
    }
    return giveUtf8(text, place);
}

}  // namespace tessolt
