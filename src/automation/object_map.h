/// The classes that the library offers.
#pragma once

#include <span>
#include <string_view>

#include "automation/class_factory.h"
#include "automation/type_library.h"

namespace tessolt {

/// One class.
struct ObjectMapEntry {
    const InterfaceTable& (*table)();
    Creator creator;
    int script;  ///< the resource that registers it
    CachedPlace<ClassFactory> factory = {};

    const TypeDescription& description() const { return table().description; }
    /// Whether `name` is "Tessolt.Smtp" or "Tessolt.Smtp.1", ignoring case.
    bool isNamed(std::u16string_view name) const;
};

/// All classes, in the order of their registration.
std::span<ObjectMapEntry> objectMap();

/// The entry of a class, null when it isn't one of ours.
ObjectMapEntry* findClass(REFCLSID classId);
/// The same by ProgID, with or without version, ignoring case.
ObjectMapEntry* findProgId(std::u16string_view progId);

/// Frees the factories that were made, when the library goes.
void releaseClassFactories();

}  // namespace tessolt
