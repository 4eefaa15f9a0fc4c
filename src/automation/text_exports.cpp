/// The conversions of the public headers.
#include <tessolt/text_conversion.h>

#include <string_view>

#include "automation/results.h"
#include "charset/utf_pairs.h"

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

BSTR TessoltAllocUtf8(const char* utf8, size_t length) {
    return tessolt::allocUtf8({utf8, length});
}
