#include "mime/coding/url_encode.h"

#include "base/string_buffer.h"
#include "mime/coding/hex_digits.h"

namespace borvik {

void UrlEncode::urlDecode(StringBuffer& text) {
    char* const bytes = text.getString();
    const std::size_t size = text.getSize();
    std::size_t out = 0;
    for (std::size_t i = 0; i < size; ++i) {
        char c = bytes[i];
        if (c == '+') {
            c = ' ';
        } else if (c == '%') {
            if (size - i < 3) {
                break;
            }
            const int high = hexValue(bytes[i + 1]);
            const int low = hexValue(bytes[i + 2]);
            if (high >= 0 && low >= 0) {
                c = static_cast<char>(high * 16 + low);
                i += 2;
            }
        }
        bytes[out++] = c;
    }
    text.setLength(out);
}

}  // namespace borvik
