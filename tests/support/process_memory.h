#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace support {

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kKeepsFreedMemory = true;
#else
inline constexpr bool kKeepsFreedMemory = false;
#endif

/// Has the peak of the process's memory start anew from what it holds now.
inline void resetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << 5;
}

/// A number of /proc/self/status in KiB: "VmHWM" for the peak since the start, "VmRSS" for now.
inline long memoryKib(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return 0;
}

inline std::ptrdiff_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

}  // namespace support
