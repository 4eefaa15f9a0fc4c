/// An automation variant that clears itself.
#pragma once

#include <tessolt/automation_types.h>

#include <cstdint>
#include <string_view>

namespace platform {

/// A VARIANT with an owner. Setters give up what was held before.
class Variant : public VARIANT {
public:
    Variant() { VariantInit(this); }
    explicit Variant(const VARIANT& other);
    Variant(const Variant& other);
    Variant(Variant&& other) noexcept;
    Variant& operator=(Variant other) noexcept;
    ~Variant() { VariantClear(this); }

    void setI4(std::int32_t value);
    void setBool(bool value);
    void setR8(double value);
    /// E_OUTOFMEMORY leaves the variant empty.
    HRESULT setText(std::u16string_view text);
    /// Adds a reference; null is kept as a null object.
    void setDispatch(IDispatch* object);
    /// Makes it the mark of an argument that was left out.
    void setMissing();

    /// Gives the value to a plain VARIANT, which must not own anything, and is empty afterwards.
    void detachTo(VARIANT* target);
};

/// True for an argument that the caller left out.
inline bool isMissing(const VARIANT& value) {
    return value.vt == VT_ERROR && value.scode == DISP_E_PARAMNOTFOUND;
}

/// What `value` stands for once VT_BYREF | VT_VARIANT is followed; never null. Where that leads
/// nowhere, or round in a circle, the result is such a reference itself.
const VARIANT* followVariant(const VARIANT* value);

}  // namespace platform
