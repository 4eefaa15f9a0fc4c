#pragma once

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>

namespace bench {

inline long statusKib(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return 0;
}

/// The most memory that work takes in a process of its own, against the size of the message.
inline void printPeak(const std::string& label, double messageBytes,
                      const std::function<void()>& work) {
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        ::malloc_trim(0);
        const long before = statusKib("VmRSS:");
        std::ofstream("/proc/self/clear_refs") << 5;
        work();
        const double grown = static_cast<double>(statusKib("VmHWM:") - before) * 1024;
        std::printf("%-40s %5.2f times the message\n", label.c_str(), grown / messageBytes);
        std::fflush(stdout);
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
}

}  // namespace bench
