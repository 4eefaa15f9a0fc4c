#include "mail/dot_stuffing.h"

#include <cstring>

namespace tessolt {

namespace {

const char* FindDot(const char* from, const char* end) {
    return static_cast<const char*>(std::memchr(from, '.', static_cast<std::size_t>(end - from)));
}

bool IsBreak(char c) {
    return c == '\r' || c == '\n';
}

/// Whether a dot is all that stands on its line.
bool IsLoneDot(std::string_view text, std::size_t at) {
    return (at == 0 || IsBreak(text[at - 1])) && (at + 1 == text.size() || IsBreak(text[at + 1]));
}

/// The text with each dot that `find` finds doubled, and `tail` behind it.
std::string DoubleDots(std::string_view text, std::string_view tail,
                       std::size_t (&find)(std::string_view, std::size_t)) {
    std::string result;
    result.reserve(text.size() + text.size() / 16 + tail.size());
    std::size_t done = 0;
    for (std::size_t dot = find(text, 0); dot != std::string_view::npos;
         dot = find(text, dot + 1)) {
        result.append(text, done, dot + 1 - done);
        result += '.';
        done = dot + 1;
    }
    result.append(text, done);
    result += tail;
    return result;
}

}  // namespace

std::size_t FindLoneDot(std::string_view text, std::size_t from) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* dot = from < text.size() ? FindDot(begin + from, end) : nullptr;
    while (dot != nullptr) {
        const auto at = static_cast<std::size_t>(dot - begin);
        if (IsLoneDot(text, at)) {
            return at;
        }
        dot = FindDot(dot + 1, end);
    }
    return std::string_view::npos;
}

std::size_t FindLineDot(std::string_view text, std::size_t from) {
    while ((from = text.find('.', from)) != std::string_view::npos) {
        if (from == 0 || text[from - 1] == '\n' || IsLoneDot(text, from)) {
            break;
        }
        ++from;
    }
    return from;
}

std::string DoubleLoneDots(std::string_view text, std::string_view tail) {
    return DoubleDots(text, tail, FindLoneDot);
}

std::string DoubleLineDots(std::string_view text, std::string_view tail) {
    return DoubleDots(text, tail, FindLineDot);
}

std::size_t DotRemoval::Remove(char* piece, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    const char* const end = piece + length;
    const char beforeLast = length > 1 ? end[-2] : m_last;
    const char last = end[-1];
    const auto stands = [&](const char* dot, std::ptrdiff_t back, char inFront) {
        return dot - piece >= back ? dot[-back] : inFront;
    };
    const char* kept = piece;  // everything before it has its place already
    char* out = piece;
    const auto keepTo = [&](const char* stop) {
        const auto count = static_cast<std::size_t>(stop - kept);
        if (out != kept) {
            std::memmove(out, kept, count);
        }
        out += count;
    };
    for (const char* dot = FindDot(piece, end); dot != nullptr; dot = FindDot(dot + 1, end)) {
        const char before = stands(dot, 2, dot == piece ? m_beforeLast : m_last);
        if (stands(dot, 1, m_last) == '\n' && before == '\r') {
            keepTo(dot);
            kept = dot + 1;
        }
    }
    keepTo(end);
    m_beforeLast = beforeLast;
    m_last = last;
    return static_cast<std::size_t>(out - piece);
}

}  // namespace tessolt
