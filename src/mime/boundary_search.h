#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "mime/boundary_index.h"

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

    /// Searches the indexed text up to `end`. Index and boundary must outlive the object; the tail
    /// is one of a separator.
    BoundarySearch(BoundaryIndex& index, std::size_t end, std::string_view boundary,
                   BoundaryTail lineEnd)
        : index_(index),
          end_(std::min(end, index.text().size())),
          boundary_(boundary),
          lineEnd_(lineEnd) {}

    /// The first boundary with a line end behind it, at or behind `from`; failing that, the first
    /// closing one. One pass over the text up to the hit.
    Hit next(std::size_t from) const;

private:
    std::string_view text() const { return index_.text().substr(0, end_); }
    Hit nextInText(std::size_t from) const;
    Hit nextByWholeLines(std::size_t from) const;
    std::size_t findWhole(BoundaryTail tail, std::size_t from) const;

    BoundaryIndex& index_;
    std::size_t end_;
    std::string_view boundary_;
    BoundaryTail lineEnd_;
};

}  // namespace borvik
