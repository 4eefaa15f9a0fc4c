#include "mime/line_repair.h"

#include <algorithm>
#include <cstring>

#include "base/ascii_text.h"

namespace borvik {

namespace {

/// Returns the place behind what was written.
char* copyWithoutCrs(std::string_view line, char* out) {
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t cr = std::min(line.find('\r', at), line.size());
        std::memcpy(out, line.data() + at, cr - at);
        out += cr - at;
        at = cr + 1;
    }
    return out;
}

std::string replaced(std::string_view text, std::string_view wanted, std::string_view by) {
    std::string out;
    out.reserve(text.size());
    std::size_t start = 0;
    for (std::size_t hit = find(text, wanted); hit != std::string_view::npos;
         hit = find(text, wanted, start)) {
        out.append(text, start, hit - start).append(by);
        start = hit + wanted.size();
    }
    return out.append(text, start);
}

}  // namespace

std::string withCrlfLineEnds(std::string_view text) {
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    std::string out(text.size() + lines, '\0');
    char* end = out.data();
    std::size_t start = 0;
    for (std::size_t lf = text.find('\n'); lf != std::string_view::npos;
         lf = text.find('\n', start)) {
        end = copyWithoutCrs(text.substr(start, lf - start), end);
        *end++ = '\r';
        *end++ = '\n';
        start = lf + 1;
    }
    end = copyWithoutCrs(text.substr(start), end);
    out.resize(static_cast<std::size_t>(end - out.data()));
    return out;
}

std::string withoutDoubledCrs(std::string_view text) {
    return replaced(replaced(text, "\r\r\r\n", "\r\n"), "\r\r\n", "\r\n");
}

std::string withCrsAsLineEnds(std::string_view text) {
    return replaced(text, "\r", "\r\n");
}

}  // namespace borvik
