#include "message/address_text.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/ascii_text.h"
#include "foundation/text_operations.h"
#include "message/ansi_units.h"

namespace tessolt {
namespace {

constexpr std::u16string_view kForbiddenInAddress = u"~ \\%;,|<>";

/// The forbidden characters, which are ASCII, as bits.
constexpr std::array<std::uint64_t, 2> kForbiddenBits = [] {
    std::array<std::uint64_t, 2> bits{};
    for (const char16_t unit : kForbiddenInAddress) {
        bits[unit / 64] |= std::uint64_t{1} << unit % 64;
    }
    return bits;
}();

bool isForbiddenInAddress(char16_t unit) {
    return unit < kFirstBeyondAscii && (kForbiddenBits[unit / 64] >> unit % 64 & 1) != 0;
}

template <typename View>
std::vector<View> tokensOf(View text, typename View::value_type separator) {
    std::vector<View> tokens;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        if (end == begin) {
            break;
        }
        tokens.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return tokens;
}

bool holdsBlank(std::string_view text) {
    return text.find(' ') != std::string_view::npos;
}

/// Takes `prefix` off once and `suffix` as often as it stands there.
std::string_view withoutAffixes(std::string_view text, char prefix, char suffix) {
    if (text.starts_with(prefix)) {
        text.remove_prefix(1);
    }
    while (text.ends_with(suffix)) {
        text.remove_suffix(1);
    }
    return text;
}

std::string_view withoutAngles(std::string_view text) {
    return withoutAffixes(text, '<', '>');
}

/// The last piece between blanks that stands ahead of the first empty one; empty when the very
/// first is.
std::string_view lastCountedToken(std::string_view text) {
    std::string_view last;
    while (!text.empty() && text.front() != ' ') {
        last = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(last.size() + 1, text.size()));
    }
    return last;
}

std::string without(std::string_view text, std::string_view piece, bool matchCase) {
    const std::size_t hit = matchCase ? borvik::find(text, piece) : borvik::findNoCase(text, piece);
    if (hit != std::string_view::npos && hit + piece.size() == text.size()) {
        return std::string(text.substr(0, hit));
    }
    std::string rest(text);
    ReplaceText<char>(rest, piece, {}, matchCase);
    return rest;
}

}  // namespace

bool IsValidEmailAddress(std::u16string_view address) {
    // In UTF-16, since bytes of double-byte pages look like forbidden characters.
    if (address.empty() || address.size() > kMaxAddressLength ||
        std::ranges::any_of(address, isForbiddenInAddress) ||
        (borvik::bitsOfUnits(address) >= kFirstBeyondAscii &&
         borvik::wideToAnsi(address).size() > kMaxAddressLength)) {
        return false;
    }
    const std::size_t lastAt = address.rfind(u'@');
    return lastAt != std::u16string_view::npos && address.front() != u'@' &&
           !TrimmedText(address.substr(lastAt + 1)).empty();
}

std::vector<std::string_view> ListTokens(std::string_view text, char separator) {
    return tokensOf(text, separator);
}

std::vector<std::u16string_view> ListTokens(std::u16string_view text, char16_t separator) {
    return tokensOf(text, separator);
}

bool AddressListReader::next(std::string& piece) {
    piece.clear();
    bool quoted = false;
    while (!rest_.empty()) {
        const std::size_t plain =
            std::min(rest_.find_first_of(quoted ? "\"" : ",\""), rest_.size());
        piece.append(rest_.substr(0, plain));
        rest_.remove_prefix(plain);
        if (rest_.empty()) {
            break;
        }
        const bool atComma = rest_.front() == ',';
        rest_.remove_prefix(1);
        if (atComma) {
            return true;
        }
        quoted = !quoted;
    }
    return !piece.empty();
}

NamedAddress SplitDisplayForm(std::string_view text) {
    if (!holdsBlank(text)) {
        return {.name = {}, .address = std::string(withoutAngles(text))};
    }
    const std::string_view token = lastCountedToken(text);
    const std::string rest = without(text, token, true);
    return {.name = std::string(withoutAffixes(TrimmedText<char>(rest), '"', '"')),
            .address = std::string(withoutAngles(token))};
}

std::string AddressOfDisplayForm(std::string_view text) {
    return std::string(withoutAngles(holdsBlank(text) ? lastCountedToken(text) : text));
}

NamedAddress SplitListedAddress(std::string_view piece) {
    piece = TrimmedText(piece);
    if (!holdsBlank(piece)) {
        return {.name = {}, .address = std::string(withoutAngles(piece))};
    }
    const std::string_view token = lastCountedToken(piece);
    const std::string rest = without(piece, token, false);
    return {.name = std::string(withoutAffixes(rest, '"', '"')),
            .address = std::string(withoutAngles(token))};
}

}  // namespace tessolt
