#include "mime/part_index.h"

#include "mime/mime_message2.h"

namespace borvik {

MimeMessage2* PartIndex::find(std::uint64_t id) {
    if (id == root_.getObjectId()) {
        return &root_;
    }
    if (!filled_) {
        insert(root_);
        filled_ = true;
    }
    const auto part = parts_.find(id);
    return part == parts_.end() ? nullptr : part->second;
}

void PartIndex::add(MimeMessage2& top) {
    if (filled_) {
        insert(top);
    }
}

void PartIndex::remove(const MimeMessage2& top) {
    if (!filled_) {
        return;
    }
    parts_.erase(top.getObjectId());
    for (int i = 0; i < top.getNumParts(); ++i) {
        remove(*top.getPart(i));
    }
}

void PartIndex::insert(MimeMessage2& top) {
    parts_[top.getObjectId()] = &top;
    for (int i = 0; i < top.getNumParts(); ++i) {
        insert(*top.getPart(i));
    }
}

}  // namespace borvik
