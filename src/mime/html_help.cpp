#include "mime/html_help.h"

#include <algorithm>

#include "base/ascii_text.h"

namespace borvik {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr int kMostAttributes = 101;
constexpr std::string_view kWhiteSpace = " \t\r\n";

bool isQuote(char c) {
    return c == '"' || c == '\'';
}

/// Position of the tag's ">", outside quotes; `npos` when the tag doesn't end.
std::size_t tagEnd(std::string_view html, std::size_t from) {
    char quote = '\0';
    for (std::size_t i = from; i < html.size(); ++i) {
        const char c = html[i];
        if (quote != '\0') {
            quote = c == quote ? '\0' : quote;
        } else if (isQuote(c)) {
            quote = c;
        } else if (c == '>') {
            return i;
        }
    }
    return npos;
}

/// Reads the attributes of a tag one after the other.
class AttributeReader {
public:
    explicit AttributeReader(std::string_view tag) : tag_(tag) {}

    /// The element's name with its "<".
    std::string_view elementName() { return upTo(kWhiteSpace); }

    /// False at the end of the tag.
    bool next(std::string& out) {
        skip(kWhiteSpace);
        if (at_ >= tag_.size()) {
            return false;
        }
        const std::string_view name = upTo("= \t\r\n");
        skip(kWhiteSpace);
        out.append(" ").append(name);
        if (at_ < tag_.size() && tag_[at_] == '=') {
            ++at_;
            skip(kWhiteSpace);
            out.append("=");
            copyValue(out);
        }
        return true;
    }

private:
    void skip(std::string_view set) {
        at_ = std::min(tag_.find_first_not_of(set, at_), tag_.size());
    }

    std::string_view upTo(std::string_view set) {
        const std::size_t start = at_;
        at_ = std::min(tag_.find_first_of(set, start), tag_.size());
        return tag_.substr(start, at_ - start);
    }

    void copyValue(std::string& out) {
        if (at_ < tag_.size() && isQuote(tag_[at_])) {
            copyQuoted(tag_[at_++], out);
            return;
        }
        const std::string_view value = upTo(kWhiteSpace);
        const char quote = value.find('"') == npos ? '"' : '\'';
        out += quote;
        out.append(value);
        out += quote;
    }

    void copyQuoted(char quote, std::string& out) {
        out += quote;
        for (; at_ < tag_.size() && tag_[at_] != quote; ++at_) {
            const char c = tag_[at_];
            if (c == '\\' && at_ + 1 < tag_.size() && tag_[at_ + 1] == '"') {
                out.append("&quot;");
                ++at_;
            } else if (c == '\n') {
                out += ' ';
            } else if (c != '\r') {
                out += c;
            }
        }
        ++at_;
        out += quote;
    }

    std::string_view tag_;
    std::size_t at_ = 0;
};

/// The charset within the value of a "content" attribute: behind "CHARSET=" up to whatever ends it.
std::string charsetOfContent(std::string_view behindMark) {
    for (const char end : {'"', ';', ' '}) {
        const std::size_t position = behindMark.find(end);
        if (position != npos) {
            return std::string(behindMark.substr(0, position));
        }
    }
    return std::string(behindMark);
}

std::string charsetOfXmlDeclaration(std::string_view html) {
    constexpr std::string_view kEncoding = "encoding=\"";
    const std::size_t encoding = findNoCase(html, kEncoding);
    if (encoding == npos || findNoCase(html, "<?xml ") == npos) {
        return {};
    }
    const std::string_view value = html.substr(encoding + kEncoding.size());
    const std::size_t end = value.find('"');
    return end == npos ? std::string() : std::string(value.substr(0, end));
}

}  // namespace

std::string HtmlHelp::metaCharset(std::string_view html) {
    constexpr std::string_view kMeta = "<meta";
    constexpr std::string_view kCharset = "CHARSET=";
    for (std::size_t at = findNoCase(html, kMeta); at != npos; at = findNoCase(html, kMeta, at)) {
        const std::size_t end = tagEnd(html, at);
        if (end == npos) {
            break;
        }
        const std::string tag = cleanHtmlTag(html.substr(at, end - at));
        at = end + 1;
        if (!equalsNoCase(getAttribute(tag, "HTTP-EQUIV"), "content-type")) {
            continue;
        }
        const std::string content = getAttribute(tag, "content");
        if (content.empty()) {
            continue;
        }
        const std::size_t mark = findNoCase(content, kCharset);
        return mark == npos
                   ? getAttribute(tag, "CHARSET")
                   : charsetOfContent(std::string_view(content).substr(mark + kCharset.size()));
    }
    return charsetOfXmlDeclaration(html);
}

std::string HtmlHelp::cleanHtmlTag(std::string_view tag) {
    AttributeReader reader(tag);
    std::string out(reader.elementName());
    out.reserve(tag.size());
    for (int count = 0; count < kMostAttributes && reader.next(out); ++count) {
    }
    return out;
}

std::string HtmlHelp::getAttribute(std::string_view tag, std::string_view name) {
    for (const char quote : {'"', '\''}) {
        const std::string mark = std::string(name).append("=") + quote;
        const std::size_t at = findNoCase(tag, mark);
        if (at == npos) {
            continue;
        }
        const std::string_view rest = tag.substr(at + mark.size());
        std::string value(trimmed(rest.substr(0, rest.find(quote))));
        std::replace(value.begin(), value.end(), '\\', '/');
        return value;
    }
    return {};
}

}  // namespace borvik
