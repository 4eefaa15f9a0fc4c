/// The order in which names of members, parameters and classes are compared: ASCII case is ignored.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace tessolt {

constexpr char16_t foldCase(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

/// Below, at or above 0 as `a` stands before, with or behind `b`.
constexpr int compareNames(std::u16string_view a, std::u16string_view b) {
    const std::size_t shared = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < shared; ++i) {
        if (const int difference = foldCase(a[i]) - foldCase(b[i])) {
            return difference;
        }
    }
    return static_cast<int>(a.size() > b.size()) - static_cast<int>(a.size() < b.size());
}

}  // namespace tessolt
