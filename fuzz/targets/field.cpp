#include <string>

#include "harness.h"
#include "message/znmail.h"
#include "mime/header/mime_field.h"
#include "reading/field_text.h"

namespace fuzz {
namespace {

/// One field comes out, whatever was set.
void checkEmitted(const borvik::MimeField& field, const borvik::_bvCharset& charset) {
    std::string text;
    field.emitField(text, charset);
    std::size_t fields = 0;
    require(isHeader(text, fields) && fields <= 1);
    tessolt::reading::headerText(text);
    borvik::MimeField again;
    again.loadFromUnfolded(text);
}

}  // namespace

/// Loads a field from a line and sets one from a name and a value; each is written in a code page.
void fuzzField(Input input) {
    const auto pages = codePages();
    borvik::_bvCharset charset;
    charset.setByCodePage(pages[input.choice() % pages.size()]);
    const std::string_view line = input.rest();
    borvik::MimeField loaded;
    if (loaded.loadFromUnfolded(line)) {
        checkEmitted(loaded, charset);
    }
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = line.substr(std::min(colon + 1, line.size()));
    const borvik::MimeField set(name, value);
    checkEmitted(set, charset);
    checkEmitted(borvik::MimeField("To", value), charset);
    checkEmitted(borvik::MimeField("Subject", value), charset);
    checkEmitted(borvik::MimeField("Content-Disposition", value), charset);
}

}  // namespace fuzz
