#include "message/canonical_text.h"

#include <algorithm>

#include "base/ascii_text.h"
#include "platform/memory_pages.h"

namespace tessolt {

namespace {

template <class Unit>
bool hasOnlyPairs(std::basic_string_view<Unit> text) {
    // A whole block at once, which compilers turn into a few vector operations.
    constexpr std::size_t kBlock = 64;
    if (text.empty()) {
        return true;
    }
    if (text.front() == '\n' || text.back() == '\r') {
        return false;
    }
    const auto parts = [](const Unit* here) {
        return static_cast<Unit>(static_cast<Unit>(here[0] == '\n') ^
                                 static_cast<Unit>(here[-1] == '\r'));
    };
    const Unit* here = text.data() + 1;
    const Unit* const end = text.data() + text.size();
    for (; end - here >= static_cast<std::ptrdiff_t>(kBlock); here += kBlock) {
        Unit any = 0;
        for (std::size_t i = 0; i < kBlock; ++i) {
            any = static_cast<Unit>(any | parts(here + i));
        }
        if (any != 0) {
            return false;
        }
    }
    while (here != end && parts(here) == 0) {
        ++here;
    }
    return here == end;
}

}  // namespace

bool HasOnlyCrlf(std::string_view text) {
    return hasOnlyPairs(text);
}

bool HasOnlyCrlf(std::u16string_view text) {
    return hasOnlyPairs(text);
}

std::u16string WithCrlfLineEnds(std::u16string_view text) {
    const auto isBreak = [](char16_t unit) { return unit == u'\r' || unit == u'\n'; };
    std::u16string out;
    platform::reserveLarge(out, text.size() + text.size() / 32);
    for (std::size_t at = 0; at < text.size();) {
        const auto* const found = std::find_if(text.begin() + at, text.end(), isBreak);
        const auto end = static_cast<std::size_t>(found - text.begin());
        out.append(text, at, end - at);
        if (end == text.size()) {
            break;
        }
        out += u"\r\n";
        const bool isPair = text[end] == u'\r' && end + 1 < text.size() && text[end + 1] == u'\n';
        at = end + (isPair ? 2 : 1);
    }
    return out;
}

bool IsSevenBitText(std::string_view text) {
    constexpr std::size_t kLongestWhole = kLongestLine + 2;
    if (!borvik::isAscii(text) || text.find('\0') != std::string_view::npos || !HasOnlyCrlf(text)) {
        return false;
    }
    // The last end in reach of a line leaves none behind that is too long.
    while (text.size() > kLongestLine) {
        const std::size_t end = text.substr(0, kLongestWhole).rfind('\n');
        if (end == std::string_view::npos) {
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}

std::string WithoutFields(std::string_view message, std::initializer_list<std::string_view> names,
                          bool& removed) {
    removed = false;
    std::string kept;
    std::size_t copied = 0;
    bool isRemoving = false;
    for (std::size_t at = 0; at < message.size();) {
        const std::size_t lineEnd = std::min(message.find('\n', at), message.size() - 1) + 1;
        const std::string_view line = message.substr(at, lineEnd - at);
        if (borvik::trimmed(line, "\r\n").empty()) {
            break;
        }
        if (line.front() != ' ' && line.front() != '\t') {
            const std::string_view name = borvik::trimmed(line.substr(0, line.find(':')));
            const bool wasRemoving = isRemoving;
            isRemoving = std::ranges::any_of(names, [&](std::string_view unwanted) {
                return borvik::equalsNoCase(name, unwanted);
            });
            if (isRemoving && !wasRemoving) {
                kept.append(message, copied, at - copied);
                removed = true;
            } else if (wasRemoving && !isRemoving) {
                copied = at;
            }
        }
        at = lineEnd;
        if (isRemoving) {
            copied = at;
        }
    }
    if (removed) {
        kept.append(message, copied);
    }
    return kept;
}

}  // namespace tessolt
