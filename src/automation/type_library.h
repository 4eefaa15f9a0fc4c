/// The type library: one table for each interface, from which type information, look-up by name,
/// dispatch, named arguments and defaults all come.
#pragma once

#include <tessolt/interfaces.h>
#include <tessolt/type_info.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace tessolt {

/// Calls one operation of the interface that `object` points to. The arguments have the types of
/// the table; `result` is cleared before and gets the result's type and value.
using Thunk = HRESULT (*)(void* object, const VARIANT* const* arguments, VARIANT* result);

/// One row: what callers may know of a member, and how it is called.
struct Member {
    TypeMember info = {};
    Thunk call = nullptr;  ///< the method, or the read of the property
    Thunk put = nullptr;   ///< the write of the property; null when it can only be read
};

/// The rows of one interface with two indexes over them.
struct InterfaceTable {
    TypeDescription description;
    std::span<const Member> members;    ///< in interface order
    std::span<const uint8_t> byName;    ///< row numbers in the order of the folded names
    std::span<const uint8_t> byDispid;  ///< row number of each dispid from 0, `kNoRow` where none

    static constexpr uint8_t kNoRow = 0xFF;

    /// The row of a member, null when there is none.
    const Member* find(DISPID id) const {
        const auto at = static_cast<uint32_t>(id);
        return at < byDispid.size() && byDispid[at] != kNoRow ? &members[byDispid[at]] : nullptr;
    }
    /// The same by name, ignoring ASCII case.
    const Member* find(std::u16string_view name) const;
};

/// The table of `Interface`, one of the four.
template <class Interface>
const InterfaceTable& interfaceTable();
template <>
const InterfaceTable& interfaceTable<IEMailMessage>();
template <>
const InterfaceTable& interfaceTable<ISmtp>();
template <>
const InterfaceTable& interfaceTable<IPop3>();
template <>
const InterfaceTable& interfaceTable<IEMailConstants>();

inline constexpr const OLECHAR* kLibraryName = u"QueltLib";
inline constexpr const OLECHAR* kLibraryHelp = u"Quelt 1.0 Type Library";
inline constexpr uint16_t kLibraryMajor = 1;
inline constexpr uint16_t kLibraryMinor = 0;

}  // namespace tessolt
