#pragma once

#include <string_view>

#include "base/string_buffer.h"
#include "charset/charset_registry.h"

namespace borvik {

/// What a Content-Type field says (RFC 2045, section 5), as far as the engine uses it.
struct ContentTypeParams {
    /// The media type. Program text may have put parameters of its own behind it, unparsed.
    StringBuffer mediaType;
    StringBuffer name;
    StringBuffer protocol;
    StringBuffer micalg;
    _bvCharset charset;
    StringBuffer boundary;
    StringBuffer smimeType;
    StringBuffer type;

    /// Back to nothing.
    void clear();

    /// Takes over what a decoded field value says; parameters that it lacks are cleared. The last
    /// of repeated parameters wins. "name" may come in numbered, percent-coded pieces (RFC 2231).
    void parse(std::string_view value);

    /// The field value that says the same, with the parameters in a fixed order. A text type
    /// without a charset is labelled "us-ascii" if `defaultCharset` is set.
    StringBuffer format(bool defaultCharset) const;
};

/// What a Content-Disposition field says (RFC 2183).
struct ContentDispositionParams {
    StringBuffer disposition;
    StringBuffer filename;

    void clear();
    /// As for Content-Type; "filename" may come in pieces.
    void parse(std::string_view value);
    StringBuffer format() const;
};

/// One value in the extended form of RFC 2231, charset'language'percent-coded text, as UTF-8. A
/// later piece has no charset of its own and goes by `charsetName`, "utf-8" when that is empty.
/// `charsetRead` gets the charset named in the value, in lower case; it is emptied when there is
/// none.
void decodeExtendedParam(std::string_view value, std::string_view charsetName, StringBuffer& out,
                         StringBuffer& charsetRead);

}  // namespace borvik
