#include "message/travel_coding.h"

#include <algorithm>
#include <new>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "message/canonical_text.h"
#include "mime/coding/base64.h"
#include "mime/coding/quoted_printable.h"
#include "reading/letter.h"

namespace tessolt {

namespace {

constexpr std::string_view kCodingField = "Content-Transfer-Encoding";
constexpr std::string_view kLineEnd = "\r\n";

std::string withCrlf(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 32);
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isFeed = text[at] == '\n' && (at == 0 || text[at - 1] != '\r');
        out += isFeed ? kLineEnd : text.substr(at, 1);
    }
    return out;
}

/// The header of a part without its coding, each line with its end.
std::string headerWithoutCoding(const reading::Message& message, const reading::Part& part) {
    std::string header;
    const char* from = part.header.data();
    const char* const end = from + part.header.size();
    bool isDropped = false;
    for (const reading::Field& field : message.fields(part)) {
        if (isDropped) {
            from = field.name.data();
        }
        isDropped = borvik::equalsNoCase(field.name, kCodingField);
        if (isDropped) {
            header.append(from, field.name.data());
        }
    }
    if (!isDropped) {
        header.append(from, end);
    }
    return header.empty() || header.ends_with('\n') ? header : header.append(kLineEnd);
}

void appendCoded(const reading::Message& message, const reading::Part& part, std::string& out) {
    const std::string bytes = reading::bodyBytes(message, part);
    const bool isText = part.isType("text") && bytes.find('\0') == std::string::npos;
    out += headerWithoutCoding(message, part);
    out.append(kCodingField).append(isText ? ": quoted-printable" : ": base64");
    out.append(kLineEnd).append(kLineEnd);
    if (isText) {
        borvik::DataBuffer coded;
        if (!borvik::appendQuotedPrintable(withCrlf(bytes), coded)) {
            throw std::bad_alloc();
        }
        out.append(coded.view());
        return;
    }
    std::string coded(borvik::base64LinesSize(bytes.size()), '\0');
    const char* const end = borvik::encodeBase64Lines(bytes, coded.data());
    out.append(borvik::trimmed({coded.data(), end}, kLineEnd));
}

}  // namespace

bool CanTravel(std::string_view text, bool takesEightBit) {
    if (!takesEightBit && !borvik::isAscii(text)) {
        return false;
    }
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::size_t length = end - begin - (end > begin && text[end - 1] == '\r' ? 1 : 0);
        if (length > kLongestLine) {
            return false;
        }
        begin = end + 1;
    }
    return true;
}

std::string WithPartsCoded(const reading::Message& message, bool takesEightBit) {
    std::string out;
    const char* from = message.text().data();
    for (const reading::Part& part : message.parts()) {
        const bool isOneFile =
            !part.isOpened() && !part.isType("multipart") && !part.isType("message");
        if (isOneFile && !CanTravel(part.body, takesEightBit)) {
            out.append(from, part.header.data());
            appendCoded(message, part, out);
            from = part.body.data() + part.body.size();
        }
    }
    return out.append(from, message.text().data() + message.text().size());
}

}  // namespace tessolt
