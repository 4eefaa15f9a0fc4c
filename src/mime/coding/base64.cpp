#include "mime/coding/base64.h"

#include "mime/coding/base64_scalar.h"

namespace borvik {

namespace {

using base64_detail::kAlphabet;

char* encodeGroup(unsigned a, unsigned b, unsigned c, char* out) {
    out[0] = kAlphabet[a >> 2];
    out[1] = kAlphabet[(a << 4 | b >> 4) & 63];
    out[2] = kAlphabet[(b << 2 | c >> 6) & 63];
    out[3] = kAlphabet[c & 63];
    return out + 4;
}

}  // namespace

namespace scalar {

char* encodeBase64Run(std::string_view bytes, char* out) {
    const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t left = bytes.size();
    for (; left >= 3; in += 3, left -= 3) {
        out = encodeGroup(in[0], in[1], in[2], out);
    }
    if (left != 0) {
        out = encodeGroup(in[0], left == 2 ? in[1] : 0, 0, out);
        out[-1] = '=';
        if (left == 1) {
            out[-2] = '=';
        }
    }
    return out;
}

char* encodeBase64Lines(std::string_view bytes, char* out) {
    if (bytes.empty()) {
        return out;
    }
    for (; bytes.size() >= kBase64LineBytes; bytes.remove_prefix(kBase64LineBytes)) {
        out = encodeBase64Run(bytes.substr(0, kBase64LineBytes), out);
        *out++ = '\r';
        *out++ = '\n';
    }
    out = encodeBase64Run(bytes, out);
    *out++ = '\r';
    *out++ = '\n';
    return out;
}

char* decodeBase64Run(std::string_view text, char* out) {
    base64_detail::GroupDecoder decoder(out);
    for (const char c : text) {
        if (!decoder.take(c)) {
            break;
        }
    }
    return decoder.finish();
}

}  // namespace scalar

}  // namespace borvik
