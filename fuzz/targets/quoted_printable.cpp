#include "mime/coding/quoted_printable.h"

#include <string>

#include "base/data_buffer.h"
#include "harness.h"
#include "mime/coding/base64.h"
#include "mime/coding/quoted_printable_decoding.h"
#include "reading/body_coding.h"

namespace fuzz {
namespace {

std::string decoded(std::string_view text) {
    borvik::DataBuffer fast;
    borvik::DataBuffer plain;
    require(borvik::appendDecodedQuotedPrintable(text, fast));
    require(borvik::scalar::appendDecodedQuotedPrintable(text, plain));
    require(fast.view() == plain.view());
    return std::string(fast.view());
}

void checkLines(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find("\r\n"), text.size());
        const std::string_view line = text.substr(0, end);
        require(line.size() <= borvik::kMimeLineLength && line != ".");
        for (const char c : line) {
            require(c == '\t' || (c >= ' ' && c <= '~'));
        }
        require(line.empty() || (line.back() != ' ' && line.back() != '\t'));
        text.remove_prefix(std::min(end + 2, text.size()));
    }
}

}  // namespace

/// Decodes the bytes, encodes them, and reads that again by each decoder.
void fuzzQuotedPrintable(Input input) {
    const std::string_view bytes = input.rest();
    decoded(bytes);
    std::string loose;
    tessolt::reading::appendQuotedPrintable(bytes, loose);
    require(loose.size() <= bytes.size());

    borvik::DataBuffer text;
    require(borvik::appendQuotedPrintable(bytes, text));
    checkLines(text.view());
    // "=FFFFFFE9" is taken for E9 with its sign extended, also where FF and "FFFFE9" were meant.
    const bool isAmbiguous = text.view().find("=FFFFFF") != std::string_view::npos;
    require(isAmbiguous || decoded(text.view()) == bytes);
    std::string read;
    tessolt::reading::appendQuotedPrintable(text.view(), read);
    require(read == bytes);
}

}  // namespace fuzz
