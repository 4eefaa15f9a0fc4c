#include "mail/sasl/sasl_base64.h"

#include <cstdint>

#include "foundation/base64.h"

namespace tessolt {

std::string Base64Encoded(std::string_view bytes) {
    CZncString text;
    CZncBase64().Encode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), text);
    return text.TakeString();
}

std::string Base64Decoded(std::string_view text) {
    const CZncBase64 codec;
    const CZncString encoded(text);
    std::uint32_t length = 0;
    codec.Decode(nullptr, length, encoded);
    std::string bytes(length, '\0');
    codec.Decode(reinterpret_cast<std::uint8_t*>(bytes.data()), length, encoded);
    bytes.resize(length);
    return bytes;
}

}  // namespace tessolt
