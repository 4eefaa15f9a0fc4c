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

void UndoDotStuffing(std::string& body) {
    constexpr std::string_view kEndMark = ".\r\n";
    const std::string_view all = body;
    if (all.ends_with("\r\n.\r\n") || all == kEndMark) {
        body.resize(body.size() - kEndMark.size());
    }
    std::size_t out = 0;
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t lineEnd = body.find("\r\n", at);
        const std::size_t next = lineEnd == std::string::npos ? body.size() : lineEnd + 2;
        at += body[at] == '.' ? 1 : 0;
        if (out != at) {
            std::memmove(body.data() + out, body.data() + at, next - at);
        }
        out += next - at;
        at = next;
    }
    body.resize(out);
}

std::size_t RemoveDotStuffing(char* text, std::size_t length) {
    const char* const end = text + length;
    const char* kept = text;  // everything before it has its place already
    char* out = text;
    const char* dot = FindDot(text, end);
    while (dot != nullptr) {
        if (dot - text >= 2 && dot[-1] == '\n' && dot[-2] == '\r') {
            const auto count = static_cast<std::size_t>(dot - kept);
            if (out != kept) {
                std::memmove(out, kept, count);
            }
            out += count;
            kept = dot + 1;
        }
        dot = FindDot(dot + 1, end);
    }
    const auto count = static_cast<std::size_t>(end - kept);
    if (out != kept) {
        std::memmove(out, kept, count);
    }
    return static_cast<std::size_t>(out - text) + count;
}

}  // namespace tessolt
