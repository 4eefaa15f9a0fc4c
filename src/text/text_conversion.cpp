#include "text/text_conversion.h"

#include <cstring>

#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "platform/code_page.h"
#include "text/xstring.h"

namespace borvik {

namespace {

/// Whether text of the DOS page that is pure ASCII is the same text in `page`.
bool keepsAscii(std::uint32_t page) {
    return page == kUtf8 || page == kWindowsLatin1 || page == kIsoLatin1;
}

/// Whether the bytes hold a UTF-8 sequence of U+0080 to U+00FF, or what begins like one.
bool holdsLatin1Utf8(std::string_view bytes) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    constexpr unsigned char kLeadMask = 0xFE;
    constexpr unsigned char kLead = 0xC2;
    for (std::size_t at = 0; at + 1 < bytes.size(); ++at) {
        std::uint64_t word;
        while (bytes.size() - at > sizeof word) {
            std::memcpy(&word, bytes.data() + at, sizeof word);
            if ((word & kHighBits) != 0) {
                break;
            }
            at += sizeof word;
        }
        if (at + 1 < bytes.size() && (bytes[at] & kLeadMask) == kLead &&
            (bytes[at + 1] & 0x80) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

void replaceCharSafe(StringBuffer& text, char from, char to) {
    if (!text.containsChar(from)) {
        return;
    }
    if (text.isAscii()) {
        text.replaceChar(from, to);
        return;
    }
    XString decoded;
    decoded.setFromUtf8Bytes(text.view());
    decoded.replaceChar(from, to);
    text.setString(decoded.utf8View());
}

void convertEncoding(StringBuffer& text, std::uint32_t from, std::uint32_t to) {
    if (text.empty() || from == kNoCodePage || to == kNoCodePage || from == to ||
        (from == kDosLatinUs && keepsAscii(to) && text.isAscii())) {
        return;
    }
    DataBuffer converted;
    EncodingConvert().convert(from, to, text.view(), converted);
    converted.appendByte('\0');
    text.takeBytes(converted);
}

void utf8ToAnsi(StringBuffer& text) {
    convertEncoding(text, kUtf8, platform::GetACP());
}

void ansiToCodePage(StringBuffer& text, std::uint32_t to) {
    convertEncoding(text, platform::GetACP(), to);
}

void utf16ToUtf8(const DataBuffer& utf16, DataBuffer& out) {
    out.clear();
    if (!utf16.empty()) {
        EncodingConvert().convert(kUtf16Le, kUtf8, utf16.view(), out);
    }
}

bool isMislabelledUtf8(std::string_view bytes, std::uint32_t codePage) {
    if (!holdsLatin1Utf8(bytes)) {
        return false;
    }
    DataBuffer scratch;
    return !EncodingConvert().convert(codePage, kUtf8, bytes, scratch);
}

}  // namespace borvik
