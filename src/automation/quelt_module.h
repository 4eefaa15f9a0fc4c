#pragma once

#include <tessolt/automation_types.h>

#include <atomic>
#include <mutex>

namespace tessolt {

class Registrar;

/// The library as one thing: what keeps it loaded, and the lock for what is made at the first use.
/// There is one, `module()`, from the load of the library to its unload, where it releases the
/// class factories and type information that were kept.
class CQueltModule {
public:
    constexpr CQueltModule() = default;
    virtual ~CQueltModule();
    CQueltModule(const CQueltModule&) = delete;
    CQueltModule& operator=(const CQueltModule&) = delete;

    /// One more, or one less, reason to stay loaded. Returns the new count.
    virtual LONG Lock();
    virtual LONG Unlock();
    virtual LONG GetLockCount();
    /// The table that carries interfaces between apartments. There are none here to carry between,
    /// so the result is null and E_NOINTERFACE.
    virtual HRESULT GetGITPtr(IUnknown** table);
    /// Tells the registrar what "%APPID%" stands for.
    virtual HRESULT AddCommonRGSReplacements(Registrar& registrar);

    /// Taken while something is made at the first use.
    std::mutex& criticalSection() { return critical_section_; }

private:
    std::atomic<LONG> lock_count_{0};
    std::mutex critical_section_;
};

CQueltModule& module();

/// The path of the library's own file, as the loader knows it.
const char* modulePath();

}  // namespace tessolt
