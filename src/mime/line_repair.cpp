#include "mime/line_repair.h"

#include <algorithm>

#include "base/ascii_text.h"

namespace borvik {

namespace {

void appendWithoutCrs(std::string_view line, std::string& out) {
    for (std::size_t start = 0; start < line.size();) {
        const std::size_t cr = std::min(line.find('\r', start), line.size());
        out.append(line, start, cr - start);
        start = cr + 1;
    }
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
    std::string out;
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    out.reserve(text.size() + lines);
    std::size_t start = 0;
    for (std::size_t lf = text.find('\n'); lf != std::string_view::npos;
         lf = text.find('\n', start)) {
        appendWithoutCrs(text.substr(start, lf - start), out);
        out.append("\r\n");
        start = lf + 1;
    }
    appendWithoutCrs(text.substr(start), out);
    return out;
}

std::string withoutDoubledCrs(std::string_view text) {
    return replaced(replaced(text, "\r\r\r\n", "\r\n"), "\r\r\n", "\r\n");
}

std::string withCrsAsLineEnds(std::string_view text) {
    return replaced(text, "\r", "\r\n");
}

}  // namespace borvik
