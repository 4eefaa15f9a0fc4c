#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/log_base.h"
#include "mime/boundary_index.h"
#include "mime/header/text_index.h"

namespace borvik {

/// A text that nodes are parsed from, and what was found in it so far.
class ParsedText : public TextIndex {
public:
    explicit ParsedText(std::string_view text) : TextIndex(text), boundaries_(text) {}

    BoundaryIndex& boundaries() { return boundaries_; }

private:
    BoundaryIndex boundaries_;
};

/// The text of one node: a range of the text that it is parsed from, until line ends had to be
/// mended. Then it is a copy, cut at the first zero byte and at the node's own end.
class NodeText {
public:
    NodeText(ParsedText& text, std::size_t begin, std::size_t end)
        : original_{&text, begin, end}, current_(original_) {}

    NodeText(const NodeText&) = delete;
    NodeText& operator=(const NodeText&) = delete;

    ParsedText& text() { return *current_.text; }
    std::size_t begin() const { return current_.begin; }
    std::size_t end() const { return current_.end; }
    /// The node's text up to its first zero byte, now and before it was mended.
    std::string_view upToZero() const { return current_.upToZero(); }
    std::string_view asItCameIn() const { return original_.upToZero(); }
    /// Everything from the node's start on, also what lies behind its end.
    std::string_view openEnded() const { return current_.text->text().substr(current_.begin); }
    /// A search may run past the node's end into what follows it.
    std::size_t find(TextMark pattern) { return current_.text->find(pattern, current_.begin); }

    void replaceBy(std::string mended);

private:
    struct Range {
        ParsedText* text;
        std::size_t begin;
        std::size_t end;

        std::string_view upToZero() const;
    };

    Range original_;
    Range current_;
    std::string mended_;
    std::optional<ParsedText> mendedText_;
};

/// Where the header of the node ends, with the blank line behind it; `TextIndex::kNone` when there
/// is no blank line of any kind. Mends the line ends if that takes it. `fromText` says that bare
/// LFs in a string may stand for line ends although there are CRLFs as well.
std::size_t locateHeaderEnd(NodeText& node, bool fromText, LogBase* log);

}  // namespace borvik
