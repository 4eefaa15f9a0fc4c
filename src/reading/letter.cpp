#include "reading/letter.h"

#include <utility>

#include "base/ascii_text.h"
#include "reading/body_coding.h"
#include "reading/charset_text.h"
#include "reading/parameters.h"

namespace tessolt::reading {
namespace {

std::string_view fieldOf(const Message& message, const Part& part, std::string_view name) {
    return message.field(part, name).value_or(std::string_view());
}

/// A multipart of which no separator was found holds nothing but text.
bool isText(const Part& part) {
    return part.isType("text") || (part.isType("multipart") && part.depth < Message::kMaxDepth);
}

bool isAttached(const Message& message, const Part& part) {
    return borvik::equalsNoCase(tokenOf(fieldOf(message, part, "Content-Disposition")),
                                "attachment");
}

bool isHtml(const Part& part) {
    return part.isType("text", "html");
}

/// Inline text. The whole message is a letter also when it has a name or an unknown kind of text.
bool isLetter(const Message& message, const Part& part) {
    if (!isText(part) || isAttached(message, part)) {
        return false;
    }
    if (part.depth == 0 || part.isType("multipart")) {
        return true;
    }
    return (isHtml(part) || part.isType("text", "plain")) && nameOf(message, part).empty();
}

void appendText(std::string more, std::string& text) {
    if (text.empty()) {
        text = std::move(more);
        return;
    }
    if (!text.ends_with('\n') && !more.empty()) {
        text += "\r\n";
    }
    text += more;
}

}  // namespace

Letter letterOf(const Message& message) {
    Letter letter;
    const auto parts = message.parts();
    for (std::uint32_t number = 0; number < parts.size();) {
        const Part& part = parts[number];
        if (part.isOpened() && part.isType("multipart")) {
            ++number;
            continue;
        }
        if (isLetter(message, part)) {
            (isHtml(part) ? letter.html : letter.plain).push_back(number);
        } else {
            letter.attachments.push_back(number);
        }
        number = part.end;
    }
    return letter;
}

std::string textOf(const Message& message, const PartNumbers& parts) {
    std::string text;
    for (const std::uint32_t number : parts) {
        appendText(bodyText(message, message.parts()[number]), text);
    }
    return text;
}

std::string bodyBytes(const Message& message, const Part& part) {
    return decodedBody(part.body, fieldOf(message, part, "Content-Transfer-Encoding"));
}

std::string bodyText(const Message& message, const Part& part) {
    const std::string label = rawParameter(fieldOf(message, part, "Content-Type"), "charset");
    const std::string_view coding = fieldOf(message, part, "Content-Transfer-Encoding");
    return isCoded(coding) ? textInCharset(decodedBody(part.body, coding), tokenOf(label))
                           : textInCharset(part.body, tokenOf(label));
}

std::string nameOf(const Message& message, const Part& part) {
    std::string name = parameter(fieldOf(message, part, "Content-Disposition"), "filename");
    return name.empty() ? parameter(fieldOf(message, part, "Content-Type"), "name") : name;
}

std::string labelOf(const Message& message) {
    for (const Part& part : message.parts()) {
        if (part.isType("text")) {
            std::string label = rawParameter(fieldOf(message, part, "Content-Type"), "charset");
            if (!label.empty()) {
                return label;
            }
        }
    }
    return {};
}

}  // namespace tessolt::reading
