#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace borvik {

/// What the parser searches for in a message: ends of headers, and the charset names that hint at
/// the meaning of 8-bit bytes in a header. The latter ignore ASCII case.
enum class TextMark : std::uint8_t {
    kZero,
    kCrLfCrLf,
    kCrLfCrCrLf,
    kCrLfCr,
    kLfCrLf,
    kLfLf,
    kGb2312,
    kShiftJis,
    kWindows31j,
    kKsC5601,
    kWindows874,
    kBig5,
    kEucKr,
    kIso8859,
    kIso8859_2,
    kIso8859_3,
    kIso8859_4,
    kIso8859_5,
    kIso8859_6,
    kIso8859_7,
    kIso8859_8,
    kIso8859_9,
    kWindows125,
    kWindows1250,
    kWindows1251,
    kWindows1252,
    kWindows1253,
    kWindows1254,
    kWindows1255,
    kWindows1256,
    kWindows1257,
    kKoi8,
    kKoi8R,
    kKoi8U,
    kCount,
};

/// Answers where the next mark stands in a text, and remembers the last answer for each mark: the
/// parts of a message ask one behind the other, and each search would run to the end of the message
/// when the mark is missing. Questions at rising positions cost one pass over the text for each
/// mark together. The text must outlive the index.
class TextIndex {
public:
    static constexpr std::size_t kNone = std::string_view::npos;

    explicit TextIndex(std::string_view text) : text_(text) {}

    std::string_view text() const { return text_; }

    /// Position of the first whole mark at or behind `from` with no zero byte between, `kNone` when
    /// there is none.
    std::size_t find(TextMark mark, std::size_t from);

    /// Position of the first zero byte at or behind `from`, or the end of the text.
    std::size_t textEnd(std::size_t from);

private:
    /// The first mark at or behind `askedFrom` stands at `hit`: so it answers all questions from
    /// `askedFrom` to `hit`.
    struct Answer {
        std::size_t askedFrom = kNone;
        std::size_t hit = 0;
    };

    std::size_t lookUp(TextMark mark, std::size_t from);

    std::string_view text_;
    std::array<Answer, static_cast<std::size_t>(TextMark::kCount)> answers_{};
};

}  // namespace borvik
