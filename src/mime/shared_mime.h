#pragma once

#include <cstdint>

#include "base/borvik_crit_sec.h"
#include "base/ref_counted_object.h"
#include "base/string_buffer.h"
#include "mime/mime_message2.h"
#include "mime/part_index.h"

namespace borvik {

/// One MIME tree: its root node, the lock under which the nodes are touched, and the number of
/// objects that address nodes of it. A new tree has count 0.
class SharedMime : public BorvikCritSec, public RefCountedObject {
public:
    SharedMime();

    MimeMessage2& root() { return root_; }

    /// The node of that object id; null when it isn't in the tree. Call under the lock.
    MimeMessage2* find(std::uint64_t id) { return index_.find(id); }

    /// `MimeMessage2::findFirst8BitCharset` of the root. Call under the lock, as is `noteChange`.
    bool findFirst8BitCharset(StringBuffer& out);
    /// A node is about to change. Until then the charset is searched for only once: each of very
    /// many parts may ask for it.
    void noteChange() { isSearched_ = false; }

    /// Takes one reference off under the lock; the last one destroys the tree. The caller doesn't
    /// hold the lock.
    void release();

private:
    MimeMessage2 root_;
    PartIndex index_;
    bool isSearched_ = false;
    bool hasCharset_ = false;
    StringBuffer charset_;
};

}  // namespace borvik
