#include "mime/boundary_search.h"

#include "base/ascii_text.h"

namespace borvik {

namespace {

constexpr std::string_view kClosingMark = "--";

/// So many finds of the bare boundary text may turn out to be neither a separator nor the closing
/// one before whole lines are searched instead: a boundary that overlaps itself all over the text
/// would cost its own length for each byte otherwise.
constexpr int kMostFalseFinds = 64;

}  // namespace

BoundarySearch::Hit BoundarySearch::next(std::size_t from) const {
    Hit closing;
    int falseFinds = 0;
    for (std::size_t at = find(text_, boundary_, from); at != npos;
         at = find(text_, boundary_, at + 1)) {
        const std::string_view behind = text_.substr(at + boundary_.size());
        if (behind.starts_with(lineEnd_)) {
            return {at, false};
        }
        if (closing.position == npos && behind.starts_with(kClosingMark)) {
            closing = {at, true};
        }
        if (++falseFinds > kMostFalseFinds) {
            return nextByWholeLines(from);
        }
    }
    return closing;
}

BoundarySearch::Hit BoundarySearch::nextByWholeLines(std::size_t from) const {
    const std::size_t separator = find(text_, std::string(boundary_).append(lineEnd_), from);
    if (separator != npos) {
        return {separator, false};
    }
    const std::size_t closing = find(text_, std::string(boundary_).append(kClosingMark), from);
    return {closing, closing != npos};
}

}  // namespace borvik
