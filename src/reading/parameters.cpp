#include "reading/parameters.h"

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

#include "base/ascii_text.h"
#include "mime/coding/hex_digits.h"
#include "reading/charset_text.h"
#include "reading/field_text.h"

namespace tessolt::reading {
namespace {

constexpr std::string_view kTokenEnd = " \t\r\n;(";
constexpr int kWhole = -1;

/// One stretch of a parameter: `name*3*="value"` has section 3 and is extended.
struct Piece {
    int section = kWhole;
    bool isExtended = false;
    std::string value;
};

/// The value at the front of `rest`, which ends at a ";" outside quote marks; takes both off. Only
/// a quote mark and a backslash are quoted by a backslash: names with folders are written so.
std::string takeValue(std::string_view& rest) {
    std::string value;
    rest = rest.substr(std::min(rest.find_first_not_of(" \t\r\n"), rest.size()));
    if (rest.starts_with('"')) {
        std::size_t i = 1;
        for (; i < rest.size() && rest[i] != '"'; ++i) {
            const bool isPair = rest[i] == '\\' && i + 1 < rest.size() &&
                                (rest[i + 1] == '"' || rest[i + 1] == '\\');
            value += rest[isPair ? ++i : i];
        }
        rest.remove_prefix(std::min(i + 1, rest.size()));
    }
    const std::size_t end = std::min(rest.find(';'), rest.size());
    const std::string_view tail = borvik::trimmed(rest.substr(0, end));
    if (value.empty() || !tail.starts_with('(')) {
        value += tail;
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return value;
}

/// Splits "filename*3*" when its name is the wanted one.
bool readName(std::string_view written, std::string_view name, Piece& piece) {
    if (!borvik::beginsWithNoCase(written, name)) {
        return false;
    }
    written.remove_prefix(name.size());
    if (written.ends_with('*')) {
        piece.isExtended = true;
        written.remove_suffix(1);
    }
    if (written.empty()) {
        return true;
    }
    const char* const end = written.data() + written.size();
    return written.front() == '*' &&
           std::from_chars(written.data() + 1, end, piece.section).ptr == end && piece.section >= 0;
}

std::vector<Piece> piecesOf(std::string_view value, std::string_view name) {
    std::vector<Piece> pieces;
    std::string_view rest = value.substr(std::min(value.find(';'), value.size()));
    while (!rest.empty()) {
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n;"), rest.size()));
        const std::size_t end = std::min(rest.find_first_of("=;"), rest.size());
        const std::string_view written = borvik::trimmed(rest.substr(0, end));
        const bool hasValue = end < rest.size() && rest[end] == '=';
        rest.remove_prefix(end);
        if (!hasValue) {
            continue;
        }
        rest.remove_prefix(1);
        Piece piece;
        const bool isWanted = readName(written, name, piece);
        piece.value = takeValue(rest);
        if (isWanted) {
            pieces.push_back(std::move(piece));
        }
    }
    return pieces;
}

std::string unfolded(std::string_view text) {
    std::string result(text);
    std::erase_if(result, [](char c) { return c == '\r' || c == '\n'; });
    return result;
}

void appendPercentDecoded(std::string_view text, std::string& out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && borvik::hexValue(text[i + 1]) >= 0 &&
            borvik::hexValue(text[i + 2]) >= 0) {
            out += static_cast<char>(borvik::hexValue(text[i + 1]) * 16 +
                                     borvik::hexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
}

/// Joins pieces whose first one may begin with charset'language'.
std::string extendedText(const std::vector<const Piece*>& pieces, std::string_view label) {
    std::string bytes;
    std::string charset;
    for (const Piece* piece : pieces) {
        std::string_view text = piece->value;
        if (piece == pieces.front() && piece->isExtended) {
            const std::size_t first = text.find('\'');
            const std::size_t second =
                first == std::string_view::npos ? first : text.find('\'', first + 1);
            if (second != std::string_view::npos) {
                charset = text.substr(0, first);
                text.remove_prefix(second + 1);
            }
        }
        if (piece->isExtended) {
            appendPercentDecoded(text, bytes);
        } else {
            bytes += text;
        }
    }
    return textInCharset(bytes, charset.empty() ? label : std::string_view(charset));
}

}  // namespace

MediaType mediaTypeOf(std::string_view value) {
    const std::string_view text = borvik::trimmed(value.substr(0, value.find(';')));
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) {
        return {};
    }
    const std::string_view type = borvik::trimmed(text.substr(0, slash));
    const std::string_view subtype = tokenOf(text.substr(slash + 1));
    if (type.empty() || type.find_first_of(kTokenEnd) != std::string_view::npos ||
        subtype.find('/') != std::string_view::npos) {
        return {};
    }
    return {type, subtype};
}

std::string_view tokenOf(std::string_view value) {
    value = borvik::trimmed(value);
    return value.substr(0, value.find_first_of(kTokenEnd));
}

std::string rawParameter(std::string_view value, std::string_view name) {
    std::vector<Piece> pieces = piecesOf(value, name);
    std::ranges::stable_sort(pieces, {}, &Piece::section);
    std::string joined;
    for (const Piece& piece : pieces) {
        if (piece.section == kWhole) {
            return unfolded(piece.value);
        }
        joined += piece.value;
    }
    return unfolded(joined);
}

std::string parameter(std::string_view value, std::string_view name, std::string_view label) {
    std::vector<Piece> pieces = piecesOf(value, name);
    for (Piece& piece : pieces) {
        piece.value = unfolded(piece.value);
    }
    std::ranges::stable_sort(pieces, {}, &Piece::section);
    const auto sections =
        std::ranges::find_if(pieces, [](const Piece& piece) { return piece.section != kWhole; });
    const auto extended =
        std::find_if(pieces.begin(), sections, [](const Piece& piece) { return piece.isExtended; });
    if (extended != sections) {
        return extendedText({&*extended}, label);
    }
    if (sections == pieces.end()) {
        return pieces.empty() ? std::string() : headerText(pieces.front().value, label);
    }
    std::vector<const Piece*> parts;
    for (auto piece = sections; piece != pieces.end(); ++piece) {
        if (parts.empty() || parts.back()->section != piece->section) {
            parts.push_back(&*piece);
        }
    }
    return std::ranges::any_of(parts, &Piece::isExtended)
               ? extendedText(parts, label)
               : headerText(extendedText(parts, label), label);
}

}  // namespace tessolt::reading
