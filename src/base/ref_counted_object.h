#pragma once

#include <cstdint>

namespace borvik {

/// Object that destroys itself when its last reference goes. The count isn't atomic: owners that
/// share an object across threads guard it with a lock of their own.
class RefCountedObject {
public:
    RefCountedObject() = default;
    virtual ~RefCountedObject() = default;

    RefCountedObject(const RefCountedObject&) = delete;
    RefCountedObject& operator=(const RefCountedObject&) = delete;

    void incRefCount() { ++refCount_; }

    /// Takes one reference off; at 0 the object is gone. A count below 1 becomes 0 and destroys
    /// nothing, so that a new object survives a stray call. Returns the count.
    virtual std::int32_t decRefCount();

    std::int32_t getRefCount() const { return refCount_; }

private:
    std::int32_t refCount_ = 0;
};

}  // namespace borvik
