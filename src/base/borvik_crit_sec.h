#pragma once

#include <mutex>

namespace borvik {

/// Recursive lock: a thread may enter again, and must leave as often. Also satisfies the standard's
/// BasicLockable, for `std::lock_guard`.
class BorvikCritSec {
public:
    BorvikCritSec() = default;
    /// Waits for a thread inside to leave.
    virtual ~BorvikCritSec();

    BorvikCritSec(const BorvikCritSec&) = delete;
    BorvikCritSec& operator=(const BorvikCritSec&) = delete;

    void enter() { mutex_.lock(); }
    void leave() { mutex_.unlock(); }

    void lock() { enter(); }
    void unlock() { leave(); }

private:
    std::recursive_mutex mutex_;
};

}  // namespace borvik
