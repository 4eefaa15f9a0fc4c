/// The entry points of the library and the calls with which clients make objects.
#include <tessolt/safe_name.h>
#include <tessolt/server.h>

#include <algorithm>
#include <string>

#include "automation/guarded.h"
#include "automation/guid_text.h"
#include "automation/object_map.h"
#include "automation/quelt_module.h"
#include "automation/registration.h"
#include "automation/results.h"
#include "charset/ansi_text.h"
#include "platform/settings_store.h"
#include "platform/wait_hook.h"

namespace tessolt {
namespace {

constexpr int kGuidTextSize = 39;

/// The class that the settings name for a ProgID.
std::optional<CLSID> registeredClass(const std::string& progId) {
    const std::string key = "HKEY_CLASSES_ROOT\\" + progId;
    std::optional<std::string> text = platform::readSetting(key + "\\CLSID", "");
    if (!text) {
        const auto current = platform::readSetting(key + "\\CurVer", "");
        text = current ? platform::readSetting("HKEY_CLASSES_ROOT\\" + *current + "\\CLSID", "")
                       : std::nullopt;
    }
    return text ? parseGuid(*text) : std::nullopt;
}

HRESULT findClassOfProgId(std::u16string_view progId, CLSID& classId) {
    // Our own names need no look at the settings, which costs more than the object.
    if (const ObjectMapEntry* entry = findProgId(progId)) {
        classId = entry->description().classId;
        return S_OK;
    }
    const auto registered = registeredClass(borvik::wideToUtf8Paired(progId));
    classId = registered.value_or(IID_NULL);
    return registered ? S_OK : CO_E_CLASSSTRING;
}

}  // namespace
}  // namespace tessolt

using namespace tessolt;

HRESULT DllGetClassObject(REFCLSID classId, REFIID iid, void** object) {
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    ObjectMapEntry* entry = findClass(classId);
    if (!entry) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return guarded([&] { return entry->factory.get(entry->creator).QueryInterface(iid, object); });
}

HRESULT DllCanUnloadNow() {
    return module().GetLockCount() == 0 ? S_OK : S_FALSE;
}

HRESULT DllRegisterServer() {
    return guarded(registerServer);
}

HRESULT DllUnregisterServer() {
    return guarded(unregisterServer);
}

HRESULT DllInstall(int32_t install, LPCOLESTR) {
    // A registration that fails has entered nothing, and leaves an earlier one as it is.
    return install ? DllRegisterServer() : DllUnregisterServer();
}

HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* classId) {
    if (!classId) {
        return E_POINTER;
    }
    *classId = IID_NULL;
    if (!progId) {
        return E_INVALIDARG;
    }
    return guarded([&] { return findClassOfProgId(progId, *classId); });
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* classId) {
    if (!classId) {
        return E_POINTER;
    }
    *classId = IID_NULL;
    if (!text) {
        return E_INVALIDARG;
    }
    return guarded([&] {
        const auto id = parseGuid(borvik::wideToUtf8Paired(text));
        *classId = id.value_or(IID_NULL);
        return id ? S_OK : CO_E_CLASSSTRING;
    });
}

int StringFromGUID2(REFGUID id, LPOLESTR text, int size) {
    if (!text || size < kGuidTextSize) {
        return 0;
    }
    const std::string digits = guidText(id);
    std::copy(digits.c_str(), digits.c_str() + kGuidTextSize, text);
    return kGuidTextSize;
}

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, uint32_t, REFIID iid, void** object) {
    IClassFactory* factory = nullptr;
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    const HRESULT status =
        DllGetClassObject(classId, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (FAILED(status)) {
        return status == CLASS_E_CLASSNOTAVAILABLE ? REGDB_E_CLASSNOTREG : status;
    }
    const HRESULT created = factory->CreateInstance(outer, iid, object);
    factory->Release();
    return created;
}

HRESULT DispGetProperty(IDispatch* object, DISPID id, VARIANT* value) {
    if (!object || !value) {
        return E_POINTER;
    }
    DISPPARAMS none = {};
    return object->Invoke(id, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, value, nullptr, nullptr);
}

BSTR TessoltSafeName(BSTR name) {
    BSTR safe = nullptr;
    guarded([&] {
        safe = allocUtf8(safe_name(borvik::wideToUtf8Paired(platform::bstrView(name))));
        return S_OK;
    });
    return safe;
}

void TessoltSetWaitHook(int (*hook)(void* context), void* context) {
    platform::setWaitHook(hook, context);
}
