#include "mime/boundary_search.h"

#include <algorithm>
#include <optional>

#include "base/ascii_text.h"

namespace borvik {

namespace {

/// So many finds of the bare boundary text may turn out to be neither a separator nor the closing
/// one before whole lines are searched instead: a boundary that overlaps itself all over the text
/// would cost its own length for each byte otherwise.
constexpr int kMostFalseFinds = 64;

}  // namespace

BoundarySearch::Hit BoundarySearch::next(std::size_t from) const {
    const std::optional<std::size_t> separator = index_.find(lineEnd_, boundary_, from, end_);
    if (!separator) {
        const Hit hit = nextInText(from);
        const bool isToTheEnd = hit.closing || hit.position == npos;
        index_.noteSearch((isToTheEnd ? end_ : hit.position) - std::min(from, end_));
        return hit;
    }
    if (*separator != npos) {
        return {*separator, false};
    }
    const auto indexed = index_.find(BoundaryTail::kClosing, boundary_, from, end_);
    const std::size_t closing = indexed ? *indexed : findWhole(BoundaryTail::kClosing, from);
    return {closing, closing != npos};
}

BoundarySearch::Hit BoundarySearch::nextInText(std::size_t from) const {
    const std::string_view text = this->text();
    const std::string_view lineEnd = boundaryTailText(lineEnd_);
    const std::string_view closingMark = boundaryTailText(BoundaryTail::kClosing);
    Hit closing;
    int falseFinds = 0;
    for (std::size_t at = find(text, boundary_, from); at != npos;
         at = find(text, boundary_, at + 1)) {
        const std::string_view behind = text.substr(at + boundary_.size());
        if (behind.starts_with(lineEnd)) {
            return {at, false};
        }
        if (closing.position == npos && behind.starts_with(closingMark)) {
            closing = {at, true};
        }
        if (++falseFinds > kMostFalseFinds) {
            return nextByWholeLines(from);
        }
    }
    return closing;
}

BoundarySearch::Hit BoundarySearch::nextByWholeLines(std::size_t from) const {
    const std::size_t separator = findWhole(lineEnd_, from);
    if (separator != npos) {
        return {separator, false};
    }
    const std::size_t closing = findWhole(BoundaryTail::kClosing, from);
    return {closing, closing != npos};
}

std::size_t BoundarySearch::findWhole(BoundaryTail tail, std::size_t from) const {
    return find(text(), std::string(boundary_).append(boundaryTailText(tail)), from);
}

}  // namespace borvik
