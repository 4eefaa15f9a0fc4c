#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "reading/message.h"

namespace tessolt::reading {

/// Cuts a text into the parts of a `Message`, line by line, with one stack of the parts that are
/// open. A separator belongs to the innermost open multipart with its boundary and ends all parts
/// within that one, so that a missing closing separator loses nothing.
class MessageCutter {
public:
    explicit MessageCutter(Message& message);

    void run();

private:
    /// A multipart, or a message that holds another, of which the end wasn't seen yet.
    struct OpenPart {
        std::uint32_t part;
        std::string boundary;      ///< Empty for a message.
        bool isBetween;            ///< No child is open: in the preamble or behind the last child.
        std::size_t closedAt = 0;  ///< Behind the closing separator; 0 when there was none.
    };
    /// Lets the map be asked by view.
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };
    /// A line of the text: from `begin` to `end` without its line end, `next` behind that.
    struct Line {
        std::size_t begin;
        std::size_t end;
        std::size_t next;
    };
    /// A separator that was found for the open part `level`.
    struct Separator {
        std::size_t level;
        bool closes;
    };

    Line lineAt(std::size_t begin) const;
    /// The next line from `place_` on, which is the beginning of one, that begins with "--".
    bool nextDashes(Line& line) const;
    /// Begins a part at `place_`, and those that begin at the same place within it.
    void beginParts(std::uint32_t parent);
    void readHeader(Part& part);
    /// Takes a line of the header. False when it is none.
    bool readHeaderLine(Part& part, const Line& line);
    void readType(Part& part) const;
    /// Opens the part when it is a multipart with a boundary, or a message. True for the latter,
    /// which then begins at `place_`.
    bool openPart(std::uint32_t number);
    bool findSeparator(const Line& line, Separator& found) const;
    void passSeparator(const Line& line, const Separator& separator);
    /// No later line is a separator of that open part.
    void forget(const OpenPart& part);
    /// Ends the innermost open part, and the child that is open in it, at `end`.
    void closeInnermost(std::size_t end);
    /// Ends the part that was begun last.
    void endLeaf(std::size_t end);
    /// Where the text ends whose separator begins at `begin`: in front of its line end.
    std::size_t endBefore(std::size_t begin) const;
    std::string_view slice(std::size_t begin, std::size_t end) const;
    std::size_t offsetOf(std::string_view view) const;

    Message& message_;
    std::string_view text_;
    char lineEnd_;
    std::size_t place_ = 0;
    std::vector<OpenPart> open_;
    /// The levels of `open_` that have a boundary, the innermost last.
    std::unordered_map<std::string, std::vector<std::size_t>, Hash, std::equal_to<>> levels_;
    std::size_t longestBoundary_ = 0;
};

}  // namespace tessolt::reading
