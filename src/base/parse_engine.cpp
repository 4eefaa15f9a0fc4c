#include "base/parse_engine.h"

#include <algorithm>
#include <bitset>
#include <climits>

#include "base/ascii_text.h"

namespace borvik {

namespace {

/// The bytes of a set, for tests that don't depend on its length.
class ByteSet {
public:
    explicit ByteSet(std::string_view set) {
        for (const char c : set) {
            bits_.set(static_cast<unsigned char>(c));
        }
    }
    bool operator()(char c) const { return bits_[static_cast<unsigned char>(c)]; }

private:
    std::bitset<1 << CHAR_BIT> bits_;
};

template <class Stop>
std::size_t lengthUntil(std::string_view text, Stop stop) {
    return std::find_if(text.begin(), text.end(), stop) - text.begin();
}

}  // namespace

void ParseEngine::setString(const char* text) {
    if (text != nullptr) {
        setString(std::string_view(text));
    }
}

void ParseEngine::setString(std::string_view text) {
    text_.setString(text);
    position_ = 0;
}

std::string_view ParseEngine::rest() const {
    const auto size = static_cast<std::ptrdiff_t>(text_.getSize());
    if (position_ < 0 || position_ >= size) {
        return {};
    }
    const std::string_view behind = text_.view().substr(static_cast<std::size_t>(position_));
    return behind.substr(0, behind.find('\0'));
}

std::size_t ParseEngine::capture(std::size_t count, StringBuffer& out) {
    out.append(rest().substr(0, count));
    position_ += static_cast<std::ptrdiff_t>(count);
    return count;
}

void ParseEngine::skipChars(std::string_view set) {
    const ByteSet skipped(set);
    position_ += static_cast<std::ptrdiff_t>(
        lengthUntil(rest(), [&skipped](char c) { return !skipped(c); }));
}

void ParseEngine::skipAny4(char a, char b, char c, char d) {
    const char set[] = {a, b, c, d};
    skipChars(std::string_view(set, sizeof set));
}

void ParseEngine::skipToChar(char c) {
    const std::string_view text = rest();
    position_ += static_cast<std::ptrdiff_t>(std::min(text.find(c), text.size()));
}

void ParseEngine::captureToChar(char c, StringBuffer& out) {
    const std::string_view text = rest();
    capture(std::min(text.find(c), text.size()), out);
}

std::size_t ParseEngine::captureToAnyOf(std::string_view set, StringBuffer& out) {
    if (set.empty()) {
        return 0;
    }
    return capture(lengthUntil(rest(), ByteSet(set)), out);
}

std::size_t ParseEngine::captureToAnyUnescaped(std::string_view set, StringBuffer& out) {
    if (set.empty()) {
        return 0;
    }
    const ByteSet stops(set);
    const std::string_view text = rest();
    std::size_t length = 0;
    while (length < text.size() &&
           (!stops(text[length]) || (length != 0 && text[length - 1] == '\\'))) {
        ++length;
    }
    return capture(length, out);
}

std::size_t ParseEngine::captureToAny4(std::string_view set4, StringBuffer& out) {
    return captureToAnyOf(set4, out);
}

void ParseEngine::captureToCharQuoted(char c, StringBuffer& out) {
    const std::string_view text = rest();
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char here = text[i];
        if (quote != '\0') {
            if (here == quote) {
                quote = '\0';
            }
        } else if (here == c) {
            capture(i, out);
            return;
        } else if (here == '"' || here == '\'') {
            quote = here;
        }
    }
    captureToChar(c, out);
}

bool ParseEngine::seekNoCase(const char* text) {
    if (text == nullptr) {
        return false;
    }
    const std::size_t hit = findNoCase(rest(), text);
    if (hit == std::string_view::npos) {
        return false;
    }
    position_ += static_cast<std::ptrdiff_t>(hit);
    return true;
}

void ParseEngine::removeCharBehind(char c) {
    text_.removeCharFrom(c, static_cast<std::size_t>(std::max<std::ptrdiff_t>(position_, 0)));
}

bool ParseEngine::atEnd() const {
    return rest().empty();
}

}  // namespace borvik
