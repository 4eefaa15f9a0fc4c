#include "automation/quelt_module.h"

#include <dlfcn.h>
#include <tessolt/guids.h>

#include "automation/guid_text.h"
#include "automation/object_map.h"
#include "automation/registrar.h"
#include "automation/type_info.h"

namespace tessolt {
namespace {

constinit CQueltModule theModule;

}  // namespace

CQueltModule& module() {
    return theModule;
}

const char* modulePath() {
    Dl_info info = {};
    return dladdr(&theModule, &info) != 0 && info.dli_fname ? info.dli_fname : "";
}

CQueltModule::~CQueltModule() {
    // A client that holds something at this point would use it behind our back.
    if (lock_count_.load() == 0) {
        releaseClassFactories();
        releaseTypeInfos();
    }
}

LONG CQueltModule::Lock() {
    return lock_count_.fetch_add(1, std::memory_order_relaxed) + 1;
}

LONG CQueltModule::Unlock() {
    return lock_count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

LONG CQueltModule::GetLockCount() {
    return lock_count_.load(std::memory_order_acquire);
}

HRESULT CQueltModule::GetGITPtr(IUnknown** table) {
    if (!table) {
        return E_POINTER;
    }
    *table = nullptr;
    return E_NOINTERFACE;
}

HRESULT CQueltModule::AddCommonRGSReplacements(Registrar& registrar) {
    registrar.addReplacement("APPID", guidText(APPID_Quelt));
    return S_OK;
}

}  // namespace tessolt
