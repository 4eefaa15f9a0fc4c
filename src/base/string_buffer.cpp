#include "base/string_buffer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "platform/memory_pages.h"

namespace borvik {

namespace {

/// Enough for any 64-bit number in decimal or hexadecimal, with its sign.
constexpr std::size_t kNumberText = 24;

/// What `minimizeMemory` leaves alone.
constexpr std::size_t kTolerableSpare = 4;

bool holds(const char* begin, std::size_t size, const void* place) {
    const auto* const at = static_cast<const char*>(place);
    return !std::less<>{}(at, begin) && std::less<>{}(at, begin + size);
}

std::string_view orEmpty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

}  // namespace

StringBuffer::StringBuffer(const StringBuffer& other) : StringBuffer(other.view()) {
    contentMark_ = other.contentMark_;
}

StringBuffer::StringBuffer(StringBuffer&& other) noexcept : BorvikObject() {
    stealFrom(other);
}

StringBuffer& StringBuffer::operator=(const StringBuffer& other) {
    if (this != &other) {
        setString(other.view());
        contentMark_ = other.contentMark_;
    }
    return *this;
}

StringBuffer& StringBuffer::operator=(StringBuffer&& other) noexcept {
    if (this != &other) {
        freeStorage();
        stealFrom(other);
    }
    return *this;
}

void StringBuffer::resetToInline() noexcept {
    data_ = inline_;
    capacity_ = kInlineCapacity;
    finishAt(0);
}

void StringBuffer::takeStorage(char* bytes, std::size_t length, std::size_t capacity) noexcept {
    freeStorage();
    data_ = bytes;
    capacity_ = static_cast<std::uint32_t>(capacity);
    finishAt(length);
}

void StringBuffer::stealFrom(StringBuffer& other) noexcept {
    contentMark_ = other.contentMark_;
    if (other.isInline()) {
        resetToInline();
        std::memcpy(inline_, other.inline_, other.length_ + std::size_t{1});
        length_ = other.length_;
    } else {
        data_ = other.data_;
        length_ = other.length_;
        capacity_ = other.capacity_;
    }
    other.resetToInline();
}

void StringBuffer::swap(StringBuffer& other) noexcept {
    StringBuffer held(std::move(other));
    other = std::move(*this);
    *this = std::move(held);
}

bool StringBuffer::growFor(std::size_t count) {
    if (count > kMaxSize - length_) {
        return false;
    }
    const std::size_t need = length_ + count;
    const std::size_t spare = capacity_ / 2;
    const std::size_t size = std::max(need, std::min(need + spare, kMaxSize)) + 1;
    char* const bytes = static_cast<char*>(std::realloc(isInline() ? nullptr : data_, size));
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    if (isInline()) {
        std::memcpy(bytes, inline_, length_ + std::size_t{1});
    }
    data_ = bytes;
    capacity_ = static_cast<std::uint32_t>(size);
    platform::askForLargePages(data_, size);
    return true;
}

bool StringBuffer::appendGrowing(const void* bytes, std::size_t count) {
    const bool isOwn = holds(data_, length_, bytes);
    const std::size_t offset = isOwn ? static_cast<const char*>(bytes) - data_ : 0;
    if (!growFor(count)) {
        return false;
    }
    std::memcpy(data_ + length_, isOwn ? data_ + offset : bytes, count);
    finishAt(length_ + count);
    return true;
}

bool StringBuffer::appendCharN(char byte, std::size_t count) {
    char* const tail = grow(count);
    if (tail == nullptr) {
        return false;
    }
    std::memset(tail, byte, count);
    finishAt(length_ + count);
    return true;
}

bool StringBuffer::appendDataBuffer(const DataBuffer& buffer) {
    return append(buffer.view());
}

bool StringBuffer::appendInt(std::int64_t value) {
    char text[kNumberText];
    return appendBytes(text, std::to_chars(text, text + kNumberText, value).ptr - text);
}

bool StringBuffer::appendUint64(std::uint64_t value) {
    char text[kNumberText];
    return appendBytes(text, std::to_chars(text, text + kNumberText, value).ptr - text);
}

bool StringBuffer::appendHex(std::uint64_t value) {
    constexpr int kHexBase = 16;
    char text[kNumberText];
    return appendBytes(text, std::to_chars(text, text + kNumberText, value, kHexBase).ptr - text);
}

bool StringBuffer::prepend(std::string_view text) {
    if (text.empty()) {
        return true;
    }
    if (holds(data_, length_, text.data())) {
        return prepend(StringBuffer(text).view());
    }
    if (!ensureCapacity(text.size())) {
        return false;
    }
    std::memmove(data_ + text.size(), data_, length_);
    std::memcpy(data_, text.data(), text.size());
    finishAt(length_ + text.size());
    return true;
}

bool StringBuffer::setString(std::string_view text) {
    if (holds(data_, length_, text.data())) {
        std::memmove(data_, text.data(), text.size());
        finishAt(text.size());
        return true;
    }
    if (text.size() > length_ && !ensureCapacity(text.size() - length_)) {
        return false;
    }
    clear();
    return append(text);
}

bool StringBuffer::appendHexDump(const void* bytes, std::size_t count) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    constexpr std::size_t kGroup = 2;
    constexpr std::size_t kLine = 16;
    if (bytes == nullptr) {
        return true;
    }
    if (count > kMaxSize / 3 || !ensureCapacity(3 * count)) {
        return false;
    }
    const auto* const from = static_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < count; ++i) {
        appendChar(kDigits[from[i] >> 4]);
        appendChar(kDigits[from[i] & 0x0F]);
        if ((i + 1) % kLine == 0) {
            appendChar('\n');
        } else if ((i + 1) % kGroup == 0) {
            appendChar(' ');
        }
    }
    return true;
}

