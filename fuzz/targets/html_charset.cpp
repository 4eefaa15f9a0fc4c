#include <string>

#include "harness.h"
#include "mime/html_help.h"

namespace fuzz {

/// Searches the bytes for the charset that a page names, and takes a tag apart.
void fuzzHtmlCharset(Input input) {
    const std::string_view html = input.rest();
    const std::string name = borvik::HtmlHelp::metaCharset(html);
    require(name.size() <= html.size());
    require(borvik::HtmlHelp::metaCharset(std::string(html)) == name);
    const std::string tag = borvik::HtmlHelp::cleanHtmlTag(html);
    for (const std::string_view attribute : {"content", "charset", "http-equiv"}) {
        require(borvik::HtmlHelp::getAttribute(tag, attribute).size() <= tag.size());
    }
}

}  // namespace fuzz
