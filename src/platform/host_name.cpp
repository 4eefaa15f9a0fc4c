#include "platform/host_name.h"

#include <idn2.h>

#include <algorithm>
#include <memory>

namespace platform {

bool toAsciiHostName(std::string& name) {
    if (std::all_of(name.begin(), name.end(), [](char c) { return (c & 0x80) == 0; })) {
        return true;
    }
    char* found = nullptr;
    constexpr int kFlags = IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL;
    const int result = idn2_to_ascii_8z(name.c_str(), &found, kFlags);
    const std::unique_ptr<char, decltype(&idn2_free)> ascii(found, &idn2_free);
    if (result != IDN2_OK || !ascii) {
        return false;
    }
    name = ascii.get();
    return true;
}

void removeRootDot(std::string& name) {
    if (name.ends_with('.')) {
        name.pop_back();
    }
}

}  // namespace platform
