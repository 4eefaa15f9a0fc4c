#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/borvik_object.h"
#include "base/malloc_bytes.h"

namespace borvik {

class StringBuffer;

/// Growable byte array without a terminator: bodies, encoded parts, conversion output, whole files.
/// Its storage comes from `malloc`, or is borrowed from someone else: growing turns a borrowed
/// buffer into an owned one and leaves the lender's bytes untouched; operations that change bytes
/// in place do change them. A new buffer has no storage.
///
/// Appending gives false, and changes nothing, when it would pass 4 GiB. Without memory it throws
/// `std::bad_alloc`, and the content stays: a loss must never go unseen.
class DataBuffer : public BorvikObject {
public:
    /// Most bytes a buffer can hold.
    static constexpr std::size_t kMaxSize = 0xFFFFFFFF;

    DataBuffer() noexcept = default;
    /// Starts with `capacity` zeroed bytes of storage, and a length of 0.
    explicit DataBuffer(std::size_t capacity);
    DataBuffer(DataBuffer&& other) noexcept;
    DataBuffer& operator=(DataBuffer&& other) noexcept;
    DataBuffer(const DataBuffer&) = delete;
    DataBuffer& operator=(const DataBuffer&) = delete;
    ~DataBuffer() override { freeStorage(); }

    // Appending.

    /// `bytes` may lie within this buffer. True without a change for null or a count of 0.
    bool append(const void* bytes, std::size_t count) {
        if (bytes == nullptr || count == 0) {
            return true;
        }
        if (count > room()) {
            return appendGrowing(bytes, count);
        }
        std::memcpy(data_ + length_, bytes, count);
        length_ += static_cast<std::uint32_t>(count);
        return true;
    }
    bool append(std::string_view bytes) { return append(bytes.data(), bytes.size()); }
    bool appendByte(char byte) {
        if (room() == 0 && !growForByte()) {
            return false;
        }
        data_[length_++] = byte;
        return true;
    }
    /// The C string, without its NUL.
    bool appendString(const char* text) { return text == nullptr || append(text, strlen(text)); }
    bool appendStringBuffer(const StringBuffer& buffer);
    bool appendBuffer(const DataBuffer& other) { return append(other.view()); }
    /// UTF-16 units in host order up to and including the first 0. Null appends that 0.
    bool appendWideString(const char16_t* text);
    /// One 16-bit unit as UTF-8. Returns the bytes written, 1 to 3; 0 on failure.
    std::size_t appendUtf8Char(char16_t unit);
    /// Puts the bytes in front.
    bool prepend(const void* bytes, std::size_t count);
    /// Replaces the content, in storage of just that size when there isn't enough yet.
    bool assign(std::string_view bytes);

    // Storage.

    /// Reallocates to exactly `size` when there is less. Whether the buffer has storage afterwards.
    bool ensureCapacity(std::size_t size);
    /// A place for `count` bytes right behind the content, null past the limit. What the caller
    /// writes there counts after `setLength`.
    char* grow(std::size_t count) {
        return count <= room() && data_ != nullptr ? data_ + length_ : growTail(count);
    }
    /// Sets the length, at most to the capacity.
    void setLength(std::size_t newLength) {
        length_ = static_cast<std::uint32_t>(newLength < capacity_ ? newLength : capacity_);
    }
    /// Empties the content and keeps the storage.
    void clear() { length_ = 0; }
    void chopEnd(std::size_t count) {
        length_ = count < length_ ? length_ - static_cast<std::uint32_t>(count) : 0;
    }
    /// Gives back storage that the content doesn't need; none at all for an empty buffer.
    void minimizeMemory();
    /// Points at the caller's bytes, which must outlive the use.
    void borrow(const void* bytes, std::size_t count);
    /// Takes charge of bytes that come from `malloc`.
    void adopt(void* bytes, std::size_t count);
    /// Takes over the storage of `other`, which is left with none.
    void takeFrom(DataBuffer& other);
    /// As the reference form; null only empties the content.
    void takeFrom(DataBuffer* other);
    /// Forgets the storage without freeing it: the caller has taken charge. Returns it.
    char* release();
    bool isBorrowed() const { return borrowed_; }

    // Reading.

    /// Null when there is no storage.
    const char* getData() const { return data_; }
    char* getData() { return data_; }
    std::size_t getSize() const { return length_; }
    std::size_t getCapacity() const { return capacity_; }
    bool empty() const { return length_ == 0; }
    std::string_view view() const { return {data_, length_}; }
    /// Null outside the content.
    const char* dataAt(std::size_t index) const {
        return index < length_ ? data_ + index : nullptr;
    }
    bool containsByte(char byte) const {
        return length_ != 0 && std::memchr(data_, byte, length_) != nullptr;
    }
    /// True when no byte is 0x80 or above.
    bool isAscii() const;

    // Changing in place.

    void replaceByte(char from, char to);
    /// Over the 16-bit units in host order; nothing when either unit is 0.
    void replaceUnit(char16_t from, char16_t to);

private:
    std::size_t room() const { return capacity_ - length_; }
    void freeStorage() noexcept {
        if (!borrowed_) {
            std::free(data_);
        }
    }
    void forget() noexcept;
    void reallocate(std::size_t newCapacity);
    bool appendGrowing(const void* bytes, std::size_t count);
    bool growForByte();
    char* growTail(std::size_t count);

    char* data_ = nullptr;
    std::uint32_t length_ = 0;
    std::uint32_t capacity_ = 0;
    bool borrowed_ = false;
};

}  // namespace borvik
