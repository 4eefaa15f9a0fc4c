/// The texts and conversions of the public headers.
#include <tessolt/advice.h>
#include <tessolt/text_conversion.h>

#include <cstdint>
#include <exception>
#include <string_view>

#include "automation/results.h"
#include "charset/utf_pairs.h"
#include "foundation/advice.h"
#include "foundation/error_catalogue.h"
#include "reading/charset_labels.h"
#include "reading/transcoding.h"

size_t TessoltUtf16Length(const char* utf8, size_t length) {
    return borvik::utf16Length({utf8, length});
}

size_t TessoltUtf8ToUtf16(const char* utf8, size_t length, OLECHAR* units, size_t room) {
    std::string_view text(utf8, length);
    return borvik::takeUtf8(text, units, room);
}

size_t TessoltUtf8Length(const OLECHAR* units, size_t length) {
    return borvik::utf8Length({units, length});
}

size_t TessoltUtf16ToUtf8(const OLECHAR* units, size_t length, char* utf8, size_t room) {
    std::u16string_view text(units, length);
    return borvik::takeUtf16(text, utf8, room);
}

uint32_t TessoltCodePage(const char* name, size_t length) {
    return tessolt::reading::pageOfLabel({name, length});
}

BSTR TessoltConvertBytes(const void* bytes, size_t size, uint32_t from, uint32_t to,
                         size_t* lost) try {
    *lost = 0;
    const auto result =
        tessolt::reading::transcode({static_cast<const char*>(bytes), size}, from, to);
    *lost = result ? result->lost : 1;
    return result && result->bytes.size() <= UINT32_MAX
               ? SysAllocStringByteLen(result->bytes.data(),
                                       static_cast<UINT>(result->bytes.size()))
               : nullptr;
} catch (const std::exception&) {
    return nullptr;
}

BSTR TessoltAllocAdvice(int32_t number) {
    return tessolt::allocUtf8(tessolt::AdviceFor(number));
}

BSTR TessoltAllocErrorText(int32_t number) {
    return tessolt::allocUtf8(tessolt::ErrorText(number));
}

BSTR TessoltAllocUtf8(const char* utf8, size_t length) {
    return tessolt::allocUtf8({utf8, length});
}
