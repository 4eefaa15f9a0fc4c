#pragma once

#include "automation/dispatch.h"
#include "automation/guarded.h"
#include "automation/type_info.h"

namespace tessolt {

/// `IDispatch` over the type library, for a class that implements `Interface`.
template <class Interface>
class IDispatchImpl : public Interface {
public:
    HRESULT GetTypeInfoCount(UINT* count) override {
        if (!count) {
            return E_POINTER;
        }
        *count = 1;
        return S_OK;
    }

    /// Index 0 only.
    HRESULT GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
        if (!info) {
            return E_POINTER;
        }
        *info = nullptr;
        if (index != 0) {
            return DISP_E_BADINDEX;
        }
        return guarded([&] { return getTypeInfo(interfaceTable<Interface>(), info); });
    }

    HRESULT GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID,
                          DISPID* ids) override {
        if (!isReservedId(reserved)) {
            return DISP_E_UNKNOWNINTERFACE;
        }
        return findIds(interfaceTable<Interface>(), names, count, ids);
    }

    HRESULT Invoke(DISPID id, REFIID reserved, LCID, WORD flags, DISPPARAMS* parameters,
                   VARIANT* result, EXCEPINFO*, UINT* argumentError) override {
        if (!isReservedId(reserved)) {
            return DISP_E_UNKNOWNINTERFACE;
        }
        return guarded([&] {
            return invokeMember(interfaceTable<Interface>(), static_cast<Interface*>(this), id,
                                flags, parameters, result, argumentError);
        });
    }

    /// The interfaces that the class offers: its own, which is its `IDispatch` too.
    HRESULT InternalQueryInterface(REFIID iid, void** object) {
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == Interface::kIid) {
            *object = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
};

}  // namespace tessolt
