#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tessolt::reading {

/// One header field. Both views point into the text of the message.
struct Field {
    std::string_view name;   ///< Without the colon and blanks in front of it.
    std::string_view value;  ///< As it stands, with its folds, without the last line end.
};

/// One part of a message, or the message itself. The views point into the text of the message.
struct Part {
    std::string_view header;    ///< The fields with their line ends, without the empty line.
    std::string_view body;      ///< What follows it, all parts within included.
    std::string_view preamble;  ///< In front of the first separator; all text when there is none.
    std::string_view epilogue;  ///< Behind the closing separator.
    std::string_view type;      ///< Of Content-Type, as written; by default "text".
    std::string_view subtype;
    std::uint32_t firstField = 0;
    std::uint32_t fieldCount = 0;
    std::uint32_t parent = 0;
    std::uint32_t childCount = 0;
    /// The number behind the last of the parts within.
    std::uint32_t end = 0;
    std::uint32_t depth = 0;

    /// From the first byte of the header to the last of the body.
    std::string_view whole() const {
        return {header.data(), static_cast<std::size_t>(body.data() + body.size() - header.data())};
    }
    bool isType(std::string_view lowerType) const;
    bool isType(std::string_view lowerType, std::string_view lowerSubtype) const;
    /// A multipart, or a message within the message, that was opened.
    bool isOpened() const { return childCount != 0; }
};

/// A message cut into parts and fields (RFC 5322, 2045, 2046), whatever its quality. Nothing is
/// decoded, and no byte of the text is outside the views of the parts, but for separators.
///
/// Part 0 is the message; the parts within a part follow it. One pass over the text, whatever it
/// holds. The text must outlive the object.
class Message {
public:
    /// Parts this deep aren't opened: their text is their body. The message is at depth 0.
    static constexpr std::uint32_t kMaxDepth = 100;

    explicit Message(std::string_view text);

    std::string_view text() const { return text_; }
    std::span<const Part> parts() const { return parts_; }
    const Part& root() const { return parts_.front(); }
    std::span<const Field> fields(const Part& part) const {
        return std::span(fields_).subspan(part.firstField, part.fieldCount);
    }
    /// The raw value of the first field of that name in any case.
    std::optional<std::string_view> field(const Part& part, std::string_view name) const;
    /// The same of the message itself; empty when there is none.
    std::string_view field(std::string_view name) const {
        return field(root(), name).value_or(std::string_view());
    }

private:
    friend class MessageCutter;

    std::string_view text_;
    std::vector<Part> parts_;
    std::vector<Field> fields_;
};

/// Takes off an mbox line ("From " and an envelope) that stands in front of the header.
std::string_view withoutMboxLine(std::string_view text);

}  // namespace tessolt::reading
