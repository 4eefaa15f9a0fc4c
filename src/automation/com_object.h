/// How the classes of the four objects become objects: counted references, alone or inside another
/// object.
#pragma once

#include <tessolt/automation_types.h>

#include <atomic>
#include <cstring>
#include <utility>

#include "automation/guarded.h"
#include "automation/quelt_module.h"

namespace tessolt {

/// Reference counts as plain counters: an object belongs to one thread at a time.
struct CComSingleThreadModel {
    static ULONG Increment(ULONG& count) { return ++count; }
    static ULONG Decrement(ULONG& count) { return --count; }
};

/// The reference count of an object.
template <class ThreadModel>
class CComObjectRootEx {
public:
    virtual ~CComObjectRootEx() = default;

    ULONG InternalAddRef() { return ThreadModel::Increment(m_dwRef); }
    ULONG InternalRelease() { return ThreadModel::Decrement(m_dwRef); }

private:
    ULONG m_dwRef = 0;
};

/// The virtual tables of the objects of class `T`, by which a pointer to one is told from one to
/// anything else without a call. The class fills it in as objects are made.
template <class T>
class OwnTables {
public:
    static constexpr int kAlone = 0;
    static constexpr int kContained = 1;

    /// `object` is complete but for what its constructor has yet to do.
    static void learn(int kind, const IUnknown& object) {
        const void* const table = tableOf(object);
        if (tables_[kind].load(std::memory_order_relaxed) != table) {
            tables_[kind].store(table, std::memory_order_relaxed);
        }
    }
    static bool know(const IUnknown& object) {
        const void* const table = tableOf(object);
        return table == tables_[kAlone].load(std::memory_order_relaxed) ||
               table == tables_[kContained].load(std::memory_order_relaxed);
    }

private:
    /// Every object begins with the pointer to its table.
    static const void* tableOf(const IUnknown& object) {
        const void* table = nullptr;
        std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
        return table;
    }

    static inline std::atomic<const void*> tables_[2] = {};
};

/// An object of class `T` that stands alone. It holds the library loaded.
template <class T>
class CComObject final : public T {
public:
    /// The arguments go to the constructor of the class.
    template <class... Arguments>
    explicit CComObject(Arguments&&... arguments) : T(std::forward<Arguments>(arguments)...) {
        OwnTables<T>::learn(OwnTables<T>::kAlone, *static_cast<IDispatch*>(this));
        module().Lock();
    }
    ~CComObject() override { module().Unlock(); }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        return object ? this->InternalQueryInterface(iid, object) : E_POINTER;
    }
    ULONG AddRef() override { return this->InternalAddRef(); }
    ULONG Release() override {
        const ULONG left = this->InternalRelease();
        if (left == 0) {
            delete this;
        }
        return left;
    }
};

/// An object of class `T` inside another: its `IUnknown` is that of the outer object.
template <class T>
class CComContainedObject final : public T {
public:
    explicit CComContainedObject(IUnknown* outer) : outer_(outer) {
        OwnTables<T>::learn(OwnTables<T>::kContained, *static_cast<IDispatch*>(this));
    }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        return outer_->QueryInterface(iid, object);
    }
    ULONG AddRef() override { return outer_->AddRef(); }
    ULONG Release() override { return outer_->Release(); }

private:
    IUnknown* outer_;  // not counted: the outer object owns this one
};

/// What the outer object holds of an aggregated one: the only way to its own interfaces.
template <class T>
class CComAggObject final : public IUnknown, private CComObjectRootEx<CComSingleThreadModel> {
public:
    explicit CComAggObject(IUnknown* outer) : contained_(outer) { module().Lock(); }
    ~CComAggObject() override { module().Unlock(); }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object) {
            return E_POINTER;
        }
        if (iid == IID_IUnknown) {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        return contained_.InternalQueryInterface(iid, object);
    }
    ULONG AddRef() override { return InternalAddRef(); }
    ULONG Release() override {
        const ULONG left = InternalRelease();
        if (left == 0) {
            delete this;
        }
        return left;
    }

private:
    CComContainedObject<T> contained_;
};

/// Makes an object and gives its interface `iid`. If it lacks that, the object is gone again.
template <class Object, class... Arguments>
HRESULT createObject(REFIID iid, void** result, Arguments&&... arguments) {
    return guarded([&] {
        auto* object = new Object(std::forward<Arguments>(arguments)...);
        object->AddRef();
        const HRESULT status = object->QueryInterface(iid, result);
        object->Release();
        return status;
    });
}

/// What the class factory needs of class `T`.
template <class T>
struct CComCoClass {
    /// Makes an object, alone or inside `outer`. `*result` is null on failure.
    static HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** result) {
        return outer ? createObject<CComAggObject<T>>(iid, result, outer)
                     : createObject<CComObject<T>>(iid, result);
    }
};

}  // namespace tessolt
