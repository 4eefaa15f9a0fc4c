#pragma once

#include <atomic>
#include <cstdint>

namespace borvik {

namespace detail {

inline constexpr std::uint64_t kFirstObjectId = 100;
/// Ids a thread reserves at a time, so that making an object doesn't contend for the shared
/// counter.
inline constexpr std::uint64_t kObjectIdBlock = 4096;

inline constinit std::atomic<std::uint64_t> nextObjectIdBlock{kFirstObjectId};

struct ObjectIdRange {
    std::uint64_t next = 0;
    std::uint64_t end = 0;
};
inline constinit thread_local ObjectIdRange objectIdRange;

inline std::uint64_t nextObjectId() noexcept {
    ObjectIdRange& range = objectIdRange;
    if (range.next == range.end) {
        range.next = nextObjectIdBlock.fetch_add(kObjectIdBlock, std::memory_order_relaxed);
        range.end = range.next + kObjectIdBlock;
    }
    return range.next++;
}

}  // namespace detail

/// Root of the library's internal classes. Every object, temporaries included, gets a running id
/// that is never used again within the process: consecutive within a thread, unique across threads.
/// The first object of a process has 100.
class BorvikObject {
public:
    BorvikObject() noexcept : objectId_(detail::nextObjectId()) {}
    virtual ~BorvikObject() = default;

    /// A copy is a new object with an id of its own.
    BorvikObject(const BorvikObject&) noexcept : BorvikObject() {}
    BorvikObject& operator=(const BorvikObject&) noexcept { return *this; }

    std::uint64_t getObjectId() const noexcept { return objectId_; }

private:
    std::uint64_t objectId_;
};

}  // namespace borvik
