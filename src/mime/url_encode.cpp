#include "mime/url_encode.h"

#include "base/string_buffer.h"

namespace borvik {

namespace {

constexpr int kNotHex = -1;

constexpr int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : kNotHex;
}

}  // namespace

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
            const int high = hexDigit(bytes[i + 1]);
            const int low = hexDigit(bytes[i + 2]);
            if (high != kNotHex && low != kNotHex) {
                c = static_cast<char>(high * 16 + low);
                i += 2;
            }
        }
        bytes[out++] = c;
    }
    text.setLength(out);
}

}  // namespace borvik
