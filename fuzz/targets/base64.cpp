#include "mime/coding/base64.h"

#include <string>

#include "base/data_buffer.h"
#include "harness.h"
#include "mail/sasl/sasl_base64.h"
#include "mime/coding/content_coding.h"
#include "reading/body_coding.h"

namespace fuzz {
namespace {

using Run = char* (*)(std::string_view bytes, char* out);

std::string resultOf(Run run, std::string_view bytes, std::size_t room) {
    std::string out(room, '\0');
    out.resize(static_cast<std::size_t>(run(bytes, out.data()) - out.data()));
    return out;
}

std::string decoded(std::string_view text) {
    const std::size_t room = borvik::base64DecodeRoom(text.size());
    std::string bytes = resultOf(borvik::decodeBase64Run, text, room);
    require(bytes == resultOf(borvik::scalar::decodeBase64Run, text, room));
    return bytes;
}

}  // namespace

/// Decodes the bytes, encodes them, and reads that again by each decoder.
void fuzzBase64(Input input) {
    const std::string_view bytes = input.rest();
    decoded(bytes);
    std::string loose;
    tessolt::reading::appendBase64(bytes, loose);
    require(loose.size() <= bytes.size());
    require(tessolt::Base64Decoded(bytes).size() <= bytes.size());

    const std::size_t size = borvik::base64Size(bytes.size());
    const std::string text = resultOf(borvik::encodeBase64Run, bytes, size);
    require(text.size() == size);
    require(text == resultOf(borvik::scalar::encodeBase64Run, bytes, size));
    require(tessolt::Base64Encoded(bytes) == text && tessolt::Base64Decoded(text) == bytes);
    const std::size_t linesSize = borvik::base64LinesSize(bytes.size());
    const std::string lines = resultOf(borvik::encodeBase64Lines, bytes, linesSize);
    require(lines.size() == linesSize);
    require(lines == resultOf(borvik::scalar::encodeBase64Lines, bytes, linesSize));
    borvik::DataBuffer body;
    require(borvik::ContentCoding::encodeBase64Mime(bytes, body) && body.view() == lines);

    for (const std::string& written : {text, lines}) {
        require(decoded(written) == bytes);
        std::string read;
        tessolt::reading::appendBase64(written, read);
        require(read == bytes);
    }
}

}  // namespace fuzz
