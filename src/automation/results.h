/// How the objects hand out what callers read. A null place gives E_POINTER, the end of memory
/// E_OUTOFMEMORY.
#pragma once

#include <tessolt/automation_types.h>

#include <string_view>

#include "charset/ansi_text.h"
#include "platform/automation_string.h"

namespace tessolt {

inline HRESULT giveText(std::u16string_view text, BSTR* place) {
    if (!place) {
        return E_POINTER;
    }
    *place = platform::allocBstr(text);
    return *place ? S_OK : E_OUTOFMEMORY;
}

/// Gives 8-bit text of the ANSI code page.
inline HRESULT giveAnsi(std::string_view text, BSTR* place) {
    return giveText(borvik::ansiToWide(text), place);
}

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

/// The text of an argument up to its first zero unit; null is empty.
inline std::u16string_view argumentText(const OLECHAR* text) {
    return text ? std::u16string_view(text) : std::u16string_view();
}

}  // namespace tessolt
