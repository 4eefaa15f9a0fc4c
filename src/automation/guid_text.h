/// Identifiers as text: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (RFC 4122, 3, in braces).
#pragma once

#include <tessolt/automation_types.h>

#include <optional>
#include <string>
#include <string_view>

namespace tessolt {

/// Upper case, as the settings hold it.
std::string guidText(const GUID& id);

/// The identifier, nothing for text of any other form. Case is ignored.
std::optional<GUID> parseGuid(std::string_view text);

}  // namespace tessolt
