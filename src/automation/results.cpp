#include "automation/results.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "charset/tables/code_pages.h"
#include "charset/utf_pairs.h"

namespace tessolt {

namespace {

/// Writes a unit for each byte of ASCII text.
void widen(std::string_view ascii, OLECHAR* units) {
    constexpr std::size_t kBlock = 32;
    std::array<unsigned char, kBlock> bytes;
    std::array<OLECHAR, kBlock> block;
    for (; ascii.size() >= kBlock; ascii.remove_prefix(kBlock), units += kBlock) {
        std::memcpy(bytes.data(), ascii.data(), kBlock);
        for (std::size_t i = 0; i < kBlock; ++i) {
            block[i] = bytes[i];
        }
        std::memcpy(units, block.data(), sizeof block);
    }
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

HRESULT giveAnsi(std::string_view text, BSTR* place) {
    if (!place) {
        return E_POINTER;
    }
    // ASCII is the same in UTF-8 and in every ANSI page.
    if (borvik::ansiCodePage() != borvik::kUtf8 && !borvik::isAscii(text)) {
        return giveText(borvik::ansiToWide(text), place);
    }
    *place = allocUtf8(text);
    return *place ? S_OK : E_OUTOFMEMORY;
}

}  // namespace tessolt
