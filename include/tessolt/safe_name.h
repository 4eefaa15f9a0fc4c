/// File names that are safe, whatever a sender wrote.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tessolt {

namespace detail {

inline constexpr std::size_t kLongestName = 200;
inline constexpr std::size_t kLongestEnding = 16;

/// Length of the UTF-8 character at the front that may not stand in a file name: a control
/// character, or one that turns the direction of what follows; 0 for any other.
inline std::size_t unfitLength(std::string_view text) {
    const auto byte = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    if (byte(0) < 0x20 || byte(0) == 0x7F ||
        std::string_view("<>:\"|?*").find(text[0]) != std::string_view::npos) {
        return 1;
    }
    if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) <= 0x9F) {
        return 2;
    }
    const bool isMark = byte(1) == 0x80 && (byte(2) == 0x8E || byte(2) == 0x8F ||
                                            (byte(2) >= 0xA8 && byte(2) <= 0xAE));
    const bool isIsolate = byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9;
    return byte(0) == 0xE2 && (isMark || isIsolate) ? 3 : 0;
}

inline bool isDeviceName(std::string_view name) {
    std::string stem(name.substr(0, name.find('.')));
    for (char& c : stem) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    for (const char* device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$", "CLOCK$"}) {
        if (stem == device) {
            return true;
        }
    }
    return stem.size() == 4 && (stem.rfind("COM", 0) == 0 || stem.rfind("LPT", 0) == 0) &&
           stem[3] >= '0' && stem[3] <= '9';
}

/// Where the ending of a name begins, its dot included; the name's length without one.
inline std::size_t endingOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    const bool isEnding =
        dot != std::string_view::npos && dot > 0 && name.size() - dot <= kLongestEnding;
    return isEnding ? dot : name.size();
}

/// Cuts UTF-8 behind a whole character.
inline std::string_view cut(std::string_view text, std::size_t most) {
    while (most < text.size() && most > 0 &&
           (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) {
        --most;
    }
    return text.substr(0, most);
}

}  // namespace detail

/// The name of a file that is safe in any folder, made from what a sender wrote: without folders,
/// control characters, characters and device names that other systems take for something else, no
/// hidden name and none that looks like an option, at most 200 bytes. Never empty.
inline std::string safe_name(std::string_view given) {
    given.remove_prefix(given.find_last_of("/\\") + 1);
    std::string name;
    while (!given.empty()) {
        const std::size_t unfit = detail::unfitLength(given);
        name += unfit != 0 ? '_' : given.front();
        given.remove_prefix(unfit != 0 ? unfit : 1);
    }
    name.erase(0, name.find_first_not_of(' '));
    name.erase(name.find_last_not_of(" .") + 1);
    if (name.empty()) {
        return "attachment";
    }
    if (name.front() == '.' || name.front() == '-' || name.front() == '~' ||
        detail::isDeviceName(name)) {
        name.insert(0, 1, '_');
    }
    if (name.size() > detail::kLongestName) {
        const std::string ending = name.substr(detail::endingOf(name));
        name = std::string(detail::cut(name, detail::kLongestName - ending.size())) + ending;
    }
    return name;
}

}  // namespace tessolt
