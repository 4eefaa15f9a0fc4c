#include "base/data_buffer.h"

#include <algorithm>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "base/ascii_text.h"
#include "base/string_buffer.h"
#include "platform/memory_pages.h"

namespace borvik {

namespace {

/// Growth by size class: a buffer of at least `atLeast` bytes that gets fewer than `step` more
/// grows by `step`.
struct GrowthStep {
    std::size_t atLeast;
    std::size_t step;
};
constexpr GrowthStep kGrowthSteps[] = {
    {12'000'000, 12'000'000}, {8'000'000, 8'000'000}, {4'000'000, 4'000'000},
    {3'000'000, 3'000'000},   {2'000'000, 2'000'000}, {1'000'000, 1'000'000},
    {100'000, 100'000},       {50'000, 50'000},       {0, 20'000},
};
/// By how much a full buffer grows for a single byte, and for a character.
constexpr std::size_t kByteStep = 10'000;
constexpr std::size_t kCharStep = 20'000;

/// Once the steps become small beside the content, a half of the content is added instead: else a
/// long series of appends would copy it again and again.
std::size_t spareFor(std::size_t length, std::size_t step) {
    return std::max(step, length / 2);
}

std::size_t ladderStep(std::size_t length, std::size_t count) {
    for (const GrowthStep& size : kGrowthSteps) {
        if (count < size.step && length >= size.atLeast) {
            return spareFor(length, size.step);
        }
    }
    return count;
}

}  // namespace

DataBuffer::DataBuffer(std::size_t capacity) {
    if (capacity != 0 && capacity <= kMaxSize) {
        data_ = static_cast<char*>(std::calloc(capacity, 1));
        if (data_ == nullptr) {
            throw std::bad_alloc();
        }
        capacity_ = static_cast<std::uint32_t>(capacity);
    }
}

DataBuffer::DataBuffer(DataBuffer&& other) noexcept : BorvikObject() {
    takeFrom(other);
}

DataBuffer& DataBuffer::operator=(DataBuffer&& other) noexcept {
    takeFrom(other);
    return *this;
}

void DataBuffer::forget() noexcept {
    data_ = nullptr;
    length_ = 0;
    capacity_ = 0;
    borrowed_ = false;
}

void DataBuffer::reallocate(std::size_t newCapacity) {
    char* const bytes = static_cast<char*>(std::realloc(borrowed_ ? nullptr : data_, newCapacity));
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    if (borrowed_) {
        std::memcpy(bytes, data_, length_);
    }
    data_ = bytes;
    capacity_ = static_cast<std::uint32_t>(newCapacity);
    borrowed_ = false;
    platform::askForLargePages(data_, newCapacity);
}

char* DataBuffer::growTail(std::size_t count) {
    if (count > kMaxSize - length_) {
        return nullptr;
    }
    const std::size_t size =
        std::min(length_ + std::max(count, ladderStep(length_, count)), kMaxSize);
    reallocate(size);
    return data_ + length_;
}

bool DataBuffer::appendGrowing(const void* bytes, std::size_t count) {
    const auto* const from = static_cast<const char*>(bytes);
    const bool isOwn = data_ != nullptr && !std::less<>{}(from, std::as_const(data_)) &&
                       std::less<>{}(from, std::as_const(data_) + length_);
    const std::size_t offset = isOwn ? from - data_ : 0;
    char* const tail = growTail(count);
    if (tail == nullptr) {
        return false;
    }
    std::memcpy(tail, isOwn ? data_ + offset : from, count);
    length_ += static_cast<std::uint32_t>(count);
    return true;
}

bool DataBuffer::growForByte() {
    if (length_ == kMaxSize) {
        return false;
    }
    reallocate(std::min(length_ + spareFor(length_, kByteStep), kMaxSize));
    return true;
}

bool DataBuffer::appendStringBuffer(const StringBuffer& buffer) {
    return append(buffer.view());
}

bool DataBuffer::appendWideString(const char16_t* text) {
    constexpr char16_t kEnd = 0;
    if (text == nullptr) {
        return append(&kEnd, sizeof kEnd);
    }
    return append(text, (std::char_traits<char16_t>::length(text) + 1) * sizeof(char16_t));
}

std::size_t DataBuffer::appendUtf8Char(char16_t unit) {
    constexpr char16_t kFirstOfTwo = 0x80;
    constexpr char16_t kFirstOfThree = 0x800;
    const std::size_t size = unit < kFirstOfTwo ? 1 : unit < kFirstOfThree ? 2 : 3;
    if (size > kMaxSize - length_) {
        return 0;
    }
    if (size > room()) {
        reallocate(std::min(length_ + spareFor(length_, kCharStep), kMaxSize));
    }
    char* const to = data_ + length_;
    if (size == 1) {
        to[0] = static_cast<char>(unit);
    } else if (size == 2) {
        to[0] = static_cast<char>(0xC0 | (unit >> 6));
        to[1] = static_cast<char>(0x80 | (unit & 0x3F));
    } else {
        to[0] = static_cast<char>(0xE0 | (unit >> 12));
        to[1] = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
        to[2] = static_cast<char>(0x80 | (unit & 0x3F));
    }
    length_ += static_cast<std::uint32_t>(size);
    return size;
}

bool DataBuffer::prepend(const void* bytes, std::size_t count) {
    if (bytes == nullptr || count == 0) {
        return true;
    }
    if (count > kMaxSize - length_) {
        return false;
    }
    const std::string own(static_cast<const char*>(bytes), count);
    // A borrowed storage is the lender's: moving its bytes up is a change like growing.
    if (borrowed_ || count > room()) {
        reallocate(length_ + count);
    }
    std::memmove(data_ + count, data_, length_);
    std::memcpy(data_, own.data(), count);
    length_ += static_cast<std::uint32_t>(count);
    return true;
}

bool DataBuffer::assign(std::string_view bytes) {
    if (bytes.size() > kMaxSize) {
        return false;
    }
    if (borrowed_ || bytes.size() > capacity_) {
        DataBuffer fresh;
        if (!bytes.empty() && !fresh.ensureCapacity(bytes.size())) {
            return false;
        }
        fresh.append(bytes);
        takeFrom(fresh);
        return true;
    }
    if (!bytes.empty()) {
        std::memmove(data_, bytes.data(), bytes.size());
    }
    length_ = static_cast<std::uint32_t>(bytes.size());
    return true;
}

bool DataBuffer::ensureCapacity(std::size_t size) {
    if (size > kMaxSize) {
        return false;
    }
    if (size > capacity_) {
        reallocate(size);
    }
    return data_ != nullptr;
}

void DataBuffer::minimizeMemory() {
    if (borrowed_ || length_ == capacity_) {
        return;
    }
    if (length_ == 0) {
        freeStorage();
        forget();
    } else if (char* const bytes = static_cast<char*>(std::realloc(data_, length_))) {
        data_ = bytes;
        capacity_ = length_;
    }
}

void DataBuffer::borrow(const void* bytes, std::size_t count) {
    adopt(const_cast<void*>(bytes), count);
    borrowed_ = data_ != nullptr;
}

void DataBuffer::adopt(void* bytes, std::size_t count) {
    freeStorage();
    forget();
    if (count <= kMaxSize) {
        data_ = static_cast<char*>(bytes);
        length_ = capacity_ = bytes == nullptr ? 0 : static_cast<std::uint32_t>(count);
    }
}

void DataBuffer::takeFrom(DataBuffer& other) {
    if (this == &other) {
        return;
    }
    freeStorage();
    data_ = other.data_;
    length_ = other.length_;
    capacity_ = other.capacity_;
    borrowed_ = other.borrowed_;
    other.forget();
}

void DataBuffer::takeFrom(DataBuffer* other) {
    if (other == nullptr) {
        clear();
    } else {
        takeFrom(*other);
    }
}

char* DataBuffer::release() {
    char* const bytes = data_;
    forget();
    return bytes;
}

bool DataBuffer::isAscii() const {
    return borvik::isAscii(view());
}

void DataBuffer::replaceByte(char from, char to) {
    constexpr std::size_t kBlock = 64;
    const void* const first = length_ == 0 ? nullptr : std::memchr(data_, from, length_);
    char* at =
        first == nullptr ? data_ + length_ : data_ + (static_cast<const char*>(first) - data_);
    char* const end = data_ + length_;
    for (; static_cast<std::size_t>(end - at) >= kBlock; at += kBlock) {
        for (std::size_t i = 0; i < kBlock; ++i) {
            at[i] = at[i] == from ? to : at[i];
        }
    }
    std::replace(at, end, from, to);
}

void DataBuffer::replaceUnit(char16_t from, char16_t to) {
    if (from == 0 || to == 0) {
        return;
    }
    for (std::size_t at = 0; at + sizeof(char16_t) <= length_; at += sizeof(char16_t)) {
        char16_t unit;
        std::memcpy(&unit, data_ + at, sizeof unit);
        if (unit == from) {
            std::memcpy(data_ + at, &to, sizeof to);
        }
    }
}

}  // namespace borvik
