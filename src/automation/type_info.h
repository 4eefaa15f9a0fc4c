#pragma once

#include "automation/type_library.h"

namespace tessolt {

/// Gives the type information of an interface with a reference added. It is made at the first use.
HRESULT getTypeInfo(const InterfaceTable& table, ITypeInfo** info);

/// Frees what was made, when the library goes.
void releaseTypeInfos();

}  // namespace tessolt
