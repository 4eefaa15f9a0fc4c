#include "mime/part_index.h"

#include <algorithm>
#include <cstddef>

#include "mime/mime_message2.h"

namespace borvik {

MimeMessage2* PartIndex::find(std::uint64_t id) {
    if (id == root_.getObjectId()) {
        return &root_;
    }
    if (!filled_) {
        parts_.clear();
        append(root_);
        std::ranges::sort(parts_);
        parts_.shrink_to_fit();
        filled_ = true;
    }
    const auto part = std::ranges::lower_bound(parts_, id, {}, &Entry::first);
    return part == parts_.end() || part->first != id ? nullptr : part->second;
}

void PartIndex::add(MimeMessage2& top) {
    if (!filled_) {
        return;
    }
    // New nodes have the highest ids, unless several threads make them.
    const auto before = static_cast<std::ptrdiff_t>(parts_.size());
    append(top);
    const auto added = parts_.begin() + before;
    std::sort(added, parts_.end());
    if (before > 0 && *added < *(added - 1)) {
        std::inplace_merge(parts_.begin(), added, parts_.end());
    }
}

void PartIndex::forget() {
    parts_.clear();
    filled_ = false;
}

void PartIndex::append(MimeMessage2& top) {
    parts_.emplace_back(top.getObjectId(), &top);
    for (int i = 0; i < top.getNumParts(); ++i) {
        append(*top.getPart(i));
    }
}

}  // namespace borvik
