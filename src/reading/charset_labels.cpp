#include "reading/charset_labels.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "base/ascii_text.h"
#include "charset/charset_registry.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"

namespace tessolt::reading {
namespace {

/// No label is longer; what is, isn't looked up.
constexpr std::size_t kLongestLabel = 64;

/// What may stand in front of a page's number, in this order.
constexpr std::string_view kNumberPrefixes[] = {"x-", "code-", "code"};
constexpr std::string_view kNumberFamilies[] = {"cp", "windows", "win", "ibm", "ms", "dos", "page"};

/// Pages that are read without a table of their own.
constexpr std::uint32_t kPagesInCode[] = {
    kHzPage,
    kGb18030Page,
    kIsoLatin10Page,
    borvik::kUtf8,
    borvik::kUtf7,
    borvik::kUtf16Le,
    borvik::kUtf16Be,
    borvik::kUtf32Le,
    borvik::kUtf32Be,
    borvik::kIso2022Jp,
    borvik::kIso2022JpCs,
    borvik::kIso2022Jp2,
    borvik::kIso2022Kr,
};

bool isReadable(std::uint32_t page) {
    return std::ranges::find(kPagesInCode, page) != std::end(kPagesInCode) ||
           borvik::hasTable(page);
}

void takeOff(std::string_view& text, std::string_view prefix) {
    if (text.starts_with(prefix)) {
        text.remove_prefix(prefix.size());
    }
}

/// The number of labels like "x-cp-1251", "windows-1251" and "code-page-1251".
std::uint32_t pageByNumber(std::string_view label) {
    for (const std::string_view prefix : kNumberPrefixes) {
        takeOff(label, prefix);
    }
    const std::size_t before = label.size();
    for (const std::string_view family : kNumberFamilies) {
        takeOff(label, family);
    }
    if (label.size() == before) {
        return 0;
    }
    takeOff(label, "-");
    std::uint32_t page = 0;
    const char* const end = label.data() + label.size();
    const auto [stop, error] = std::from_chars(label.data(), end, page);
    return stop == end && error == std::errc() ? page : 0;
}

std::uint32_t lookUp(std::string_view label) {
    const auto rows = furtherLabels();
    const auto row = std::ranges::lower_bound(rows, label, {}, &CharsetLabel::name);
    if (row != rows.end() && row->name == label) {
        return row->page;
    }
    const std::uint32_t named = borvik::CharsetNaming::lookUp(label);
    return named != 0 ? named : pageByNumber(label);
}

}  // namespace

std::uint32_t pageOfLabel(std::string_view label) {
    label = borvik::trimmed(label, " \t\r\n'\"");
    if (label.empty() || label.size() > kLongestLabel || borvik::equalsNoCase(label, "ansi")) {
        return 0;
    }
    std::string spelling(label);
    std::ranges::transform(spelling, spelling.begin(),
                           [](char c) { return c == '_' ? '-' : borvik::asciiLower(c); });
    const std::uint32_t page = lookUp(spelling);
    return page != 0 && isReadable(page) ? page : 0;
}

}  // namespace tessolt::reading
