#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace borvik {

/// Finds the lines that separate the parts of a multipart body (RFC 2046), by the boundary text
/// alone: neither the leading "--" nor the start of a line is asked for, and zero bytes are data.
class BoundarySearch {
public:
    static constexpr std::size_t npos = std::string_view::npos;

    struct Hit {
        /// Where the boundary text begins, `npos` when there is none.
        std::size_t position = npos;
        /// It is the closing one, with "--" behind it.
        bool closing = false;
    };

    /// Both views must outlive the object.
    BoundarySearch(std::string_view text, std::string_view boundary, std::string_view lineEnd)
        : text_(text), boundary_(boundary), lineEnd_(lineEnd) {}

    /// The first boundary with a line end behind it, at or behind `from`; failing that, the first
    /// closing one. One pass over the text up to the hit.
    Hit next(std::size_t from) const;

private:
    Hit nextByWholeLines(std::size_t from) const;

    std::string_view text_;
    std::string_view boundary_;
    std::string_view lineEnd_;
};

}  // namespace borvik
