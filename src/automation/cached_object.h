#pragma once

#include <tessolt/automation_types.h>

#include <atomic>
#include <mutex>

#include "automation/quelt_module.h"

namespace tessolt {

/// An object that the library makes once and keeps: it holds the library loaded only while a client
/// holds it, and goes at the unload. `kIid` is the interface that it offers besides IUnknown.
template <class Interface, const IID& kIid>
class CachedObject : public Interface {
public:
    virtual ~CachedObject() = default;

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object) {
            return E_POINTER;
        }
        const bool known = iid == IID_IUnknown || iid == kIid;
        *object = known ? static_cast<Interface*>(this) : nullptr;
        if (known) {
            AddRef();
        }
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override {
        const ULONG before = references_.fetch_add(1, std::memory_order_relaxed);
        if (before == 0) {
            module().Lock();
        }
        return before + 1;
    }
    ULONG Release() override {
        const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            module().Unlock();
        }
        return left;
    }

private:
    std::atomic<ULONG> references_{0};
};

/// The place where such an object is kept.
template <class Object>
class CachedPlace {
public:
    /// The object, made by `new Object(argument)` at the first use. Throws std::bad_alloc.
    template <class Argument>
    Object& get(const Argument& argument) {
        if (Object* made = object_.load(std::memory_order_acquire)) {
            return *made;
        }
        const std::lock_guard lock(module().criticalSection());
        Object* made = object_.load(std::memory_order_relaxed);
        if (!made) {
            made = new Object(argument);
            object_.store(made, std::memory_order_release);
        }
        return *made;
    }
    void release() { delete object_.exchange(nullptr); }

private:
    std::atomic<Object*> object_{nullptr};
};

}  // namespace tessolt
