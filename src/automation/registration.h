#pragma once

#include <tessolt/automation_types.h>

namespace tessolt {

/// Registers the application, the classes in the order of the object map, and the type library, all
/// of it or nothing. The first failure ends it.
HRESULT registerServer();
/// Removes the classes, the type library and the application.
HRESULT unregisterServer();

}  // namespace tessolt
