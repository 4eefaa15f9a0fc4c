#include "platform/variant.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "platform/automation_string.h"
#include "platform/variant_numbers.h"

namespace platform {
namespace {

static_assert(offsetof(VARIANT, lVal) == 8 && sizeof(VARIANT) == 8 + 2 * sizeof(void*),
              "callers in other languages rely on this layout");

/// The one number below VT_UINT that names no type.
constexpr VARTYPE kUnusedType = 15;

bool isKnownType(VARTYPE type) {
    return type <= VT_UINT && type != VT_VARIANT && type != kUnusedType;
}

bool isKnownReference(VARTYPE type) {
    const VARTYPE target = type & ~VT_BYREF;
    return (type & VT_BYREF) != 0 && target != VT_EMPTY && target != VT_NULL &&
           (target == VT_VARIANT || isKnownType(target));
}

HRESULT toInterface(const VARIANT& source, REFIID iid, void** object) {
    if (source.vt != VT_DISPATCH && source.vt != VT_UNKNOWN) {
        return DISP_E_TYPEMISMATCH;
    }
    *object = nullptr;
    if (!source.punkVal) {
        return S_OK;
    }
    return FAILED(source.punkVal->QueryInterface(iid, object)) ? DISP_E_TYPEMISMATCH : S_OK;
}

/// Fills `target`, which is VT_EMPTY, from a `source` that is no reference.
HRESULT convert(const VARIANT& source, std::uint16_t flags, VARTYPE type, VARIANT& target) {
    HRESULT result = DISP_E_TYPEMISMATCH;
    switch (type) {
        case VT_BSTR:
            result = toText(source, flags, target.bstrVal);
            break;
        case VT_DISPATCH:
            result = toInterface(source, IID_IDispatch, &target.byref);
            break;
        case VT_UNKNOWN:
            result = toInterface(source, IID_IUnknown, &target.byref);
            break;
        case VT_EMPTY:
        case VT_NULL:
        case VT_ERROR:
            break;
        default:
            return toNumericType(source, type, target);
    }
    if (SUCCEEDED(result)) {
        target.vt = type;
    }
    return result;
}

/// The size of a value of a type other than VT_DECIMAL; pointers have that of the largest numbers.
std::size_t sizeOfNumber(VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return sizeof(std::int8_t);
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return sizeof(std::int16_t);
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR:
            return sizeof(std::int32_t);
        default:
            return sizeof(std::int64_t);
    }
}

/// The value that a reference to a plain type points to, as if it had been passed by value.
VARIANT loadReference(const VARIANT& source) {
    VARIANT value;
    VariantInit(&value);
    const VARTYPE type = source.vt & ~VT_BYREF;
    if (type == VT_DECIMAL) {
        value.decVal = *source.pdecVal;
    } else {
        std::memcpy(&value.byref, source.byref, sizeOfNumber(type));
    }
    value.vt = type;
    return value;
}

}  // namespace

Variant::Variant(const VARIANT& other) {
    VariantInit(this);
    VariantCopy(this, &other);
}

Variant::Variant(const Variant& other) : Variant(static_cast<const VARIANT&>(other)) {}

Variant::Variant(Variant&& other) noexcept {
    other.detachTo(this);
}

Variant& Variant::operator=(Variant other) noexcept {
    std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other));
    return *this;
}

void Variant::setI4(std::int32_t value) {
    VariantClear(this);
    vt = VT_I4;
    lVal = value;
}

