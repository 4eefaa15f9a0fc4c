#pragma once

#include <string>
#include <string_view>

namespace borvik {

/// Text of page 10004 as its table wants it: the right-to-left twins of ASCII characters become
/// those, and each run of them is put in the opposite order.
std::string prepareMacArabic(std::string_view text);

}  // namespace borvik
