#pragma once

#include <tessolt/automation_types.h>

#include <cstdint>

#include "automation/cached_object.h"

namespace tessolt {

/// Makes an object for `outer`, or alone where that is null.
using Creator = HRESULT (*)(IUnknown* outer, REFIID iid, void** result);

/// The factory of one class.
class ClassFactory final : public CachedObject<IClassFactory, IID_IClassFactory> {
public:
    explicit ClassFactory(Creator creator) : creator_(creator) {}

    /// E_POINTER for a null result pointer, CLASS_E_NOAGGREGATION when `outer` asks for anything
    /// but IUnknown.
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    /// Holds the library loaded, or lets it go again.
    HRESULT LockServer(int32_t lock) override;

private:
    Creator creator_;
};

}  // namespace tessolt