void Variant::setBool(bool value) {
    VariantClear(this);
    vt = VT_BOOL;
    boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

void Variant::setR8(double value) {
    VariantClear(this);
    vt = VT_R8;
    dblVal = value;
}

HRESULT Variant::setText(std::u16string_view text) {
    const BSTR copy = allocBstr(text);
    VariantClear(this);
    if (!copy) {
        return E_OUTOFMEMORY;
    }
    vt = VT_BSTR;
    bstrVal = copy;
    return S_OK;
}

void Variant::setDispatch(IDispatch* object) {
    if (object) {
        object->AddRef();
    }
    VariantClear(this);
    vt = VT_DISPATCH;
    pdispVal = object;
}

void Variant::setMissing() {
    VariantClear(this);
    vt = VT_ERROR;
    scode = DISP_E_PARAMNOTFOUND;
}

void Variant::detachTo(VARIANT* target) {
    *target = *this;
    VariantInit(this);
}

const VARIANT* followVariant(const VARIANT* value) {
    const auto leadsOn = [](const VARIANT* from) {
        return from->vt == (VT_VARIANT | VT_BYREF) && from->pvarVal;
    };
    // The second goes two steps at a time, and meets the first in a circle.
    const VARIANT* ahead = value;
    while (leadsOn(value)) {
        value = value->pvarVal;
        for (int i = 0; i < 2 && leadsOn(ahead); ++i) {
            ahead = ahead->pvarVal;
        }
        if (value == ahead && leadsOn(ahead)) {
            break;
        }
    }
    return value;
}

}  // namespace platform

void VariantInit(VARIANT* value) {
    *value = VARIANT{};
}

HRESULT VariantClear(VARIANT* value) {
    if (!value) {
        return E_INVALIDARG;
    }
    if (!platform::isKnownType(value->vt) && !platform::isKnownReference(value->vt)) {
        return DISP_E_BADVARTYPE;
    }
    VARIANT old = *value;
    VariantInit(value);
    if (old.vt == VT_BSTR) {
        SysFreeString(old.bstrVal);
    } else if ((old.vt == VT_DISPATCH || old.vt == VT_UNKNOWN) && old.punkVal) {
        old.punkVal->Release();
    }
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) {
    if (!target || !source) {
        return E_INVALIDARG;
    }
    if (target == source) {
        return S_OK;
    }
    if (!platform::isKnownType(source->vt) && !platform::isKnownReference(source->vt)) {
        return DISP_E_BADVARTYPE;
    }
    VARIANT copy = *source;
    if (copy.vt == VT_BSTR && copy.bstrVal) {
        copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<const char*>(source->bstrVal),
                                             SysStringByteLen(source->bstrVal));
        if (!copy.bstrVal) {
            return E_OUTOFMEMORY;
        }
    } else if ((copy.vt == VT_DISPATCH || copy.vt == VT_UNKNOWN) && copy.punkVal) {
        copy.punkVal->AddRef();
    }
    const HRESULT cleared = VariantClear(target);
    if (FAILED(cleared)) {
        VariantClear(&copy);
        return cleared;
    }
    *target = copy;
    return S_OK;
}

HRESULT VariantCopyInd(VARIANT* target, const VARIANT* source) {
    if (!target || !source) {
        return E_INVALIDARG;
    }
    source = platform::followVariant(source);
    if ((source->vt & VT_BYREF) == 0) {
        return VariantCopy(target, source);
    }
    if (!platform::isKnownReference(source->vt) || !source->byref) {
        return DISP_E_BADVARTYPE;
    }
    if (source->vt == (VT_VARIANT | VT_BYREF)) {
        return DISP_E_TYPEMISMATCH;  // it refers to itself
    }
    const VARIANT value = platform::loadReference(*source);
    return VariantCopy(target, &value);
}

HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, uint16_t flags, VARTYPE type) {
    if (!target || !source) {
        return E_INVALIDARG;
    }
    if (!platform::isKnownType(type)) {
        return DISP_E_BADVARTYPE;
    }
    platform::Variant plain;
    HRESULT result = VariantCopyInd(&plain, source);
    if (FAILED(result)) {
        return result;
    }
    platform::Variant converted;
    if (plain.vt == type) {
        converted = std::move(plain);
    } else {
        result = platform::convert(plain, flags, type, converted);
        if (FAILED(result)) {
            VariantInit(&converted);
            return result;
        }
    }
    result = VariantClear(target);
    if (SUCCEEDED(result)) {
        converted.detachTo(target);
    }
    return result;
}
