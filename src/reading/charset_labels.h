#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tessolt::reading {

inline constexpr std::uint32_t kHzPage = 52936;
inline constexpr std::uint32_t kGb18030Page = 54936;
inline constexpr std::uint32_t kIsoLatin10Page = 28606;

/// The page of a charset label in any case: the names of the IANA registry and of `CharsetNaming`,
/// and a page's number behind "cp", "windows-", "ibm", "x-cp" and the like. 0 for a label that
/// isn't known or whose page can't be read.
std::uint32_t pageOfLabel(std::string_view label);

/// A label, in lower case, with "-" for "_", and its page.
struct CharsetLabel {
    std::string_view name;
    std::uint32_t page;
};

/// The labels that `CharsetNaming` doesn't know, or knows by another page; sorted by name.
std::span<const CharsetLabel> furtherLabels();

/// The characters of the bytes from A0 of ISO-8859-16.
std::u16string_view isoLatin10();

/// Of GB 18030's two-byte codes, those that page 936 lacks: `count` codes from `code` on stand for
/// as many characters from `unit` on. Sorted by code.
struct Gb18030Pairs {
    std::uint16_t code;
    std::uint16_t count;
    char16_t unit;
};
std::span<const Gb18030Pairs> gb18030Pairs();

/// Of its four-byte codes up to U+FFFF: from the code of that rank on, the characters from `unit`
/// on, until the next row. Sorted.
struct Gb18030Range {
    std::uint16_t rank;
    char16_t unit;
};
std::span<const Gb18030Range> gb18030Ranges();

}  // namespace tessolt::reading
