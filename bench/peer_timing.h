#pragma once

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Processor time of this thread in seconds: what else the machine does counts for nothing.
inline double threadTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

inline double seconds(const std::function<void()>& work) {
    const double start = threadTime();
    work();
    return threadTime() - start;
}

inline double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

/// Runs ours and each peer in turn and prints the medians, with the ratio to the fastest peer.
/// Returns that ratio: above 1 means that ours is faster.
struct Peer {
    std::string name;
    std::function<void()> work;
};

inline double compare(const std::string& label, double megabytes, const std::function<void()>& ours,
                      const std::vector<Peer>& peers, int runs = 9) {
    std::vector<double> own;
    std::vector<std::vector<double>> others(peers.size());
    for (int run = 0; run < runs; ++run) {
        own.push_back(seconds(ours));
        for (std::size_t i = 0; i < peers.size(); ++i) {
            others[i].push_back(seconds(peers[i].work));
        }
    }
    const double mine = median(own);
    double best = 1e9;
    std::printf("%-34s ours %8.1f MB/s", label.c_str(), megabytes / mine);
    for (std::size_t i = 0; i < peers.size(); ++i) {
        const double theirs = median(others[i]);
        best = std::min(best, theirs);
        std::printf("  %s %8.1f MB/s", peers[i].name.c_str(), megabytes / theirs);
    }
    std::printf("  ratio %5.2f\n", best / mine);
    return best / mine;
}

}  // namespace bench
