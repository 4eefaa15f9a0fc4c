#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// Makes the boundaries (RFC 2046, section 5.1.1) of one message: one random middle, drawn from the
/// small random numbers, and a count in front of it.
///
/// No boundary may occur in a text that it separates. So every such text is shown to the maker
/// first; what looks like a boundary there is remembered, and numbers are drawn until none of them
/// comes out. A text is read once, however many boundaries its author has guessed.
class BoundaryMaker {
public:
    /// The boundaries of a message: the count of the outermost multipart, and of those inside.
    static constexpr std::uint32_t kOuter = 1;
    static constexpr std::uint32_t kInner = 2;
    static constexpr std::uint32_t kInnermost = 3;

    /// Tells that boundaries `kOuter` up to `upToCount` will separate `text`.
    void avoid(std::string_view text, std::uint32_t upToCount);
    /// Draws a middle that makes no boundary which occurs in a text shown before: 18 characters.
    std::string drawMiddle();

    /// The boundary with number `count` and the given middle.
    static std::string boundary(std::uint32_t count, std::string_view middle);

private:
    /// The two products of random numbers that a boundary in one of the texts shows, upper product
    /// in the high half.
    std::vector<std::uint64_t> taken_;
};

}  // namespace tessolt
