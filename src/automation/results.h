/// How the objects hand out what callers read. A null place gives E_POINTER, the end of memory
/// E_OUTOFMEMORY.
#pragma once

#include <tessolt/automation_types.h>

#include <string_view>
#include <utility>

#include "automation/guarded.h"
#include "charset/unit_scan.h"
#include "platform/automation_string.h"

namespace tessolt {

inline HRESULT giveText(std::u16string_view text, BSTR* place) {
    if (!place) {
        return E_POINTER;
    }
    *place = platform::allocBstr(text);
    return *place ? S_OK : E_OUTOFMEMORY;
}

/// A new automation string from UTF-8, null when memory ends.
BSTR allocUtf8(std::string_view utf8);

/// Gives text of UTF-8.
HRESULT giveUtf8(std::string_view text, BSTR* place);
/// Gives 8-bit text of the ANSI code page.
HRESULT giveAnsi(std::string_view text, BSTR* place);

inline HRESULT giveNumber(LONG number, LONG* place) {
    if (!place) {
        return E_POINTER;
    }
    *place = number;
    return S_OK;
}

inline HRESULT giveBool(bool truth, VARIANT_BOOL* place) {
    if (!place) {
        return E_POINTER;
    }
    *place = truth ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

/// Runs the body of an operation that gives its result to `place`, once there is a place.
template <class Place, class Body>
HRESULT giving(Place* place, Body&& body) noexcept {
    return place ? guarded(std::forward<Body>(body)) : E_POINTER;
}

/// The text of an argument up to its first zero unit; null is empty.
inline std::u16string_view argumentText(const OLECHAR* text) {
    const std::u16string_view units = platform::bstrView(text);
    return units.substr(0, borvik::findZeroUnit(units));
}

}  // namespace tessolt
