#include "mime/boundary_index.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "base/ascii_text.h"

namespace borvik {

namespace {

/// Texts whose searches took fewer bytes together never need the index.
constexpr std::size_t kLeastSearched = std::size_t{1} << 16;

/// With more tails than one in so many bytes the index would need more memory than it is worth.
constexpr std::size_t kLeastBytesForTail = 8;

/// A search of the text passes at least so many bytes in the time that one place of the index
/// takes. A boundary may be longer than that, and a place may take a look at all of it.
constexpr std::size_t kBytesForPlace = 32;

std::size_t byteInFront(std::string_view text, std::size_t position) {
    return static_cast<unsigned char>(text[position - 1]);
}

}  // namespace

std::string_view boundaryTailText(BoundaryTail tail) {
    constexpr std::array<std::string_view, static_cast<std::size_t>(BoundaryTail::kCount)> kTexts =
        {"\r\n", "\n", "--"};
    return kTexts[static_cast<std::size_t>(tail)];
}

std::optional<std::size_t> BoundaryIndex::find(BoundaryTail tail, std::string_view boundary,
                                               std::size_t from, std::size_t end) {
    // To make the index takes about as long as to search the text a second time.
    const bool isWorthIt = searched_ > kLeastSearched && searched_ > text_.size();
    const std::size_t shortest = boundary.size() + boundaryTailText(tail).size();
    if (!isWorthIt || boundary.empty()) {
        return std::nullopt;
    }
    const Places& places = placesOf(tail);
    if (places.positions.empty()) {
        return std::nullopt;
    }
    if (from > end || shortest > end - from) {
        return npos;
    }
    const std::size_t last = static_cast<unsigned char>(boundary.back());
    const Position* const begin = places.positions.data();
    const Position* const first =
        std::lower_bound(begin + places.begins[last], begin + places.begins[last + 1],
                         static_cast<Position>(from + boundary.size()));
    const Position* const behind =
        std::upper_bound(first, begin + places.begins[last + 1],
                         static_cast<Position>(end - boundaryTailText(tail).size()));
    const std::size_t bytesForPlace = std::max(kBytesForPlace, boundary.size());
    if (static_cast<std::size_t>(behind - first) > (end - from) / bytesForPlace) {
        return std::nullopt;
    }
    const Position* const hit = std::find_if(first, behind, [&](Position position) {
        return text_.substr(position - boundary.size(), boundary.size()) == boundary;
    });
    return hit == behind ? npos : *hit - boundary.size();
}

const BoundaryIndex::Places& BoundaryIndex::placesOf(BoundaryTail tail) {
    std::unique_ptr<Places>& places = places_[static_cast<std::size_t>(tail)];
    if (places == nullptr) {
        places = std::make_unique<Places>();
        if (text_.size() <= std::numeric_limits<Position>::max()) {
            collect(tail, *places);
        }
    }
    return *places;
}

void BoundaryIndex::collect(BoundaryTail tail, Places& places) const {
    const std::string_view wanted = boundaryTailText(tail);
    std::vector<Position> found;
    for (std::size_t at = borvik::find(text_, wanted, 1); at != npos;
         at = borvik::find(text_, wanted, at + 1)) {
        if (found.size() > text_.size() / kLeastBytesForTail) {
            return;
        }
        found.push_back(static_cast<Position>(at));
        ++places.begins[byteInFront(text_, at) + 1];
    }
    std::partial_sum(places.begins.begin(), places.begins.end(), places.begins.begin());
    std::array<std::size_t, kBytes + 1> next = places.begins;
    places.positions.resize(found.size());
    for (const Position position : found) {
        places.positions[next[byteInFront(text_, position)]++] = position;
    }
}

}  // namespace borvik
