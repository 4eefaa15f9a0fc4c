/// Conversion between the numbers, truth values and texts of variants, none of them a reference.
#pragma once

#include <tessolt/automation_types.h>

#include <cstdint>

namespace platform {

/// Converts `source` to a number type or truth value into `target`, which is VT_EMPTY and stays so
/// on failure. DISP_E_BADVARTYPE for any other type.
HRESULT toNumericType(const VARIANT& source, VARTYPE type, VARIANT& target);

/// Makes a text of a number, a truth value, a text or nothing. `flags` as in VariantChangeType.
HRESULT toText(const VARIANT& source, std::uint16_t flags, BSTR& result);

}  // namespace platform
