#include "mime/header/rfc822_address.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/content_coding.h"
#include "mime/header/quoted_scan.h"

namespace borvik {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kBlanks = " \t";

bool contains(std::string_view text, std::string_view wanted) {
    return find(text, wanted) != kNone;
}

bool isUndisclosed(std::string_view text) {
    return findNoCase(text, "undisclosed recipient") != kNone ||
           findNoCase(text, "undisclosed-recipient") != kNone;
}

/// Attributes of an X.400 address.
bool hasX400Attribute(std::string_view text) {
    for (std::size_t at = text.find('='); at != kNone; at = text.find('=', at + 1)) {
        if (at > 0 && (text[at - 1] == 'C' || text[at - 1] == 'O' || text[at - 1] == 'P' ||
                       (text[at - 1] == 'N' && at > 1 && text[at - 2] == 'C'))) {
            return true;
        }
    }
    return false;
}

void removeBytes(std::string& text, std::string_view unwanted) {
    text.erase(
        std::remove_if(text.begin(), text.end(), [&](char c) { return unwanted.find(c) != kNone; }),
        text.end());
}

constexpr bool isQuote(char c) {
    return c == '"' || c == '\'';
}

/// The display name in `text`, which ends where the address begins or with the delimiter in front
/// of it. That delimiter, at `end`, may be looked at.
std::string_view displayName(std::string_view text, std::size_t end) {
    std::size_t begin = 0;
    while (begin < end && isQuote(text[begin])) {
        ++begin;
    }
    std::size_t stop = begin;
    while (stop < end && !(text[stop] == '"' && (stop == 0 || text[stop - 1] != '\\'))) {
        ++stop;
    }
    // Back over what closes the name, from the byte at `stop` on, and over one quote at most.
    std::size_t last = stop + 1;
    while (last > begin && (text[last - 1] == '<' || text[last - 1] == ' ')) {
        --last;
    }
    if (last > begin && isQuote(text[last - 1])) {
        --last;
    }
    return trimmed(text.substr(begin, last - begin), kBlanks);
}

}  // namespace

void Rfc822ParseHelp::unfoldAddressText(std::string_view text, std::string& out) {
    out.reserve(out.size() + text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\t' && i > 0 && text[i - 1] == '\n') {
            out += ' ';
        } else if (c != '\r' && c != '\n') {
            out += c;
        }
    }
}

Rfc822Address::Rfc822Address(std::string_view text) {
    text = trimmed(text, kBlanks);
    if (text.empty() || isUndisclosed(text)) {
        return;
    }
    isValid_ = true;
    const std::size_t open = text.find('<');
    if (!hasX400Attribute(text)) {
        readMailbox(text);
    } else if (open == kNone) {
        address_ = text;
    } else {
        readBracketed(text, open);
    }
}

void Rfc822Address::friendlyName(std::string& out) const {
    if (!hasQWordMark(friendlyName_) && !hasBWordMark(friendlyName_)) {
        out += friendlyName_;
        return;
    }
    std::string decoded = friendlyName_;
    ContentCoding::decodeEncodedWords(decoded);
    out += decoded;
}

void Rfc822Address::readBracketed(std::string_view text, std::size_t open) {
    friendlyName_ = text.substr(0, open);
    const std::size_t close = text.find('>', open);
    address_ = text.substr(open, close - open);
    removeBytes(friendlyName_, "<>\"");
    removeBytes(address_, "<>");
    friendlyName_ = std::string(trimmed(friendlyName_));
    address_ = std::string(trimmed(address_));
}

void Rfc822Address::readMailbox(std::string_view text) {
    std::size_t at = text.find('@');
    if (at == kNone) {
        at = text.size() < 2 ? 0 : text.size() - 2;
    }
    const std::size_t delimiter = text.find_last_of(" <", at);
    const std::size_t start = delimiter == kNone ? 0 : delimiter + 1;
    const std::size_t end = text.find_first_of(" >", std::max(at, start));
    address_ = text.substr(start, end - start);
    if (delimiter != kNone && delimiter > 0) {
        friendlyName_ = displayName(text, delimiter);
        if (friendlyName_ == address_) {
            friendlyName_.clear();
        }
        finishName();
    }
    removeBytes(address_, "\"");
}

/// Gives a name that can't stand as it is the form of an encoded word.
void Rfc822Address::finishName() {
    if (contains(friendlyName_, "?8bit?")) {
        std::string bytes;
        ContentCoding::decodeEncodedWordsRaw(friendlyName_, bytes);
        friendlyName_ = std::move(bytes);
    }
    if (!isAscii(friendlyName_)) {
        std::string word;
        ContentCoding(true).encodeWordAuto(friendlyName_, "utf-8", word);
        friendlyName_ = std::move(word);
    }
    if (contains(friendlyName_, "\x1B$B")) {
        std::string word;
        ContentCoding::encodeBValue(friendlyName_, kIso2022Jp, "iso-2022-jp", word);
        friendlyName_ = std::move(word);
    }
}

void forEachAddress(std::string_view text, const std::function<void(const Rfc822Address&)>& use) {
    std::string unfolded;
    Rfc822ParseHelp::unfoldAddressText(trimmed(text, kBlanks), unfolded);
    for (std::string_view rest = unfolded; !rest.empty();) {
        const std::size_t length = lengthBefore(rest, ',', true);
        const Rfc822Address address(rest.substr(0, length));
        if (address.isValid()) {
            use(address);
        }
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
}

}  // namespace borvik
