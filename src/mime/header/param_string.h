#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace borvik {

/// Takes the quoted strings out of a header value, so that a simple scan for ";" and "=" can't be
/// fooled by what is inside them. String number n, from 0, leaves the mark "<[[n]]>".
class ParamString {
public:
    /// Longest value that is taken.
    static constexpr std::size_t kMaxLength = 100'000'000;

    ParamString() = default;
    virtual ~ParamString() = default;
    ParamString(const ParamString&) = default;
    ParamString& operator=(const ParamString&) = default;

    /// With `allowEscapes` a backslash and a double quote stand for that quote within a string. CR,
    /// LF end a string as a quote does. A string that is still open at the end is dropped and its
    /// mark has no number. A value over `kMaxLength` leaves everything empty.
    void setParamString(std::string_view value, bool allowEscapes);

    /// The value with the marks in it.
    const std::string& getMaskedString() const { return masked_; }

    /// String number `index` without its quotes; nothing when there is no such string.
    std::optional<std::string_view> getSubstring(std::size_t index) const;

    /// A part of the masked value: the string that it means when it begins with a mark, else the
    /// part itself. A mark without a number means string 0; a string that isn't there is empty.
    std::string_view resolve(std::string_view part) const;

private:
    std::size_t takeString(std::string_view value, std::size_t at, bool allowEscapes);

    std::string masked_;
    /// The strings behind each other, and where each ends: they may be many and short.
    std::string strings_;
    std::vector<std::size_t> ends_;
};

}  // namespace borvik
