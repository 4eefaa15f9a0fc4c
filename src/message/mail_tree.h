#pragma once

#include <memory>
#include <utility>

#include "mime/bv_mime.h"
#include "mime/mime_draft.h"

namespace tessolt {

/// The MIME tree of a record: made when somebody first asks for it, from what was drafted, else as
/// an empty root. To ask throws `std::bad_alloc`; nothing is lost then.
class MailTree {
public:
    MailTree() = default;
    explicit MailTree(borvik::MimeDraft&& draft)
        : draft_(std::make_shared<const borvik::MimeDraft>(std::move(draft))) {}
    /// Null stands for an empty root.
    MailTree& operator=(std::unique_ptr<borvik::BvMime> root) {
        root_ = std::move(root);
        draft_.reset();
        return *this;
    }

    borvik::BvMime& operator*() const { return *Handle(); }
    borvik::BvMime* operator->() const { return Handle().get(); }
    /// Never null.
    std::unique_ptr<borvik::BvMime>& Handle() const {
        if (!root_) {
            root_ = draft_ ? draft_->makeTree() : std::make_unique<borvik::BvMime>();
            draft_.reset();
        }
        return root_;
    }

    /// A tree of its own that is equal to this one; what was drafted is shared.
    MailTree Copy() const {
        MailTree copy;
        copy.root_ = root_ ? root_->Copy() : nullptr;
        copy.draft_ = draft_;
        return copy;
    }

    /// What the tree will be made from; null once there is one, and for an empty root.
    const std::shared_ptr<const borvik::MimeDraft>& Draft() const { return draft_; }

private:
    mutable std::unique_ptr<borvik::BvMime> root_;
    mutable std::shared_ptr<const borvik::MimeDraft> draft_;
};

}  // namespace tessolt
