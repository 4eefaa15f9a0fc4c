#include "reading/parameters.h"

#include <string>

#include "harness.h"
#include "mime/header/content_params.h"
#include "mime/header/param_string.h"

namespace fuzz {
namespace {

template <class Params>
std::string written(const Params& params) {
    if constexpr (requires { params.format(true); }) {
        return std::string(params.format(true).view());
    } else {
        return std::string(params.format().view());
    }
}

/// What is written of a field says, read again, what can be written of that.
template <class Params>
void checkWriting(std::string_view value) {
    Params params;
    params.parse(value);
    Params again;
    again.parse(written(params));
    Params third;
    third.parse(written(again));
    written(third);
}

bool liesIn(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() &&
                            part.data() + part.size() <= whole.data() + whole.size());
}

}  // namespace

/// Reads the value of a field with parameters by every way that there is.
void fuzzParameters(Input input) {
    const std::string_view value = input.rest();
    checkWriting<borvik::ContentTypeParams>(value);
    checkWriting<borvik::ContentDispositionParams>(value);
    for (const bool escapes : {false, true}) {
        borvik::ParamString masked;
        masked.setParamString(value, escapes);
        masked.resolve(value);
        require(!masked.getSubstring(value.size() + 1));
    }
    borvik::StringBuffer text;
    borvik::StringBuffer charset;
    borvik::decodeExtendedParam(value, {}, text, charset);

    const tessolt::reading::MediaType type = tessolt::reading::mediaTypeOf(value);
    require(liesIn(type.type, value) || type.type == "text");
    require(liesIn(type.subtype, value));
    require(liesIn(tessolt::reading::tokenOf(value), value));
    for (const std::string_view name : {"name", "boundary", "charset", "filename"}) {
        require(tessolt::reading::rawParameter(value, name).size() <= value.size());
        tessolt::reading::parameter(value, name, "iso-8859-1");
    }
}

}  // namespace fuzz
