#include <string>

#include "harness.h"
#include "mime/header/mime_header.h"
#include "mime/header/text_index.h"
#include "reading/message.h"

namespace fuzz {

/// Reads the bytes as a header, writes it in a code page, and reads that again.
void fuzzHeaderBlock(Input input) {
    const auto pages = codePages();
    borvik::_bvCharset charset;
    charset.setByCodePage(pages[input.choice() % pages.size()]);
    const std::string_view text = input.rest();
    borvik::MimeHeader header;
    header.ParseMimeHeader(text);
    borvik::TextIndex index(text);
    require(borvik::MimeHeader::findEnd(index, 0) <= text.size());
    for (const borvik::MimeField& field : header.fields()) {
        require(header.fieldValue(field.name()).has_value() || field.name().empty());
    }
    std::string param;
    header.getParamValue("Content-Type", "charset", param);

    std::string written;
    header.AssembleMimeHeader(written, charset);
    std::size_t fields = 0;
    require(isHeader(written, fields) && fields <= header.fields().size());
    borvik::MimeHeader again;
    again.ParseMimeHeader(written);
    require(again.fields().size() <= header.fields().size());

    again.replaceField("Subject", text);
    again.addField(text.substr(0, text.size() / 2), text.substr(text.size() / 2));
    again.removeField("To");
    written.clear();
    again.AssembleMimeHeader(written, charset);
    require(isHeader(written, fields) && fields <= again.fields().size());

    const tessolt::reading::Message message(text);
    require(message.fields(message.root()).size() <= text.size());
}

}  // namespace fuzz
