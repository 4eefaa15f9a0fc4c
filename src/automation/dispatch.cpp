#include "automation/dispatch.h"

#include <array>

#include "automation/name_order.h"
#include "platform/variant.h"

namespace tessolt {
namespace {

constexpr VARTYPE kAnyValue = VT_VARIANT | VT_BYREF;
constexpr DISPPARAMS kNoParameters = {};

/// The arguments of one call in the order of the table, and the converted values among them.
class CallFrame {
public:
    CallFrame() = default;
    ~CallFrame() {
        for (unsigned i = 0; i < used_; ++i) {
            VariantClear(&converted_[i]);
        }
    }
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    /// Makes `given` argument `at`, converted where it isn't of `type` yet.
    HRESULT set(unsigned at, VARTYPE type, const VARIANT& given) {
        if (given.vt == kAnyValue && given.pvarVal) {
            return DISP_E_TYPEMISMATCH;  // it refers to itself
        }
        if (given.vt == type) {
            arguments_[at] = &given;
            return S_OK;
        }
        return type == kAnyValue ? setAny(at, given) : convert(at, type, given);
    }
    /// Makes the default of the table argument `at`.
    void setDefault(unsigned at, const TypeParameter& parameter) {
        arguments_[at] = &parameter.defaultValue;
    }
    const VARIANT* const* arguments() const { return arguments_.data(); }

private:
    HRESULT convert(unsigned at, VARTYPE type, const VARIANT& given) {
        VARIANT& value = next();
        const HRESULT status = VariantChangeType(&value, &given, 0, type);
        arguments_[at] = &value;
        return status == DISP_E_BADVARTYPE ? DISP_E_TYPEMISMATCH : status;
    }

    /// A parameter that takes any value gets a pointer to it, with references followed.
    HRESULT setAny(unsigned at, const VARIANT& given) {
        const VARIANT* target = &given;
        if ((given.vt & VT_BYREF) != 0) {
            VARIANT& value = next();
            if (FAILED(VariantCopyInd(&value, &given))) {
                return DISP_E_TYPEMISMATCH;
            }
            target = &value;
        }
        VARIANT& pointer = next();
        pointer.vt = kAnyValue;
        pointer.pvarVal = const_cast<VARIANT*>(target);
        arguments_[at] = &pointer;
        return S_OK;
    }

    VARIANT& next() {
        VARIANT& value = converted_[used_++];
        VariantInit(&value);
        return value;
    }

    /// A value of any type may want two.
    static constexpr unsigned kMostConverted = 2 * TESSOLT_MAX_PARAMETERS;

