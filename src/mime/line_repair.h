#pragma once

#include <string>
#include <string_view>

namespace borvik {

/// Every CR removed, then every LF turned into CRLF.
std::string withCrlfLineEnds(std::string_view text);

/// CRs that were doubled or tripled in front of an LF made one again.
std::string withoutDoubledCrs(std::string_view text);

/// Every CR turned into CRLF.
std::string withCrsAsLineEnds(std::string_view text);

}  // namespace borvik
