#include "platform/large_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace platform {

void askForLargePages(void* block, std::size_t size) noexcept {
    if (size < kLeastForLargePages) {
        return;
    }
    const int before = errno;
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (begin + page - 1) / page * page;
    const std::uintptr_t end = (begin + size) / page * page;
    // The blocks of an allocator that cuts them out of a larger one lie on no bound of a page.
    (void)::madvise(static_cast<char*>(block) + (first - begin), end - first, MADV_HUGEPAGE);
    errno = before;
}

}  // namespace platform
