#include "mime/shared_mime.h"

namespace borvik {

SharedMime::SharedMime() : index_(root_) {
    root_.setIndex(&index_);
}

bool SharedMime::findFirst8BitCharset(StringBuffer& out) {
    if (!isSearched_) {
        hasCharset_ = root_.findFirst8BitCharset(charset_);
        isSearched_ = true;
    }
    if (hasCharset_) {
        out.copyFrom(charset_);
    }
    return hasCharset_;
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
