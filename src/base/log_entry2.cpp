#include "base/log_entry2.h"

#include <cstddef>
#include <initializer_list>

namespace borvik {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::string_view kLineEnd = "\r\n";

void appendAll(StringBuffer& out, std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        out.append(piece);
    }
}

/// Text that would be read as markup goes into a CDATA section, unless it brings one along.
void appendXmlText(StringBuffer& out, const StringBuffer& text) {
    constexpr std::string_view kMarkup = "\n\t&><";
    constexpr std::string_view kOpen = "<![CDATA[";
    constexpr std::string_view kClose = "]]>";
    const std::string_view content = text.view();
    const bool needsCdata = content.find_first_of(kMarkup) != std::string_view::npos &&
                            !(text.contains(kOpen.data()) && text.contains(kClose.data()));
    if (needsCdata) {
        appendAll(out, {kOpen, content, kClose});
    } else {
        out.append(content);
    }
}

void appendEscaped(StringBuffer& out, const StringBuffer& text) {
    StringBuffer escaped(text);
    escaped.xmlEscape();
    out.appendBuffer(escaped);
}

}  // namespace

void LogEntry2::renderXml(StringBuffer& out) const {
    std::string_view element = tag_.view();
    switch (kind_) {
        case LogEntryKind::kXml:
            appendAll(out, {text_.view(), kLineEnd});
            return;
        case LogEntryKind::kContext:
            appendAll(out, {"<", element, ">", kLineEnd});
            for (const LogEntry2* child : children_) {
                child->renderXml(out);
            }
            appendAll(out, {"</", element, ">", kLineEnd});
            return;
        case LogEntryKind::kError:
            element = "error";
            break;
        case LogEntryKind::kInfo:
            element = "info";
            break;
        case LogEntryKind::kData:
            break;
    }
    appendAll(out, {"<", element, ">"});
    appendXmlText(out, text_);
    appendAll(out, {"</", element, ">", kLineEnd});
}

void LogEntry2::renderHtml(StringBuffer& out) const {
    if (kind_ == LogEntryKind::kContext) {
        appendAll(out, {tag_.view(), ":<blockquote>", kLineEnd});
        for (const LogEntry2* child : children_) {
            child->renderHtml(out);
        }
        appendAll(out, {"</blockquote>", kLineEnd});
        return;
    }
    if (kind_ == LogEntryKind::kData) {
        appendAll(out, {tag_.view(), ": "});
    }
    appendEscaped(out, text_);
    appendAll(out, {"<br>", kLineEnd});
}

void LogEntry2::renderText(StringBuffer& out, int depth) const {
    out.appendCharN(' ', kIndent * static_cast<std::size_t>(depth));
    if (kind_ == LogEntryKind::kContext) {
        appendAll(out, {tag_.view(), ":", kLineEnd});
        for (const LogEntry2* child : children_) {
            child->renderText(out, depth + 1);
        }
        return;
    }
    if (kind_ == LogEntryKind::kData) {
        appendAll(out, {tag_.view(), ": "});
    }
    appendAll(out, {text_.view(), kLineEnd});
}

}  // namespace borvik
