#include "platform/memory_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace platform {
namespace {

// Advises of the whole pages between the two: the blocks of an allocator that cuts them out of a
// larger one lie on no bound of a page. Where the system can't follow, all stays as it was.
void adviseWholePages(const void* begin, const void* end, int advice) noexcept {
    static const auto kPage = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const int before = errno;
    const std::uintptr_t from = (reinterpret_cast<std::uintptr_t>(begin) + kPage - 1) / kPage;
    const std::uintptr_t to = reinterpret_cast<std::uintptr_t>(end) / kPage;
    if (from < to) {
        (void)::madvise(reinterpret_cast<void*>(from * kPage), (to - from) * kPage, advice);
    }
    errno = before;
}

}  // namespace

void askForLargePages(void* block, std::size_t size) noexcept {
    if (size >= kLeastForLargePages) {
        adviseWholePages(block, static_cast<char*>(block) + size, MADV_HUGEPAGE);
    }
}

void releasePages(const void* begin, const void* end) noexcept {
    adviseWholePages(begin, end, MADV_DONTNEED);
}

}  // namespace platform
