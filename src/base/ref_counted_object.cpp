#include "base/ref_counted_object.h"

namespace borvik {

std::int32_t RefCountedObject::decRefCount() {
    if (refCount_ < 1) {
        refCount_ = 0;
        return 0;
    }
    const std::int32_t left = --refCount_;
    if (left == 0) {
        delete this;
    }
    return left;
}

}  // namespace borvik
