#pragma once

#include <cstddef>
#include <string_view>

#include "base/string_buffer.h"

namespace borvik {

/// Cursor over a text of its own. All scans end at the text's first NUL or its end. "Captures"
/// means that the bytes passed over are appended to `out`.
class ParseEngine {
public:
    ParseEngine() = default;
    explicit ParseEngine(std::string_view text) { setString(text); }
    virtual ~ParseEngine() = default;

    /// Replaces the text; the cursor goes to its start.
    void setString(const char* text);
    void setString(std::string_view text);
    /// Adds to the text; the cursor stays.
    void appendString(const char* text) { text_.append(text); }

    const StringBuffer& text() const { return text_; }
    std::ptrdiff_t position() const { return position_; }
    void setPosition(std::ptrdiff_t position) { position_ = position; }
    /// The text from the cursor on; empty when the cursor lies outside.
    std::string_view rest() const;

    /// Moves past every byte that occurs in `set`.
    void skipChars(std::string_view set);
    /// Moves past every byte equal to one of the four.
    void skipAny4(char a, char b, char c, char d);
    /// Moves up to the first `c`, or to the end.
    void skipToChar(char c);
    /// Moves up to `c`, capturing; `c` isn't consumed.
    void captureToChar(char c, StringBuffer& out);
    /// The same for any byte of `set`. Returns the bytes passed; an empty set moves nothing.
    std::size_t captureToAnyOf(std::string_view set, StringBuffer& out);
    /// The same, but a byte of `set` directly behind a backslash doesn't stop the scan.
    std::size_t captureToAnyUnescaped(std::string_view set, StringBuffer& out);
    /// The same for the 4 bytes of `set4`.
    std::size_t captureToAny4(std::string_view set4, StringBuffer& out);
    /// Moves up to `c` outside single and double quotes, capturing. Where that isn't found, as with
    /// an unbalanced quote, quotes don't count.
    void captureToCharQuoted(char c, StringBuffer& out);
    /// Moves to the next occurrence of `text`, ASCII letters folded. False without a move when
    /// there is none.
    bool seekNoCase(const char* text);
    /// Removes every `c` at or behind the cursor from the text.
    void removeCharBehind(char c);
    /// True at a NUL or outside the text.
    bool atEnd() const;

private:
    std::size_t capture(std::size_t count, StringBuffer& out);

    StringBuffer text_;
    std::ptrdiff_t position_ = 0;
};

}  // namespace borvik
