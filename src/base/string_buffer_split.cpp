#include <algorithm>
#include <memory>
#include <new>

#include "base/ascii_text.h"
#include "base/string_buffer.h"

// The operations of `StringBuffer` that cut a text into parts.

namespace borvik {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

/// False when there is no memory for the part.
bool addPart(ExtPtrArray<StringBuffer>& out, std::string_view part) {
    return out.append(std::unique_ptr<StringBuffer>(new (std::nothrow) StringBuffer(part)));
}

std::string_view withoutLeadingBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

}  // namespace

void StringBuffer::splitOnChar(ExtPtrArray<StringBuffer>& out, char delimiter, bool honourQuotes,
                               bool honourBackslash) const {
    const std::string_view text = cView();
    if (text.empty()) {
        return;
    }
    std::size_t partBegin = 0;
    bool inQuotes = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (honourBackslash && c == '\\') {
            ++i;
        } else if (honourQuotes && c == '"') {
            inQuotes = !inQuotes;
        } else if (c == delimiter && !inQuotes) {
            addPart(out, text.substr(partBegin, i - partBegin));
            partBegin = i + 1;
        }
    }
    addPart(out, text.substr(partBegin));
}

void StringBuffer::splitOnString(const char* delimiter, ExtPtrArray<StringBuffer>& out,
                                 std::size_t maxParts) const {
    if (delimiter == nullptr) {
        return;
    }
    const std::string_view text = cView();
    const std::string_view cut(delimiter);
    std::size_t parts = 0;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t hit = cut.empty() ? text.size() : find(text, cut, from);
        const std::size_t end = std::min(hit, text.size());
        if (end != from) {
            addPart(out, text.substr(from, end - from));
            if (++parts == maxParts) {
                return;
            }
        }
        from = end + cut.size();
    }
}

void StringBuffer::splitKeyValue(StringBuffer& name, StringBuffer& value) const {
    name.clear();
    value.clear();
    const std::string_view text = withoutLeadingBlanks(cView());
    const std::size_t equalsSign = text.find('=');
    name.setString(trimmed(text.substr(0, equalsSign)));
    if (equalsSign == std::string_view::npos) {
        return;
    }
    std::string_view rest = withoutLeadingBlanks(text.substr(equalsSign + 1));
    if (rest.starts_with('"')) {
        rest.remove_prefix(1);
    }
    rest = trimmed(rest);
    if (rest.ends_with('"')) {
        rest.remove_suffix(1);
    }
    value.setString(rest);
}

}  // namespace borvik