    std::array<const VARIANT*, TESSOLT_MAX_PARAMETERS> arguments_ = {};
    VARIANT converted_[kMostConverted];  // only the first `used_` are alive
    unsigned used_ = 0;
};

/// Where each parameter's argument stands in the caller's list.
class ArgumentPlaces {
public:
    /// Sorts the caller's list, which has the last argument first and the named ones before the
    /// others.
    HRESULT sort(const TypeMember& member, const DISPPARAMS& given, UINT& offender) {
        const UINT positional = given.cArgs - given.cNamedArgs;
        if (given.cArgs > member.parameterCount) {
            return DISP_E_BADPARAMCOUNT;
        }
        for (UINT i = 0; i < positional; ++i) {
            places_[i] = static_cast<int>(given.cArgs - 1 - i);
        }
        for (UINT i = 0; i < given.cNamedArgs; ++i) {
            const auto parameter = static_cast<UINT>(given.rgdispidNamedArgs[i]);
            if (parameter >= member.parameterCount || places_[parameter] != kNone) {
                offender = i;
                return DISP_E_PARAMNOTFOUND;
            }
            places_[parameter] = static_cast<int>(i);
        }
        return S_OK;
    }
    bool has(UINT parameter) const { return places_[parameter] != kNone; }
    UINT operator[](UINT parameter) const { return static_cast<UINT>(places_[parameter]); }

private:
    static constexpr int kNone = -1;
    std::array<int, TESSOLT_MAX_PARAMETERS> places_ = {kNone, kNone, kNone, kNone, kNone, kNone};
    static_assert(TESSOLT_MAX_PARAMETERS == 6);
};

HRESULT fillFrame(const TypeMember& member, const DISPPARAMS& given, CallFrame& frame,
                  UINT& offender) {
    ArgumentPlaces places;
    const HRESULT sorted = places.sort(member, given, offender);
    if (FAILED(sorted)) {
        return sorted;
    }
    for (UINT i = 0; i < member.parameterCount; ++i) {
        const TypeParameter& parameter = member.parameters[i];
        const VARIANT* value =
            places.has(i) ? platform::followVariant(&given.rgvarg[places[i]]) : nullptr;
        if (!value || platform::isMissing(*value)) {
            if (!parameter.optional) {
                offender = value ? places[i] : offender;
                return value ? DISP_E_PARAMNOTOPTIONAL : DISP_E_BADPARAMCOUNT;
            }
            frame.setDefault(i, parameter);
            continue;
        }
        const HRESULT status = frame.set(i, parameter.type, *value);
        if (FAILED(status)) {
            offender = places[i];
            return status;
        }
    }
    return S_OK;
}

HRESULT callMember(const Member& member, void* object, const DISPPARAMS& given, VARIANT* result,
                   UINT& offender) {
    VARIANT dropped;
    if (!result) {
        VariantInit(&dropped);
    }
    VARIANT* target = result ? result : &dropped;
    HRESULT status;
    if (member.info.parameterCount == 0 && given.cArgs == 0) {
        status = member.call(object, nullptr, target);
    } else {
        CallFrame frame;
        status = fillFrame(member.info, given, frame, offender);
        if (SUCCEEDED(status)) {
            status = member.call(object, frame.arguments(), target);
        }
    }
    if (!result) {
        VariantClear(&dropped);
    }
    return status;
}

/// The one argument of a property write, which scripts name and simple callers don't.
HRESULT putMember(const Member& member, void* object, const DISPPARAMS& given, UINT& offender) {
    if (given.cArgs != 1) {
        return DISP_E_BADPARAMCOUNT;
    }
    offender = 0;
    if (given.cNamedArgs == 1 && given.rgdispidNamedArgs[0] != DISPID_PROPERTYPUT) {
        return DISP_E_PARAMNOTFOUND;
    }
    const VARIANT* value = platform::followVariant(&given.rgvarg[0]);
    if (platform::isMissing(*value)) {
        return DISP_E_PARAMNOTOPTIONAL;
    }
    CallFrame frame;
    const HRESULT status = frame.set(0, member.info.type, *value);
    return FAILED(status) ? status : member.put(object, frame.arguments(), nullptr);
}

bool isWellFormed(const DISPPARAMS& given) {
    return given.cNamedArgs <= given.cArgs && (given.cArgs == 0 || given.rgvarg) &&
           (given.cNamedArgs == 0 || given.rgdispidNamedArgs);
}

}  // namespace

HRESULT findIds(const InterfaceTable& table, const LPOLESTR* names, UINT count, DISPID* ids) {
    if (!names || !ids) {
        return E_POINTER;
    }
    if (count == 0) {
        return E_INVALIDARG;
    }
    const Member* member = names[0] ? table.find(names[0]) : nullptr;
    ids[0] = member ? member->info.id : DISPID_UNKNOWN;
    HRESULT status = member ? S_OK : DISP_E_UNKNOWNNAME;
    for (UINT i = 1; i < count; ++i) {
        ids[i] = DISPID_UNKNOWN;
        const UINT parameters = member && names[i] ? member->info.parameterCount : 0;
        for (UINT j = 0; j < parameters; ++j) {
            if (compareNames(member->info.parameters[j].name, names[i]) == 0) {
                ids[i] = static_cast<DISPID>(j);
            }
        }
        status = ids[i] == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : status;
    }
    return status;
}

HRESULT invokeMember(const InterfaceTable& table, void* object, DISPID id, WORD flags,
                     const DISPPARAMS* parameters, VARIANT* result, UINT* argumentError) {
    if (result) {
        VariantInit(result);
    }
    const DISPPARAMS& given = parameters ? *parameters : kNoParameters;
    if (!object || !isWellFormed(given)) {
        return E_INVALIDARG;
    }
    const Member* member = table.find(id);
    if (!member) {
        return DISP_E_MEMBERNOTFOUND;
    }
    constexpr WORD kRead = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
    UINT offender = 0;
    HRESULT status = DISP_E_MEMBERNOTFOUND;
    if ((member->info.kind & flags & kRead) != 0) {
        status = callMember(*member, object, given, result, offender);
    } else if ((member->info.kind & flags & DISPATCH_PROPERTYPUT) != 0) {
        status = putMember(*member, object, given, offender);
    }
    if (FAILED(status) && argumentError) {
        *argumentError = offender;
    }
    return status;
}

}  // namespace tessolt
