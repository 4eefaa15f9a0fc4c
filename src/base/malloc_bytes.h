#pragma once

#include <cstdlib>
#include <memory>

namespace borvik {

struct FreeDeleter {
    void operator()(void* bytes) const noexcept { std::free(bytes); }
};

/// Bytes from `malloc`, as the buffers of the library hand their storage over.
using MallocBytes = std::unique_ptr<char[], FreeDeleter>;

}  // namespace borvik
