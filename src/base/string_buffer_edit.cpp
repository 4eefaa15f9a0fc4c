#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/ascii_text.h"
#include "base/string_buffer.h"

// The operations of `StringBuffer` that change a text in place, each in one pass over it.

namespace borvik {

namespace {

/// How far the upper and lower case forms of a letter lie apart, in ASCII as in Latin-1.
constexpr unsigned kCaseDistance = 0x20;

using ByteMap = std::array<unsigned char, 256>;

/// Maps the bytes of the two ranges by adding `delta` (modulo 256), the others to themselves.
constexpr ByteMap makeCaseMap(unsigned asciiFirst, unsigned highFirst, unsigned delta) {
    constexpr unsigned kLetters = 26;
    constexpr unsigned kHighLetters = 32;
    ByteMap map{};
    for (unsigned byte = 0; byte < map.size(); ++byte) {
        const bool folds = byte - asciiFirst < kLetters || byte - highFirst < kHighLetters;
        map[byte] = static_cast<unsigned char>(folds ? byte + delta : byte);
    }
    return map;
}

constexpr ByteMap kToLower = makeCaseMap('A', 0xC0, kCaseDistance);
constexpr ByteMap kToUpper = makeCaseMap('a', 0xE0, 0U - kCaseDistance);

void mapBytes(char* bytes, std::size_t count, const ByteMap& map) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<char>(map[static_cast<unsigned char>(bytes[i])]);
    }
}

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view xmlEntity(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        default:
            return {};
    }
}

}  // namespace

void StringBuffer::truncateAtChar(char byte) {
    if (const void* const hit = std::memchr(data_, byte, length_)) {
        finishAt(static_cast<const char*>(hit) - data_);
    }
}

void StringBuffer::removeCharFrom(char byte, std::size_t start) {
    if (start < length_) {
        finishAt(std::remove(data_ + start, data_ + length_, byte) - data_);
    }
}

void StringBuffer::keepRange(std::size_t begin, std::size_t end) {
    if (begin != 0) {
        std::memmove(data_, data_ + begin, end - begin);
    }
    finishAt(end - begin);
}

void StringBuffer::trim() {
    const std::string_view kept = trimmed(view());
    keepRange(kept.data() - data_, kept.data() + kept.size() - data_);
}

void StringBuffer::trimSpaces() {
    const std::string_view kept = trimmed(view(), " \t");
    keepRange(kept.data() - data_, kept.data() + kept.size() - data_);
}

void StringBuffer::collapseWhitespace() {
    char* to = data_;
    bool inRun = false;
    for (std::size_t i = 0; i < length_; ++i) {
        const bool blank = isBlank(data_[i]);
        if (!blank) {
            *to++ = data_[i];
        } else if (!inRun) {
            *to++ = ' ';
        }
        inRun = blank;
    }
    finishAt(to - data_);
}

void StringBuffer::toLowerCase() {
    mapBytes(data_, cView().size(), kToLower);
}

void StringBuffer::toUpperCase() {
    mapBytes(data_, cView().size(), kToUpper);
}

void StringBuffer::replaceChar(char from, char to) {
    std::replace(data_, data_ + length_, from, to);
}

void StringBuffer::replaceAnyChar(std::string_view set, char to) {
    std::replace_if(
        data_, data_ + length_, [set](char c) { return set.find(c) != std::string_view::npos; },
        to);
}

bool StringBuffer::replaceFirst(const char* find, const char* replacement) {
    if (find == nullptr || *find == '\0') {
        return false;
    }
    const std::size_t at = borvik::find(cView(), find);
    if (at == std::string_view::npos || replacement == nullptr) {
        return at != std::string_view::npos;
    }
    const std::size_t behind = at + strlen(find);
    const std::size_t size = strlen(replacement);
    const std::size_t tail = length_ - behind;
    if (at + size > behind && !ensureCapacity(at + size - behind)) {
        return true;
    }
    std::memmove(data_ + at + size, data_ + behind, tail);
    std::memcpy(data_ + at, replacement, size);
    finishAt(at + size + tail);
    return true;
}

std::size_t StringBuffer::replaceAll(const char* find, const char* replacement) {
    if (find == nullptr || *find == '\0') {
        return 0;
    }
    const std::string_view wanted(find);
    const std::string_view fill(replacement == nullptr ? "" : replacement);
    const std::string_view searched = cView();
    std::size_t hit = borvik::find(searched, wanted);
    if (hit == std::string_view::npos) {
        return 0;
    }
    StringBuffer result;
    if (!result.ensureCapacity(length_)) {
        return 0;
    }
    std::size_t replaced = 0;
    std::size_t from = 0;
    bool complete = true;
    for (; hit != std::string_view::npos; hit = borvik::find(searched, wanted, from)) {
        complete =
            complete && result.append(searched.substr(from, hit - from)) && result.append(fill);
        from = hit + wanted.size();
        ++replaced;
    }
    complete = complete && result.append(view().substr(from));
    if (!complete) {
        return 0;
    }
    result.contentMark_ = contentMark_;
    *this = std::move(result);
    return replaced;
}

void StringBuffer::toCrlf() {
    removeChar('\r');
    const std::size_t lines = std::count(data_, data_ + length_, '\n');
    if (lines == 0 || !ensureCapacity(lines)) {
        return;
    }
    // From the end backwards, each byte moves up by the number of line feeds at or ahead of it.
    std::size_t to = length_ + lines;
    const std::size_t newLength = to;
    for (std::size_t from = length_; from != to;) {
        data_[--to] = data_[--from];
        if (data_[from] == '\n') {
            data_[--to] = '\r';
        }
    }
    finishAt(newLength);
}

void StringBuffer::toLf() {
    char* to = data_;
    for (std::size_t i = 0; i < length_; ++i) {
        // The NUL behind the content makes looking one ahead safe.
        if (data_[i] != '\r' || data_[i + 1] != '\n') {
            *to++ = data_[i];
        }
    }
    finishAt(to - data_);
}

void StringBuffer::xmlEscape() {
    std::size_t extra = 0;
    for (const char c : view()) {
        const std::string_view entity = xmlEntity(c);
        extra += entity.empty() ? 0 : entity.size() - 1;
    }
    StringBuffer result;
    if (extra == 0 || extra > kMaxSize || !result.ensureCapacity(length_ + extra)) {
        return;
    }
    for (const char c : view()) {
        const std::string_view entity = xmlEntity(c);
        if (entity.empty()) {
            result.appendChar(c);
        } else {
            result.append(entity);
        }
    }
    result.contentMark_ = contentMark_;
    *this = std::move(result);
}

}  // namespace borvik
