#include "message/address_text.h"

#include <algorithm>
#include <utility>

#include "foundation/text_operations.h"

namespace tessolt {
namespace {

constexpr std::string_view kForbiddenInAddress = "~ \\%;,|<>";

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
    const std::vector<std::string_view> tokens = ListTokens(text, ' ');
    return tokens.empty() ? std::string_view() : tokens.back();
}

std::string without(std::string_view text, std::string_view piece, bool matchCase) {
    std::string rest(text);
    ReplaceText<char>(rest, piece, {}, matchCase);
    return rest;
}

}  // namespace

bool IsValidEmailAddress(std::string_view address) {
    if (address.empty() || address.size() > kMaxAddressLength ||
        address.find_first_of(kForbiddenInAddress) != std::string_view::npos) {
        return false;
    }
    const std::size_t lastAt = address.rfind('@');
    return lastAt != std::string_view::npos && address.front() != '@' &&
           !TrimmedText(address.substr(lastAt + 1)).empty();
}

std::vector<std::string_view> ListTokens(std::string_view text, char separator) {
    return tokensOf(text, separator);
}

std::vector<std::u16string_view> ListTokens(std::u16string_view text, char16_t separator) {
    return tokensOf(text, separator);
}

std::vector<std::string> SplitAddressList(std::string_view text) {
    std::vector<std::string> pieces;
    std::string piece;
    bool quoted = false;
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find_first_of(quoted ? "\"" : ",\""), text.size());
        piece.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        if (text.front() == '"') {
            quoted = !quoted;
        } else {
            pieces.push_back(std::exchange(piece, {}));
        }
        text.remove_prefix(1);
    }
    if (!piece.empty()) {
        pieces.push_back(std::move(piece));
    }
    return pieces;
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
