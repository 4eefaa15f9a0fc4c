#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

#include "base/data_buffer.h"
#include "charset/lanes/text_cursor.h"

namespace borvik {

/// Runs a conversion loop over `length` bytes at `input` and appends what it writes. `expected` is
/// a guess at the size of the output; when it was too low, the rest is reckoned by what came out so
/// far, and by a quarter of the whole at least, so that the cost stays linear. Returns what the
/// loop returned throughout. Throws `std::bad_alloc`, also when the output passes what a buffer
/// holds: false would mean dropped characters only.
template <typename Kernel>
bool appendConverted(const void* input, std::size_t length, DataBuffer& out, std::size_t expected,
                     Kernel kernel) {
    constexpr std::size_t kSmallestRoom = 2048;
    const auto* bytes = static_cast<const std::uint8_t*>(input);
    const std::size_t before = out.getSize();
    TextCursor c{bytes, bytes + length, nullptr, nullptr};
    bool complete = true;
    while (c.in < c.inEnd) {
        const std::size_t size = out.getSize();
        if (DataBuffer::kMaxSize - size < kSmallestRoom) {
            throw std::bad_alloc();
        }
        const std::size_t want = std::min(expected + kSmallestRoom, DataBuffer::kMaxSize - size);
        out.ensureCapacity(size + want);
        auto* begin = reinterpret_cast<std::uint8_t*>(out.getData());
        c.out = begin + size;
        c.outLimit = begin + out.getCapacity() - TextCursor::kStepRoom;
        complete = kernel(c) && complete;
        out.setLength(static_cast<std::size_t>(c.out - begin));
        const std::size_t made = out.getSize() - before;
        const double ratio = static_cast<double>(made) / static_cast<double>(c.in - bytes + 1);
        expected =
            std::max(static_cast<std::size_t>(static_cast<double>(c.left()) * ratio), made / 4);
    }
    return complete;
}

}  // namespace borvik
