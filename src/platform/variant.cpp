#include "platform/variant.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "platform/automation_string.h"

namespace platform {
namespace {

static_assert(offsetof(VARIANT, lVal) == 8 && sizeof(VARIANT) == 8 + 2 * sizeof(void*),
              "callers in other languages rely on this layout");

/// Significant digits of a number as text.
constexpr int kNumberDigits = 15;
/// As `flags` of VariantChangeType: truth values become "True" and "False" instead of "-1" and "0".
constexpr std::uint16_t kAlphaBool = 0x02;

bool isKnownType(VARTYPE type) {
    switch (type) {
        case VT_EMPTY:
        case VT_NULL:
        case VT_I2:
        case VT_I4:
        case VT_R8:
        case VT_BSTR:
        case VT_DISPATCH:
        case VT_ERROR:
        case VT_BOOL:
        case VT_UNKNOWN:
            return true;
        default:
            return false;
    }
}

bool isKnownReference(VARTYPE type) {
    const VARTYPE target = type & ~VT_BYREF;
    return (type & VT_BYREF) != 0 && target != VT_EMPTY && target != VT_NULL &&
           (target == VT_VARIANT || isKnownType(target));
}

char16_t lowered(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + ('a' - 'A')) : unit;
}

bool equalsIgnoringCase(std::u16string_view text, std::u16string_view lowerCase) {
    if (text.size() != lowerCase.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (lowered(text[i]) != lowerCase[i]) {
            return false;
        }
    }
    return true;
}

/// A number as people write it: blanks around, a sign, a fraction, an exponent, or &H and digits.
HRESULT parseNumber(std::u16string_view text, double& number) {
    std::string ascii;
    for (const char16_t unit : text) {
        if (unit >= 0x80) {
            return DISP_E_TYPEMISMATCH;
        }
        ascii.push_back(static_cast<char>(unit));
    }
    const std::size_t first = ascii.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return DISP_E_TYPEMISMATCH;
    }
    const char* begin = ascii.data() + first;
    const char* end = ascii.data() + ascii.find_last_not_of(" \t") + 1;
    if (end - begin > 2 && begin[0] == '&' && (begin[1] | 0x20) == 'h') {
        std::uint32_t value = 0;
        const auto [stop, error] = std::from_chars(begin + 2, end, value, 16);
        if (error == std::errc::result_out_of_range) {
            return DISP_E_OVERFLOW;
        }
        number = static_cast<std::int32_t>(value);
        return error == std::errc() && stop == end ? S_OK : DISP_E_TYPEMISMATCH;
    }
    if (*begin == '+') {
        ++begin;
    }
    // from_chars also reads names such as "inf", which are no numbers here.
    const char* digit = begin != end && *begin == '-' ? begin + 1 : begin;
    if (digit == end || ((*digit < '0' || *digit > '9') && *digit != '.')) {
        return DISP_E_TYPEMISMATCH;
    }
    const auto [stop, error] = std::from_chars(begin, end, number);
    if (error == std::errc::result_out_of_range) {
        return DISP_E_OVERFLOW;
    }
    return error == std::errc() && stop == end ? S_OK : DISP_E_TYPEMISMATCH;
}

HRESULT toNumber(const VARIANT& source, double& number) {
    switch (source.vt) {
        case VT_EMPTY:
            number = 0;
            return S_OK;
        case VT_I2:
        case VT_BOOL:
            number = source.iVal;
            return S_OK;
        case VT_I4:
            number = source.lVal;
            return S_OK;
        case VT_R8:
            number = source.dblVal;
            return S_OK;
        case VT_BSTR:
            return parseNumber(bstrView(source.bstrVal), number);
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

/// Rounds halves to the even neighbour, as automation does.
HRESULT toInteger(const VARIANT& source, double lowest, double highest, std::int32_t& integer) {
    double number = 0;
    const HRESULT result = toNumber(source, number);
    if (FAILED(result)) {
        return result;
    }
    const double rounded = std::nearbyint(number);
    if (!(rounded >= lowest && rounded <= highest)) {
        return DISP_E_OVERFLOW;
    }
    integer = static_cast<std::int32_t>(rounded);
    return S_OK;
}

HRESULT toBool(const VARIANT& source, VARIANT_BOOL& truth) {
    if (source.vt == VT_BSTR) {
        const std::u16string_view text = bstrView(source.bstrVal);
        const bool isTrue = equalsIgnoringCase(text, u"true");
        if (isTrue || equalsIgnoringCase(text, u"false")) {
            truth = isTrue ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        }
    }
    double number = 0;
    const HRESULT result = toNumber(source, number);
    truth = number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return result;
}

std::string numberText(double number) {
    char buffer[64];
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, number,
                                            std::chars_format::general, kNumberDigits);
    std::string text(buffer, error == std::errc() ? end : buffer);
    for (char& c : text) {
        c = c == 'e' ? 'E' : c;
    }
    return text;
}

HRESULT toText(const VARIANT& source, std::uint16_t flags, BSTR& result) {
    std::u16string_view wide;
    std::u16string widened;
    if (source.vt == VT_BSTR) {
        wide = bstrView(source.bstrVal);
    } else {
        std::string narrow;
        if (source.vt == VT_BOOL && (flags & kAlphaBool) != 0) {
            narrow = source.boolVal ? "True" : "False";
        } else if (source.vt != VT_EMPTY) {
            double number = 0;
            const HRESULT failure = toNumber(source, number);
            if (FAILED(failure)) {
                return failure;
            }
            narrow = numberText(number);
        }
        widened.assign(narrow.begin(), narrow.end());
        wide = widened;
    }
    result = allocBstr(wide);
    return result ? S_OK : E_OUTOFMEMORY;
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
    std::int32_t integer = 0;
    switch (type) {
        case VT_I2:
            result = toInteger(source, INT16_MIN, INT16_MAX, integer);
            target.iVal = static_cast<std::int16_t>(integer);
            break;
        case VT_I4:
            result = toInteger(source, INT32_MIN, INT32_MAX, integer);
            target.lVal = integer;
            break;
        case VT_R8:
            result = toNumber(source, target.dblVal);
            break;
        case VT_BOOL:
            result = toBool(source, target.boolVal);
            break;
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
            result = source.vt == type ? S_OK : DISP_E_TYPEMISMATCH;
            target.scode = source.scode;
            break;
        default:
            return DISP_E_BADVARTYPE;
    }
    if (SUCCEEDED(result)) {
        target.vt = type;
    }
    return result;
}

/// The value that a reference to a plain type points to, as if it had been passed by value.
VARIANT loadReference(const VARIANT& source) {
    VARIANT value;
    VariantInit(&value);
    value.vt = source.vt & ~VT_BYREF;
    switch (value.vt) {
        case VT_I2:
        case VT_BOOL:
            value.iVal = *source.piVal;
            break;
        case VT_I4:
        case VT_ERROR:
            value.lVal = *source.plVal;
            break;
        default:
            std::memcpy(&value.byref, source.byref, sizeof value.byref);
            break;
    }
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
    while (value->vt == (VT_VARIANT | VT_BYREF) && value->pvarVal) {
        value = value->pvarVal;
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
