#include "reading/message.h"

#include <algorithm>

#include "base/ascii_text.h"
#include "reading/message_cutter.h"

namespace tessolt::reading {

bool Part::isType(std::string_view lowerType) const {
    return borvik::equalsNoCase(type, lowerType);
}

bool Part::isType(std::string_view lowerType, std::string_view lowerSubtype) const {
    return isType(lowerType) && borvik::equalsNoCase(subtype, lowerSubtype);
}

Message::Message(std::string_view text) : text_(text) {
    MessageCutter(*this).run();
}

std::optional<std::string_view> Message::field(const Part& part, std::string_view name) const {
    const auto all = fields(part);
    const auto found = std::ranges::find_if(
        all, [name](const Field& field) { return borvik::equalsNoCase(field.name, name); });
    return found == all.end() ? std::nullopt : std::optional(found->value);
}

std::string_view withoutMboxLine(std::string_view text) {
    if (text.starts_with("From ") || text.starts_with(">From ")) {
        text.remove_prefix(std::min(text.find_first_of('\n'), text.size() - 1) + 1);
    }
    return text;
}

}  // namespace tessolt::reading
