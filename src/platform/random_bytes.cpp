#include "platform/random_bytes.h"

#include <sys/random.h>

#include <cerrno>

namespace platform {

bool randomBytes(void* buffer, std::size_t size) {
    auto* next = static_cast<unsigned char*>(buffer);
    while (size > 0) {
        const ssize_t got = getrandom(next, size, 0);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        next += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace platform
