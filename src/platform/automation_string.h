/// Owning and viewing automation strings in C++.
#pragma once

#include <tessolt/automation_types.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace platform {

struct BstrDeleter {
    void operator()(OLECHAR* text) const { SysFreeString(text); }
};
/// An owned automation string; `release` hands it to a caller.
using OwnedBstr = std::unique_ptr<OLECHAR, BstrDeleter>;

/// A new automation string with a copy of `text`, or null when memory ends. The caller frees it.
BSTR allocBstr(std::u16string_view text);
/// The same with `units` units that are yet to be written.
BSTR allocBstrRoom(std::size_t units);
/// The units of an automation string; null is empty.
std::u16string_view bstrView(const OLECHAR* text);

}  // namespace platform
