#include "reading/body_coding.h"

#include <algorithm>
#include <array>

#include "base/ascii_text.h"
#include "mime/coding/base64.h"
#include "mime/coding/hex_digits.h"
#include "reading/parameters.h"

namespace tessolt::reading {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroup = 4;

enum ByteKind : unsigned char { kDigit = 0, kSkipped = 1, kPadding = 2, kStray = 4 };

/// 1 for a byte that the decoder takes for a digit or an end but that is neither, else 0.
constexpr unsigned char isStray(char c) {
    const auto byte = static_cast<unsigned char>(c);
    const auto isWithin = [byte](unsigned char first, unsigned char last) {
        return static_cast<unsigned char>(byte - first) <= last - first;
    };
    const bool isLower = isWithin('a', 'z');
    const bool isUpper = isWithin('A', 'Z');
    const bool isOther = isWithin('/', '9');
    const bool isLooked = isWithin('+', 'z');
    // Bit by bit, so that the compiler can look at many bytes in one step.
    const bool isDigit = isLower | isUpper | isOther | (c == '+');
    return static_cast<unsigned char>((isLooked | (c == '\0')) & !isDigit & (c != '='));
}

/// `kSkipped` bytes are those that the decoder leaves out by itself.
constexpr std::array<unsigned char, 256> kByteKinds = [] {
    std::array<unsigned char, 256> kinds{};
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        kinds[i] = isStray(static_cast<char>(i)) != 0 ? kStray : kSkipped;
    }
    for (const char c : kAlphabet) {
        kinds[static_cast<unsigned char>(c)] = kDigit;
    }
    kinds['='] = kPadding;
    return kinds;
}();

ByteKind kindOf(char c) {
    return static_cast<ByteKind>(kByteKinds[static_cast<unsigned char>(c)]);
}

/// In blocks of one length, which the compiler makes wide steps of.
bool holdsStray(std::string_view text) {
    constexpr std::size_t kBlock = 64;
    unsigned char found = 0;
    while (text.size() >= kBlock) {
        for (std::size_t i = 0; i < kBlock; ++i) {
            found |= isStray(text[i]);
        }
        text.remove_prefix(kBlock);
    }
    for (const char c : text) {
        found |= isStray(c);
    }
    return found != 0;
}

/// Decodes digits up to the first "=".
void appendRun(std::string_view text, std::string& out) {
    const std::size_t before = out.size();
    out.resize(before + borvik::base64DecodeRoom(text.size()));
    char* const end = borvik::decodeBase64Run(text, out.data() + before);
    out.resize(static_cast<std::size_t>(end - out.data()));
}

bool isBase64ToItsEnd(std::string_view text) {
    const auto digits = std::ranges::count_if(text, [](char c) { return kindOf(c) == kDigit; });
    const auto padding = std::ranges::count(text, '=');
    return !holdsStray(text) && std::ranges::all_of(text, [](char c) {
        return kindOf(c) != kSkipped || c == ' ' || c == '\t' || c == '\r' || c == '\n';
    }) && static_cast<std::size_t>(digits + padding) % kGroup == 0;
}

}  // namespace

void appendBase64(std::string_view text, std::string& out) {
    std::string cleaned;
    const std::size_t padding = std::min(text.find('='), text.size());
    if (holdsStray(text.substr(0, padding))) {
        std::ranges::copy_if(text.substr(0, padding), std::back_inserter(cleaned),
                             [](char c) { return kindOf(c) == kDigit; });
        appendRun(cleaned, out);
    } else {
        appendRun(text.substr(0, padding), out);
    }
    std::string_view rest = text.substr(padding);
    rest.remove_prefix(std::min(rest.find_first_not_of("= \t\r\n"), rest.size()));
    if (rest.empty() || !isBase64ToItsEnd(rest)) {
        return;
    }
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('='), rest.size());
        appendRun(rest.substr(0, end), out);
        rest.remove_prefix(end);
        rest.remove_prefix(std::min(rest.find_first_not_of("= \t\r\n"), rest.size()));
    }
}

void appendQuotedPrintable(std::string_view text, std::string& out) {
    std::size_t place = 0;
    while (place < text.size()) {
        const std::size_t lineEnd = std::min(text.find('\n', place), text.size());
        const std::size_t next = std::min(lineEnd + 1, text.size());
        std::size_t end = lineEnd;
        const bool isPair = lineEnd < text.size() && end > place && text[end - 1] == '\r';
        end -= isPair ? 1 : 0;
        const std::size_t breakBegin = end;
        while (end > place && (text[end - 1] == ' ' || text[end - 1] == '\t')) {
            --end;
        }
        const bool isSoft = end > place && text[end - 1] == '=';
        end -= isSoft ? 1 : 0;
        while (place < end) {
            const std::size_t sign = std::min(text.substr(0, end).find('=', place), end);
            out.append(text, place, sign - place);
            place = sign;
            if (sign == end) {
                break;
            }
            const bool isCode = sign + 2 < end && borvik::hexValue(text[sign + 1]) >= 0 &&
                                borvik::hexValue(text[sign + 2]) >= 0;
            out += isCode ? static_cast<char>(borvik::hexValue(text[sign + 1]) * 16 +
                                              borvik::hexValue(text[sign + 2]))
                          : '=';
            place += isCode ? 3 : 1;
        }
        if (!isSoft) {
            out.append(text, breakBegin, next - breakBegin);
        }
        place = next;
    }
}

bool isCoded(std::string_view transferEncoding) {
    const std::string_view coding = tokenOf(transferEncoding);
    return borvik::equalsNoCase(coding, "base64") ||
           borvik::equalsNoCase(coding, "quoted-printable");
}

std::string decodedBody(std::string_view body, std::string_view transferEncoding) {
    const std::string_view coding = tokenOf(transferEncoding);
    std::string out;
    if (borvik::equalsNoCase(coding, "base64")) {
        appendBase64(body, out);
    } else if (borvik::equalsNoCase(coding, "quoted-printable")) {
        out.reserve(body.size());
        appendQuotedPrintable(body, out);
    } else {
        out = body;
    }
    return out;
}

}  // namespace tessolt::reading
