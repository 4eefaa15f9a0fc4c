#include "platform/memory_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace platform {

void releasePages(const void* begin, const void* end) {
    static const auto kPage = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t from = (reinterpret_cast<std::uintptr_t>(begin) + kPage - 1) / kPage;
    const std::uintptr_t to = reinterpret_cast<std::uintptr_t>(end) / kPage;
    if (from < to) {
        // Where the system can't, the memory just stays a little longer.
        ::madvise(reinterpret_cast<void*>(from * kPage), (to - from) * kPage, MADV_DONTNEED);
    }
}

}  // namespace platform
