#pragma once

#include <string_view>

namespace borvik::avx2 {

/// The forms for processors with AVX2; the caller asks `available` first. On other architectures
/// `available` is false and the rest does nothing.
bool available();
char* encodeBase64Run(std::string_view bytes, char* out);
char* encodeBase64Lines(std::string_view bytes, char* out);
char* decodeBase64Run(std::string_view text, char* out);

}  // namespace borvik::avx2
