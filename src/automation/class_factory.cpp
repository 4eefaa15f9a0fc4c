#include "automation/class_factory.h"

#include <cstdint>

namespace tessolt {

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer && !(iid == IID_IUnknown)) {
        return CLASS_E_NOAGGREGATION;
    }
    return creator_(outer, iid, object);
}

HRESULT ClassFactory::LockServer(int32_t lock) {
    if (lock) {
        module().Lock();
    } else {
        module().Unlock();
    }
    return S_OK;
}

}  // namespace tessolt
