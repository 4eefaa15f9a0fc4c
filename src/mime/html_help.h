#pragma once

#include <string>
#include <string_view>

namespace borvik {

/// What the parser needs to know of HTML: the charset that a page names itself.
class HtmlHelp {
public:
    /// The charset that a page's "meta" tags name (or, failing these, its XML declaration); empty
    /// when none does.
    static std::string metaCharset(std::string_view html);

    /// A tag, from its "<" up to before its ">", rewritten so that every attribute has the form
    /// name="value". Attributes beyond the 101st are left out.
    static std::string cleanHtmlTag(std::string_view tag);

    /// The value of an attribute of a cleaned tag, trimmed and with "\" turned into "/"; empty when
    /// it is missing. The name compares ignoring ASCII case.
    static std::string getAttribute(std::string_view tag, std::string_view name);
};

}  // namespace borvik
