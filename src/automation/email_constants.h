#pragma once

#include <tessolt/interfaces.h>

#include "automation/com_object.h"
#include "automation/dispatch_impl.h"

namespace tessolt {

/// The object behind `IEMailConstants`. It has no state.
class CEMailConstants : public IDispatchImpl<IEMailConstants>,
                        public CComObjectRootEx<CComSingleThreadModel>,
                        public CComCoClass<CEMailConstants> {
public:
#define TESSOLT_CONSTANT(name, dispid, value) \
    HRESULT get_##name(LONG* pVal) override { \
        return give(value, pVal);             \
    }
    TESSOLT_EMAIL_CONSTANTS(TESSOLT_CONSTANT)
#undef TESSOLT_CONSTANT

private:
    static HRESULT give(LONG value, LONG* pVal) {
        if (!pVal) {
            return E_POINTER;
        }
        *pVal = value;
        return S_OK;
    }
};

}  // namespace tessolt
