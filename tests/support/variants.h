#pragma once

#include "platform/variant.h"

namespace support {

/// A variant that a setter made.
template <auto kSetter>
inline constexpr auto variantBy = [](auto... value) {
    platform::Variant made;
    (made.*kSetter)(value...);
    return made;
};
inline constexpr auto integer = variantBy<&platform::Variant::setI4>;
inline constexpr auto real = variantBy<&platform::Variant::setR8>;
inline constexpr auto boolean = variantBy<&platform::Variant::setBool>;
inline constexpr auto string = variantBy<&platform::Variant::setText>;
inline constexpr auto object = variantBy<&platform::Variant::setDispatch>;
inline constexpr auto missing = variantBy<&platform::Variant::setMissing>;

/// One of a type, with nothing in it but a pointer.
inline platform::Variant ofType(VARTYPE type, void* pointer = nullptr) {
    platform::Variant made;
    made.vt = type;
    made.byref = pointer;
    return made;
}

/// An object that lives as long as its test does, and whose calls do nothing.
class DispatchStub : public IDispatch {
public:
    virtual ~DispatchStub() = default;
    std::uint32_t AddRef() override { return ++references; }
    std::uint32_t Release() override { return --references; }
    HRESULT GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
    std::uint32_t references = 0;
};

}  // namespace support
