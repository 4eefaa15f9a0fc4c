#include "foundation/narrow_string.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "charset/ansi_text.h"
#include "platform/ascii_text.h"
#include "platform/automation_string.h"

namespace tessolt {
namespace {

/// What `Format` holds at most, with its zero byte.
constexpr std::size_t kFormatBytes = 2048;

}  // namespace

CZncString& CZncString::Assign(const char* text) {
    return Assign(ViewOf(text));
}

CZncString& CZncString::Assign(const CZncString& text) {
    return this == &text ? *this : Assign(text.View());
}

CZncString& CZncString::Assign(std::string_view text) {
    m_strText.assign(UpToZero(text));
    m_lastToken.index = -1;
    return *this;
}

CZncString& CZncString::Assign(std::string&& text) {
    m_strText = std::move(text);
    m_strText.resize(UpToZero<char>(m_strText).size());
    m_lastToken.index = -1;
    return *this;
}

CZncString& CZncString::AssignWide(const OLECHAR* text) {
    return Assign(borvik::wideToAnsi(ViewOf(text)));
}

CZncString& CZncString::Append(const char* text) {
    return Append(ViewOf(text));
}

CZncString& CZncString::Append(const CZncString& text) {
    return Append(text.View());
}

CZncString& CZncString::Append(std::string_view text) {
    m_strText.append(UpToZero(text));
    m_lastToken.index = -1;
    return *this;
}

void CZncString::AppendChar(char c) {
    if (c != '\0') {
        m_strText.push_back(c);
        m_lastToken.index = -1;
    }
}

void CZncString::AppendCharIfMissing(char c) {
    if (m_strText.empty() || m_strText.back() != c) {
        AppendChar(c);
    }
}

void CZncString::MakeUpper() {
    Assign(UpperText<char>(m_strText));
}

void CZncString::Trim() {
    Assign(std::string(TrimmedText<char>(m_strText)));
}

void CZncString::KeepDigits() {
    for (char& c : m_strText) {
        c = platform::isDigit(c) ? c : ' ';
    }
    Trim();
}

void CZncString::Prepend(const char* prefix, bool always) {
    if (always || !StartsWith(prefix)) {
        m_strText.insert(0, ViewOf(prefix));
        m_lastToken.index = -1;
    }
}

void CZncString::RemovePrefix(const char* prefix) {
    if (StartsWith(prefix)) {
        m_strText.erase(0, ViewOf(prefix).size());
        m_lastToken.index = -1;
    }
}

void CZncString::RemoveSuffix(const char* suffix) {
    const std::string_view ending = ViewOf(suffix);
    if (ending.empty()) {
        return;
    }
    std::string_view kept = m_strText;
    while (kept.ends_with(ending)) {
        kept.remove_suffix(ending.size());
    }
    m_strText.resize(kept.size());
    m_lastToken.index = -1;
}

bool CZncString::StartsWith(const char* prefix, bool matchCase) const {
    const std::string_view wanted = ViewOf(prefix);
    const std::string_view start = View().substr(0, wanted.size());
    return matchCase ? start == wanted : UpperText(start) == UpperText(wanted);
}

bool CZncString::Contains(const char* text, bool matchCase) const {
    const std::string_view needle = ViewOf(text);
    const std::size_t hit =
        matchCase ? FindText(View(), needle, 0) : FindText(UpperText(View()), UpperText(needle), 0);
    return hit != std::string_view::npos;
}

void CZncString::Replace(const char* find, const char* with, bool matchCase) {
    ReplaceText(m_strText, ViewOf(find), ViewOf(with), matchCase);
    m_lastToken.index = -1;
}

void CZncString::Truncate(std::uint32_t length, const char* suffix) {
    if (m_strText.size() <= length) {
        return;
    }
    const std::string_view ending = ViewOf(suffix).substr(0, length);
    m_strText.resize(length - ending.size());
    m_strText.append(ending);
    m_lastToken.index = -1;
}

void CZncString::CutLine(std::uint32_t length, const char* suffix) {
    const std::size_t before = m_strText.size();
    const std::size_t lineEnd = std::min(m_strText.find_first_of("\r\n"), before);
    bool wasCut = lineEnd < before;
    m_strText.resize(lineEnd);
    if (length > 0 && m_strText.size() > length) {
        Truncate(length, suffix);
        wasCut = true;
    }
    if (wasCut && !Contains(suffix)) {
        Append(suffix);
    }
    m_lastToken.index = -1;
}

void CZncString::GetToken(const char* separator, const char* defaultText, CZncString& result,
                          std::int32_t index) const {
    const std::string_view token = TokenOf(View(), ViewOf(separator), index, m_lastToken);
    // The copy comes first: `result` may be this string.
    result.Assign(std::string(token.empty() ? ViewOf(defaultText) : token));
}

std::int32_t CZncString::GetTokenInt(const char* separator, std::int32_t defaultNumber,
                                     std::int32_t index) const {
    const std::string_view token = TokenOf(View(), ViewOf(separator), index, m_lastToken);
    return token.empty() ? defaultNumber : ParseLong(token);
}

std::int32_t CZncString::CountTokens(const char* separator) const {
    TokenPosition<char> position;
    std::int32_t count = 0;
    while (!TokenOf(View(), ViewOf(separator), count, position).empty()) {
        ++count;
    }
    return count;
}

void CZncString::Format(const char* format, ...) {
    char buffer[kFormatBytes];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    Assign(length < 0 ? "" : buffer);
}

void CZncString::FormatLong(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text;
    if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    }
    va_end(arguments);
    Assign(std::move(text));
}

BSTR CZncString::AllocWide() const {
    return platform::allocBstr(borvik::ansiToWide(m_strText));
}

std::string CZncString::TakeString() {
    m_lastToken.index = -1;
    return std::exchange(m_strText, std::string());
}

}  // namespace tessolt
