#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace borvik {

/// What stands behind a boundary text: the line end of a separator, or the mark of the closing one.
enum class BoundaryTail : std::uint8_t { kCrLf, kLf, kClosing, kCount };

/// The text of a tail.
std::string_view boundaryTailText(BoundaryTail tail);

/// Knows where the boundaries of a text may end: wherever a tail stands, by the byte in front of
/// it. Multiparts in multiparts search the same text again and again; once they have searched more
/// than its length, it is walked once more for all searches that follow. The text must outlive the
/// index.
class BoundaryIndex {
public:
    static constexpr std::size_t npos = std::string_view::npos;

    explicit BoundaryIndex(std::string_view text) : text_(text) {}

    std::string_view text() const { return text_; }

    /// So many bytes were searched without the index.
    void noteSearch(std::size_t bytes) { searched_ += bytes; }

    /// Where the first boundary text with that tail begins that lies within `from` and `end`, tail
    /// included; `npos` when none does. Nothing when a search of the text takes less.
    std::optional<std::size_t> find(BoundaryTail tail, std::string_view boundary, std::size_t from,
                                    std::size_t end);

private:
    static constexpr std::size_t kBytes = 256;
    using Position = std::uint32_t;

    /// Positions of one tail, rising for each byte in front.
    struct Places {
        std::vector<Position> positions;  ///< Empty when there are too many to be worth it.
        std::array<std::size_t, kBytes + 1> begins{};
    };

    const Places& placesOf(BoundaryTail tail);
    void collect(BoundaryTail tail, Places& places) const;

    std::string_view text_;
    std::size_t searched_ = 0;
    /// Made when they are first asked for: most texts need none.
    std::array<std::unique_ptr<Places>, static_cast<std::size_t>(BoundaryTail::kCount)> places_;
};

}  // namespace borvik
