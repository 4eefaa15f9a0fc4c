#include "mime/shared_mime.h"

#include <mutex>

namespace borvik {

SharedMime::SharedMime() : index_(root_) {
    root_.setIndex(&index_);
}

bool SharedMime::findFirst8BitCharset(StringBuffer& out) {
    const std::lock_guard<BorvikCritSec> lock(*this);
    return root_.findFirst8BitCharset(out);
}

void SharedMime::release() {
    enter();
    const bool last = getRefCount() <= 1;
    if (!last) {
        decRefCount();
    }
    leave();
    // Nobody is left who could take a new reference, and a lock must not go while it is held.
    if (last) {
        decRefCount();
    }
}

}  // namespace borvik
