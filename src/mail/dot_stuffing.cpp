#include "mail/dot_stuffing.h"

#include <cstring>

namespace tessolt {

namespace {

const char* FindDot(const char* from, const char* end) {
    return static_cast<const char*>(std::memchr(from, '.', static_cast<std::size_t>(end - from)));
}

bool EndsLine(std::string_view rest) {
    return rest.empty() || rest.front() == '\n' || rest.substr(0, 2) == "\r\n";
}

}  // namespace

std::size_t FindLoneDot(std::string_view text, std::size_t from) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* dot = from < text.size() ? FindDot(begin + from, end) : nullptr;
    while (dot != nullptr) {
        const auto at = static_cast<std::size_t>(dot - begin);
        if ((at == 0 || dot[-1] == '\n') && EndsLine(text.substr(at + 1))) {
            return at;
        }
        dot = FindDot(dot + 1, end);
    }
    return std::string_view::npos;
}

std::string DoubleLoneDots(std::string_view text, std::string_view tail) {
    std::string result;
    result.reserve(text.size() + text.size() / 16 + tail.size());
    std::size_t done = 0;
    for (std::size_t dot = FindLoneDot(text); dot != std::string_view::npos;
         dot = FindLoneDot(text, dot + 1)) {
        result.append(text, done, dot + 1 - done);
        result += '.';
        done = dot + 1;
    }
    result.append(text, done);
    result += tail;
    return result;
}

std::size_t RemoveDotStuffing(char* text, std::size_t length) {
    const char* const end = text + length;
    const char* kept = text;  // everything before it has its place already
    char* out = text;
    const char* dot = FindDot(text, end);
    while (dot != nullptr) {
        const bool atLineStart =
            dot == text || (dot - text >= 2 && dot[-1] == '\n' && dot[-2] == '\r');
        if (atLineStart) {
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
