#include "charset/tables/borvik_bzip2.h"

#include <bzlib.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace borvik {
namespace {

constexpr std::uint32_t kMagic = 0xB394A7E1;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kSpareRoom = 20;
/// Far above the largest table; a damaged length must not ask for gigabytes.
constexpr std::uint32_t kLargestPayload = 16 * 1024 * 1024;

std::uint32_t readUint32(const char* bytes) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

}  // namespace

bool BorvikBzip2::unpack(std::string_view packed, DataBuffer& out) {
    out.clear();
    if (packed.size() < kHeaderSize || readUint32(packed.data()) != kMagic) {
        return false;
    }
    const std::uint32_t length = readUint32(packed.data() + 4);
    if (length > kLargestPayload) {
        return false;
    }
    out.ensureCapacity(length + kSpareRoom);
    unsigned int unpacked = length + kSpareRoom;
    // bzip2 takes its input without const, and leaves it alone.
    char* stream = const_cast<char*>(packed.data() + kHeaderSize);
    const int result =
        BZ2_bzBuffToBuffDecompress(out.getData(), &unpacked, stream,
                                   static_cast<unsigned int>(packed.size() - kHeaderSize), 0, 0);
    if (result == BZ_MEM_ERROR) {
        throw std::bad_alloc();
    }
    out.setLength(result == BZ_OK ? unpacked : 0);
    return result == BZ_OK;
}

}  // namespace borvik
