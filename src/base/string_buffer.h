#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/borvik_object.h"
#include "base/ext_ptr_array.h"
#include "base/malloc_bytes.h"

namespace borvik {

class DataBuffer;

/// Growable 8-bit string with a NUL behind its bytes. It knows nothing of character encodings.
///
/// Short texts live inside the object; longer ones in storage from `malloc` that can be handed over
/// without a copy. The bytes may hold NULs when they came in with a length: operations that take a
/// C string then see the content up to the first one, those over `std::string_view` see it whole.
///
/// A null C string is a no-op (or as told). Less than 2 GiB fit; an operation that would pass that
/// leaves the text as it was and returns false where it returns anything. Without memory it throws
/// `std::bad_alloc`, and the text stays too.
class StringBuffer : public BorvikObject {
public:
    /// Most bytes a buffer can hold.
    static constexpr std::size_t kMaxSize = 0x7FFFFFFE;

    StringBuffer() noexcept { inline_[0] = '\0'; }
    explicit StringBuffer(const char* text) : StringBuffer() { append(text); }
    explicit StringBuffer(std::string_view text) : StringBuffer() { append(text); }
    /// Also copies the content mark.
    StringBuffer(const StringBuffer& other);
    StringBuffer(StringBuffer&& other) noexcept;
    StringBuffer& operator=(const StringBuffer& other);
    StringBuffer& operator=(StringBuffer&& other) noexcept;
    ~StringBuffer() override { freeStorage(); }

    // Building up.

    bool append(const char* text) { return text == nullptr || appendBytes(text, strlen(text)); }
    bool append(std::string_view text) { return appendBytes(text.data(), text.size()); }
    /// `bytes` may lie within this buffer.
    bool appendBytes(const void* bytes, std::size_t count) {
        if (bytes == nullptr || count == 0) {
            return true;
        }
        if (count > room()) {
            return appendGrowing(bytes, count);
        }
        std::memcpy(data_ + length_, bytes, count);
        finishAt(length_ + count);
        return true;
    }
    bool appendChar(char byte) {
        if (room() == 0 && !growFor(1)) {
            return false;
        }
        data_[length_] = byte;
        finishAt(length_ + std::size_t{1});
        return true;
    }
    bool appendCharN(char byte, std::size_t count);
    bool appendBuffer(const StringBuffer& other) { return append(other.view()); }
    bool appendDataBuffer(const DataBuffer& buffer);
    /// Signed decimal text.
    bool appendInt(std::int64_t value);
    /// Unsigned decimal text.
    bool appendUint64(std::uint64_t value);
    /// Lower-case hexadecimal text without leading zeros.
    bool appendHex(std::uint64_t value);
    bool prepend(const char* text) { return text == nullptr || prepend(std::string_view(text)); }
    bool prepend(std::string_view text);
    /// Replaces the content. The text may lie within this buffer.
    bool setString(const char* text) {
        return text == nullptr || setString(std::string_view(text));
    }
    bool setString(std::string_view text);
    bool copyFrom(const StringBuffer& other) { return setString(other.view()); }
    /// Upper-case hexadecimal with a blank behind every 2 bytes, and an LF behind every 16 instead.
    bool appendHexDump(const void* bytes, std::size_t count);
    /// The system's text for the thread's last error (`errno`), trimmed.
    void appendLastError();
    /// The system's text for an error number, trimmed.
    void appendErrorText(int code);

    // Room, and writing in place.

    /// Makes room for `count` more bytes. False when it can't be had.
    bool ensureCapacity(std::size_t count) { return count <= room() || growFor(count); }
    /// A place for `count` bytes right behind the content, null past the limit. What the
    /// caller writes there counts after `setLength`.
    char* grow(std::size_t count) { return ensureCapacity(count) ? data_ + length_ : nullptr; }
    /// Sets the length, at most to the room there is, and puts the NUL behind it.
    void setLength(std::size_t newLength);
    /// Bytes that the present storage can hold.
    std::size_t getCapacity() const { return capacity_ - std::size_t{1}; }

    // Shrinking, clearing, handing over.

    /// Empties the text and keeps the storage.
    void clear() { finishAt(0); }
    /// Overwrites the content with blanks, then `clear`.
    void secureClear();
    void chopEnd(std::size_t count) { finishAt(count < length_ ? length_ - count : 0); }
    /// Ends the string at the first occurrence of the byte, if there is one.
    void truncateAtChar(char byte);
    void removeChar(char byte) { removeCharFrom(byte, 0); }
    /// Removes every occurrence at or behind the position `start`.
    void removeCharFrom(char byte, std::size_t start);
    /// Gives back what the text doesn't need.
    void minimizeMemory();
    /// Hands the text, with its NUL, to the caller; the buffer is empty afterwards. Null only when
    /// there is no memory (the text stays then).
    MallocBytes detach(std::size_t& outLength);
    /// Replaces the content by the storage of `buffer`, which must end in a NUL that isn't part of
    /// the text; `buffer` is left without storage. Under 2 bytes only empty the text. Bytes that
    /// `buffer` has merely borrowed are copied.
    bool takeBytes(DataBuffer& buffer);
    void swap(StringBuffer& other) noexcept;

    // Reading.