void StringBuffer::appendLastError() {
    appendErrorText(errno);
}

void StringBuffer::appendErrorText(int code) {
    append(trimmed(std::system_category().message(code)));
}

void StringBuffer::setLength(std::size_t newLength) {
    finishAt(std::min<std::size_t>(newLength, capacity_ - 1));
}

void StringBuffer::secureClear() {
    std::memset(data_, ' ', length_);
    // Keeps the compiler from dropping the write when the storage is freed next.
    asm volatile("" : : "r"(data_) : "memory");
    clear();
}

void StringBuffer::minimizeMemory() {
    if (isInline() || capacity_ <= length_ + kTolerableSpare) {
        return;
    }
    if (length_ < kInlineCapacity) {
        char* const old = data_;
        const std::size_t length = length_;
        resetToInline();
        std::memcpy(inline_, old, length);
        finishAt(length);
        std::free(old);
        return;
    }
    if (char* const bytes = static_cast<char*>(std::realloc(data_, length_ + std::size_t{1}))) {
        data_ = bytes;
        capacity_ = length_ + 1;
    }
}

MallocBytes StringBuffer::detach(std::size_t& outLength) {
    MallocBytes result;
    if (isInline()) {
        result.reset(static_cast<char*>(std::malloc(length_ + std::size_t{1})));
        if (result != nullptr) {
            std::memcpy(result.get(), inline_, length_ + std::size_t{1});
        }
    } else {
        result.reset(data_);
    }
    outLength = result != nullptr ? length_ : 0;
    if (result != nullptr) {
        resetToInline();
    }
    return result;
}

bool StringBuffer::takeBytes(DataBuffer& buffer) {
    if (buffer.getSize() < 2) {
        clear();
        return true;
    }
    const std::size_t length = buffer.getSize() - 1;
    if (length > kMaxSize) {
        return false;
    }
    if (buffer.isBorrowed()) {
        const bool copied = setString(buffer.view().substr(0, length));
        buffer.release();
        return copied;
    }
    takeStorage(buffer.release(), length, length + 1);
    return true;
}

std::int32_t StringBuffer::toInt() const {
    errno = 0;
    const long long value = std::strtoll(data_, nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(
        value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

bool StringBuffer::equals(const char* text) const {
    return cView() == orEmpty(text) && (text != nullptr || empty());
}

bool StringBuffer::equalsNoCase(const char* text) const {
    return text == nullptr ? empty() : borvik::equalsNoCase(cView(), text);
}

bool StringBuffer::equalsNoCase(std::string_view text) const {
    return borvik::equalsNoCase(view(), text);
}

int StringBuffer::compare(const char* text) const {
    return std::strcmp(data_, text == nullptr ? "" : text);
}

bool StringBuffer::beginsWith(const char* text) const {
    return text != nullptr && cView().starts_with(text);
}

bool StringBuffer::beginsWithNoCase(const char* text) const {
    return text != nullptr && borvik::beginsWithNoCase(cView(), text);
}

bool StringBuffer::endsWith(const char* text) const {
    return text != nullptr && view().ends_with(text);
}

bool StringBuffer::contains(const char* text) const {
    return text != nullptr && find(cView(), text) != std::string_view::npos;
}

bool StringBuffer::containsNoCase(const char* text) const {
    return text != nullptr && findNoCase(cView(), text) != std::string_view::npos;
}

bool StringBuffer::isAscii(std::size_t limit) const {
    return borvik::isAscii(limit == 0 ? view() : view().substr(0, limit));
}

const char* StringBuffer::intToText(std::int32_t value) {
    thread_local char text[kNumberText];
    *std::to_chars(text, text + kNumberText - 1, value).ptr = '\0';
    return text;
}

}  // namespace borvik
