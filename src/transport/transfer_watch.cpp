#include "transport/transfer_watch.h"

#include <algorithm>

#include "platform/clock.h"

namespace tessolt {

void TransferWatch::SetObserver(Observer observer, void* context) {
    observer_ = observer;
    context_ = context;
}

void TransferWatch::Begin(std::uint64_t all) {
    done_ = 0;
    all_ = all;
    isActive_ = observer_ != nullptr;
    isCancelled_ = false;
    if (isActive_) {
        askedAt_ = platform::tickCount();
    }
}

bool TransferWatch::GoesOn() {
    if (isActive_ && platform::tickCount() - askedAt_ >= kInterval) {
        Ask();
    }
    return !isActive_ || !isCancelled_;
}

bool TransferWatch::End(bool isWhole) {
    const bool goesOn = !isCancelled_;
    if (isActive_ && isWhole && goesOn) {
        done_ = std::max(done_, all_);
        all_ = done_;
        Ask();
        isCancelled_ = false;  // too late
    }
    isActive_ = false;
    return goesOn;
}

std::uint32_t TransferWatch::Slice(std::uint32_t milliseconds) const {
    return isActive_ ? std::min(milliseconds, kInterval) : milliseconds;
}

void TransferWatch::Ask() {
    // What a channel adds to the bytes of the transfer doesn't show.
    const std::uint64_t done = all_ != 0 ? std::min(done_, all_) : done_;
    isCancelled_ = isCancelled_ || observer_(context_, done, all_) != 0;
    askedAt_ = platform::tickCount();
}

}  // namespace tessolt
