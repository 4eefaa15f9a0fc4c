/// What both string classes do alike, over 8-bit and 16-bit units. Everything here is linear in the
/// text, whatever text and needle hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "charset/unit_scan.h"

namespace tessolt {

/// Where a walk through the tokens of a text has come to.
template <typename Unit>
struct TokenPosition {
    std::basic_string<Unit> separator;
    std::int32_t index = -1;  ///< -1 for none
    std::size_t offset = 0;
};

/// The first position of `needle` in `text` at or behind `from`, npos if there is none or `needle`
/// is empty.
std::size_t FindText(std::string_view text, std::string_view needle, std::size_t from);
std::size_t FindText(std::u16string_view text, std::u16string_view needle, std::size_t from);

/// Reads a decimal number behind leading blanks, up to the first other character. Clamped to 32
/// bits, 0 where none stands.
std::int32_t ParseLong(std::string_view text);

/// `text` with ASCII letters in upper case.
template <typename Unit>
std::basic_string<Unit> UpperText(std::basic_string_view<Unit> text) {
    std::basic_string<Unit> result(text);
    for (Unit& unit : result) {
        if (unit >= 'a' && unit <= 'z') {
            unit = static_cast<Unit>(unit - ('a' - 'A'));
        }
    }
    return result;
}

/// The text up to its first zero unit.
template <typename Unit>
std::basic_string_view<Unit> UpToZero(std::basic_string_view<Unit> text) {
    return text.substr(0, text.find(Unit{}));
}

inline std::u16string_view UpToZero(std::u16string_view text) {
    return text.substr(0, borvik::findZeroUnit(text));
}

/// The text of a pointer; null is empty.
template <typename Unit>
std::basic_string_view<Unit> ViewOf(const Unit* text) {
    return text ? std::basic_string_view<Unit>(text) : std::basic_string_view<Unit>();
}

/// `text` without CR, LF, tab and blank at both ends.
template <typename Unit>
std::basic_string_view<Unit> TrimmedText(std::basic_string_view<Unit> text) {
    const auto isTrimmed = [](Unit unit) {
        return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
    };
    while (!text.empty() && isTrimmed(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isTrimmed(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// Replaces in one pass; returns false when `find` doesn't occur and `text` stands.
template <typename Unit>
bool ReplaceText(std::basic_string<Unit>& text, std::basic_string_view<Unit> find,
                 std::basic_string_view<Unit> with, bool matchCase) {
    std::basic_string<Unit> foldedText;
    std::basic_string<Unit> foldedFind;
    std::basic_string_view<Unit> searched = text;
    std::basic_string_view<Unit> needle = find;
    if (!matchCase) {
        foldedText = UpperText<Unit>(text);
        foldedFind = UpperText(find);
        searched = foldedText;
        needle = foldedFind;
    }
    std::size_t hit = FindText(searched, needle, 0);
    if (hit == searched.npos) {
        return false;
    }
    std::basic_string<Unit> result;
    result.reserve(text.size());
    std::size_t start = 0;
    for (; hit != searched.npos; hit = FindText(searched, needle, start)) {
        result.append(text, start, hit - start).append(with);
        start = hit + find.size();
    }
    result.append(text, start);
    text = std::move(result);
    return true;
}

/// The token `index`, empty when there are not that many. Goes on from `last` where that helps, and
/// leaves its own position there.
template <typename Unit>
std::basic_string_view<Unit> TokenOf(std::basic_string_view<Unit> text,
                                     std::basic_string_view<Unit> separator, std::int32_t index,
                                     TokenPosition<Unit>& last) {
    std::int32_t at = 0;
    std::size_t start = 0;
    if (last.index >= 0 && last.index <= index && last.offset <= text.size() &&
        last.separator == separator) {
        at = last.index;
        start = last.offset;
    }
    std::size_t end = FindText(text, separator, start);
    for (; at < index && end != text.npos; ++at) {
        start = end + separator.size();
        end = FindText(text, separator, start);
    }
    if (at != index) {
        return {};
    }
    if (last.separator != separator) {
        last.separator = separator;
    }
    last.index = at;
    last.offset = start;
    return text.substr(start, end - start);
}

}  // namespace tessolt
