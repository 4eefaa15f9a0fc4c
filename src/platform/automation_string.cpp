#include "platform/automation_string.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/memory_pages.h"

namespace platform {
namespace {

using LengthPrefix = std::uint32_t;

/// In front of the length the block has four unused bytes, so that the text behind both is aligned
/// as the allocator aligns.
constexpr std::size_t kPadding = sizeof(LengthPrefix);
constexpr std::size_t kHeadBytes = kPadding + sizeof(LengthPrefix);

/// A string of `size` bytes that are yet to be written, with its zero unit.
BSTR allocRoom(std::size_t size) {
    // One more byte than a zero unit, so that an odd byte count ends in a whole zero unit too.
    char* block = size > UINT32_MAX
                      ? nullptr
                      : static_cast<char*>(std::malloc(kHeadBytes + size + sizeof(OLECHAR) + 1));
    if (!block) {
        return nullptr;
    }
    askForLargePages(block, size);
    const auto length = static_cast<LengthPrefix>(size);
    std::memcpy(block + kPadding, &length, sizeof length);
    char* text = block + kHeadBytes;
    std::memset(text + size, 0, sizeof(OLECHAR) + 1);
    return reinterpret_cast<BSTR>(text);
}

BSTR allocBytes(const void* bytes, std::size_t size) {
    const BSTR text = allocRoom(size);
    if (text && bytes) {
        std::memcpy(text, bytes, size);
    } else if (text) {
        std::memset(text, 0, size);
    }
    return text;
}

}  // namespace

BSTR allocBstr(std::u16string_view text) {
    const BSTR copy = allocBstrRoom(text.size());
    if (copy && !text.empty()) {
        std::memcpy(copy, text.data(), text.size() * sizeof(OLECHAR));
    }
    return copy;
}

BSTR allocBstrRoom(std::size_t units) {
    return units > UINT32_MAX / sizeof(OLECHAR) ? nullptr : allocRoom(units * sizeof(OLECHAR));
}

std::u16string_view bstrView(const OLECHAR* text) {
    return text ? std::u16string_view(text, SysStringLen(const_cast<BSTR>(text)))
                : std::u16string_view();
}

}  // namespace platform

BSTR SysAllocString(const OLECHAR* text) {
    return text ? platform::allocBstr(text) : nullptr;
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
    if (length > UINT32_MAX / sizeof(OLECHAR)) {
        return nullptr;
    }
    return platform::allocBytes(text, std::size_t{length} * sizeof(OLECHAR));
}

BSTR SysAllocStringByteLen(const char* bytes, UINT length) {
    return platform::allocBytes(bytes, length);
}

void SysFreeString(BSTR text) {
    if (text) {
        std::free(reinterpret_cast<char*>(text) - platform::kHeadBytes);
    }
}

UINT SysStringByteLen(BSTR text) {
    if (!text) {
        return 0;
    }
    platform::LengthPrefix length = 0;
    std::memcpy(&length, reinterpret_cast<const char*>(text) - sizeof length, sizeof length);
    return length;
}

UINT SysStringLen(BSTR text) {
    return SysStringByteLen(text) / sizeof(OLECHAR);
}