    const char* getString() const { return data_; }
    char* getString() { return data_; }
    /// Unchecked.
    const char* getStringAt(std::size_t offset) const { return data_ + offset; }
    std::size_t getSize() const { return length_; }
    bool empty() const { return length_ == 0; }
    std::string_view view() const { return {data_, length_}; }
    /// The content up to its first NUL.
    std::string_view cView() const { return {data_, strnlen(data_, length_)}; }
    /// 0 outside the string.
    char charAt(std::size_t index) const { return index < length_ ? data_[index] : '\0'; }
    /// 0 when empty.
    char lastChar() const { return length_ == 0 ? '\0' : data_[length_ - 1]; }
    /// The leading decimal number, held to 32 bits; 0 when there is none.
    std::int32_t toInt() const;

    // Comparing and searching. A null text equals the empty buffer, and is contained in none.

    bool equals(const char* text) const;
    bool equals(std::string_view text) const { return view() == text; }
    bool equals(const StringBuffer& other) const { return view() == other.view(); }
    /// Folds the ASCII letters only, like all the "NoCase" operations.
    bool equalsNoCase(const char* text) const;
    bool equalsNoCase(std::string_view text) const;
    bool equalsNoCase(const StringBuffer& other) const { return equalsNoCase(other.view()); }
    /// Below, at or above 0 by the order of the (unsigned) bytes. Null counts as empty.
    int compare(const char* text) const;
    bool beginsWith(const char* text) const;
    bool beginsWithNoCase(const char* text) const;
    bool endsWith(const char* text) const;
    bool contains(const char* text) const;
    bool containsNoCase(const char* text) const;
    bool containsChar(char byte) const { return std::memchr(data_, byte, length_) != nullptr; }
    /// True when the first `limit` bytes are under 0x80; a `limit` of 0 means all bytes.
    bool isAscii(std::size_t limit = 0) const;

    // Changing in place.

    /// Removes blank, tab, CR and LF at both ends.
    void trim();
    /// Removes blank and tab at both ends.
    void trimSpaces();
    /// CR, tab and LF become blanks, and every run of blanks one.
    void collapseWhitespace();
    /// ASCII letters, and the letters of Latin-1 as raw bytes; stops at the first NUL. Not for
    /// UTF-8.
    void toLowerCase();
    void toUpperCase();
    /// Byte for byte; not for UTF-8 beyond ASCII.
    void replaceChar(char from, char to);
    /// Every byte that occurs in `set` becomes `to`.
    void replaceAnyChar(std::string_view set, char to);
    /// False for a null or empty `find`, and when it doesn't occur. A null replacement leaves the
    /// text as it was.
    bool replaceFirst(const char* find, const char* replacement);
    /// The replacement isn't scanned again. Returns the number of replacements.
    std::size_t replaceAll(const char* find, const char* replacement);
    /// Removes every CR, then turns every LF into CRLF.
    void toCrlf();
    /// Turns every CRLF into LF. Lone CRs stay.
    void toLf();
    /// Escapes "&", "<", ">" and the double quote.
    void xmlEscape();

    // Splitting, into new objects that the array's owner frees.

    /// N delimiters give N + 1 parts; an empty buffer gives none. A delimiter behind a backslash or
    /// within double quotes doesn't count, where these are honoured; both stay in the parts.
    void splitOnChar(ExtPtrArray<StringBuffer>& out, char delimiter, bool honourQuotes,
                     bool honourBackslash) const;
    /// Cuts at each delimiter and drops empty parts. A `maxParts` other than 0 stops after as many
    /// parts and drops the rest of the text.
    void splitOnString(const char* delimiter, ExtPtrArray<StringBuffer>& out,
                       std::size_t maxParts) const;
    /// Splits `name = value`, both trimmed, the value without surrounding double quotes.
    void splitKeyValue(StringBuffer& name, StringBuffer& value) const;

    /// A mark for the owner's use, copied along: 0, 1 or 2; anything else is stored as 0.
    void setContentMark(std::uint8_t mark) { contentMark_ = mark <= 2 ? mark : 0; }
    std::uint8_t contentMark() const { return contentMark_; }

    /// Decimal text in a buffer of the calling thread, good until its next call there.
    static const char* intToText(std::int32_t value);

private:
    /// Makes the object a cache line long.
    static constexpr std::size_t kInlineCapacity = 31;

    bool isInline() const { return data_ == inline_; }
    std::size_t room() const { return capacity_ - std::size_t{1} - length_; }
    void finishAt(std::size_t newLength) {
        length_ = static_cast<std::uint32_t>(newLength);
        data_[newLength] = '\0';
    }
    void freeStorage() noexcept {
        if (!isInline()) {
            std::free(data_);
        }
    }
    void resetToInline() noexcept;
    void takeStorage(char* bytes, std::size_t length, std::size_t capacity) noexcept;
    void stealFrom(StringBuffer& other) noexcept;
    bool growFor(std::size_t count);
    bool appendGrowing(const void* bytes, std::size_t count);
    void keepRange(std::size_t begin, std::size_t end);

    char* data_ = inline_;
    std::uint32_t length_ = 0;
    /// Size of the storage, with the place for the NUL.
    std::uint32_t capacity_ = kInlineCapacity;
    std::uint8_t contentMark_ = 0;
    char inline_[kInlineCapacity];
};

}  // namespace borvik
