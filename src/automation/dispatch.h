/// Look-up by name and calls by number, for any interface of the type library.
#pragma once

#include "automation/type_library.h"

namespace tessolt {

/// Whether a reserved identifier is what callers are to pass: IID_NULL, or nothing at all. A caller
/// in C can pass a null pointer, which the compiler takes no reference to be.
inline bool isReservedId(REFIID reserved) {
    const IID* id = &reserved;
    asm volatile("" : "+r"(id));
    return !id || *id == IID_NULL;
}

/// The number of the member `names[0]` and of its parameters `names[1]` onwards, as
/// ITypeInfo::GetIDsOfNames gives them.
HRESULT findIds(const InterfaceTable& table, const LPOLESTR* names, UINT count, DISPID* ids);

/// Calls member `id` of `object`, a pointer to the table's interface, with the arguments brought to
/// the types of the table and defaults for those left out. `result` and `argumentError` may be
/// null; a result is written without looking at what stood there. Besides what the member itself
/// returns:
/// DISP_E_MEMBERNOTFOUND for a number that isn't there or can't be used in this way,
/// DISP_E_BADPARAMCOUNT for too many arguments or too few,
/// DISP_E_PARAMNOTOPTIONAL for the mark of a missing argument where one must be,
/// DISP_E_PARAMNOTFOUND for a named argument that isn't there or was given already,
/// DISP_E_TYPEMISMATCH and DISP_E_OVERFLOW for a value that doesn't convert. The last four leave
/// the index of the offender in `*argumentError`.
HRESULT invokeMember(const InterfaceTable& table, void* object, DISPID id, WORD flags,
                     const DISPPARAMS* parameters, VARIANT* result, UINT* argumentError);

}  // namespace tessolt
