#pragma once

#include <tessolt/automation_types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/text_operations.h"

namespace tessolt {

/// 8-bit text for protocol lines, commands, file names and log lines, in the ANSI code page unless
/// its user says otherwise. It holds no zero byte: text that is assigned ends at its first one. A
/// null pointer counts as empty text everywhere. `matchCase` false ignores the case of ASCII
/// letters.
class CZncString {
public:
    CZncString() = default;
    CZncString(const char* text) { Assign(text); }
    explicit CZncString(std::string_view text) { Assign(text); }
    explicit CZncString(std::string&& text) { Assign(std::move(text)); }
    /// From wide text, through the ANSI code page.
    explicit CZncString(const OLECHAR* text) { AssignWide(text); }
    /// The number in decimal.
    explicit CZncString(int number) : m_strText(std::to_string(number)) {}
    explicit CZncString(long number) : m_strText(std::to_string(number)) {}

    CZncString& Assign(const char* text);
    CZncString& Assign(const CZncString& text);
    CZncString& Assign(std::string_view text);
    CZncString& Assign(std::string&& text);
    /// From wide text, through the ANSI code page.
    CZncString& AssignWide(const OLECHAR* text);
    CZncString& operator=(const char* text) { return Assign(text); }

    CZncString& Append(const char* text);
    CZncString& Append(const CZncString& text);
    CZncString& Append(std::string_view text);
    /// A zero byte is ignored.
    void AppendChar(char c);
    /// Appends `c` unless the text already ends with it; an empty text gets it.
    void AppendCharIfMissing(char c);
    /// `AppendCharIfMissing` with a backslash.
    void AddBackslash() { AppendCharIfMissing('\\'); }

    /// ASCII upper case in place.
    void MakeUpper();
    /// Removes carriage returns, line feeds, tabs and blanks from both ends.
    void Trim();
    /// Turns every character other than 0 to 9 into a blank, then trims.
    void KeepDigits();
    /// Puts `prefix` in front; without `always` only when the text doesn't begin with it yet.
    void Prepend(const char* prefix, bool always = true);
    /// Removes `prefix` once from the start, exact case.
    void RemovePrefix(const char* prefix);
    /// Removes `suffix` from the end as often as the text ends with it, exact case.
    void RemoveSuffix(const char* suffix);
    bool StartsWith(const char* prefix, bool matchCase = true) const;
    /// True if `text` occurs. An empty `text` never does.
    bool Contains(const char* text, bool matchCase = true) const;
    /// Replaces each occurrence of `find` by `with` from left to right; neither the replaced text
    /// nor `with` is searched again. An empty `find` does nothing.
    void Replace(const char* find, const char* with, bool matchCase = true);
    /// Cuts a text longer than `length` so that it has that length with `suffix` at its end.
    void Truncate(std::uint32_t length, const char* suffix);
    /// Cuts at the first line break, then truncates if `length` is above 0. Where something was
    /// cut, `suffix` is appended unless the text holds it.
    void CutLine(std::uint32_t length, const char* suffix);

    /// Token `index` of those between occurrences of `separator`; `defaultText` when there is none
    /// or it is empty. Walking through all tokens by rising index is linear.
    void GetToken(const char* separator, const char* defaultText, CZncString& result,
                  std::int32_t index) const;
    /// The token read as a decimal number, clamped to 32 bits; 0 for one that doesn't begin so.
    std::int32_t GetTokenInt(const char* separator, std::int32_t defaultNumber,
                             std::int32_t index) const;
    /// The number of tokens before the first empty one.
    std::int32_t CountTokens(const char* separator) const;

    /// Sets the text by a printf-like format and cuts it at 2047 characters.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// The same without a limit.
    void FormatLong(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// A new automation string, through the ANSI code page. The caller frees it.
    BSTR AllocWide() const;

    bool IsEmpty() const { return m_strText.empty(); }
    std::uint32_t GetLength() const { return static_cast<std::uint32_t>(m_strText.size()); }
    /// The text, zero-terminated; valid until the next change, as is `View`.
    const char* GetBuffer() const { return m_strText.c_str(); }
    std::string_view View() const { return m_strText; }
    const std::string& GetString() const { return m_strText; }
    /// Gives the text away and is empty afterwards.
    std::string TakeString();

    friend bool operator==(const CZncString& a, const CZncString& b) {
        return a.m_strText == b.m_strText;
    }
    friend bool operator==(const CZncString& a, const char* b) { return a.m_strText == b; }

private:
    std::string m_strText;
    mutable TokenPosition<char> m_lastToken;
};

}  // namespace tessolt
