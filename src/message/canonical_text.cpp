#include "message/canonical_text.h"

#include <algorithm>

#include "base/ascii_text.h"

namespace tessolt {

std::u16string WithCrlfLineEnds(std::u16string_view text) {
    std::u16string out;
    out.reserve(text.size() + text.size() / 32);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find_first_of(u"\r\n", at), text.size());
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
    if (!borvik::isAscii(text) || text.find('\0') != std::string_view::npos) {
        return false;
    }
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        if (end > kLongestLine || (end < text.size() && !text.substr(end).starts_with("\r\n"))) {
            return false;
        }
        text.remove_prefix(std::min(end + 2, text.size()));
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
