/// The C functions of the library: what a loader asks of it, and how a client makes objects. Usable
/// from C11 and C++20.
#pragma once

#include <tessolt/automation_types.h>
#include <tessolt/guids.h>

/// The class factory of one of the four classes, as the interface `iid`. E_POINTER for a null
/// result pointer, CLASS_E_CLASSNOTAVAILABLE for any other class.
TESSOLT_API HRESULT DllGetClassObject(REFCLSID classId, REFIID iid, void** object);
/// S_OK when no object lives and no client holds a factory, type information or a lock of the
/// library; S_FALSE otherwise.
TESSOLT_API HRESULT DllCanUnloadNow(void);
/// Enters the application, the four classes and the type library into the settings, all of them or
/// none.
TESSOLT_API HRESULT DllRegisterServer(void);
/// Removes them again, so that the settings are as they were.
TESSOLT_API HRESULT DllUnregisterServer(void);
/// Registers, or unregisters for `install` 0. A failure leaves an earlier registration alone. The
/// command line is ignored.
TESSOLT_API HRESULT DllInstall(int32_t install, LPCOLESTR commandLine);

/// The class of a ProgID such as "Tessolt.Smtp" or "Tessolt.Smtp.1", ignoring case. The library's
/// own names need no registration, and no setting changes them; any other is looked for in the
/// settings. CO_E_CLASSSTRING for an unknown name.
TESSOLT_API HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* classId);
/// Reads "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}". CO_E_CLASSSTRING when it is something else.
TESSOLT_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID* classId);
/// Writes the form above with its closing zero, 39 units, and returns 39; 0 when `size` is less.
TESSOLT_API int StringFromGUID2(REFGUID id, LPOLESTR text, int size);
/// Makes an object of one of the four classes, for `outer` where that isn't null, as the interface
/// `iid`. REGDB_E_CLASSNOTREG for any other class. `context` is ignored.
TESSOLT_API HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, uint32_t context,
                                     REFIID iid, void** object);

/// Reads property `id` of `object` into `value`, which must not own anything: IDispatch::Invoke
/// without what a plain read doesn't need.
TESSOLT_API HRESULT DispGetProperty(IDispatch* object, DISPID id, VARIANT* value);

/// A new automation string with the name of a file that is safe in any folder, made from what a
/// sender wrote (`safe_name` of safe_name.h). Null when memory ends.
TESSOLT_API BSTR TessoltSafeName(BSTR name);

/// Sets a function that the waits of the calling thread ask, at once after a signal and else ten
/// times a second: a result other than 0 ends the call that waits as if its time were over. It
/// keeps ending waits until this is called again; null for none. The function gets `context`. Only
/// the look-up of a host name doesn't ask.
TESSOLT_API void TessoltSetWaitHook(int (*hook)(void* context), void* context);
