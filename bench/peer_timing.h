#pragma once

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

/// A few runs where TESSOLT_BENCH_QUICK is set, to see that all goes well.
inline int runsOf(int usual) {
    constexpr int kQuickRuns = 3;
    return std::getenv("TESSOLT_BENCH_QUICK") == nullptr ? usual : std::min(usual, kQuickRuns);
}

/// Runs ours and each peer in turn and prints the medians, with the ratio to the fastest peer.
/// Returns that ratio: above 1 means that ours is faster.
struct Peer {
    std::string name;
    std::function<void()> work;
};

inline double compare(const std::string& label, double megabytes, const std::function<void()>& ours,
                      const std::vector<Peer>& peers, int runs = 9) {
    runs = runsOf(runs);
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

/// The same with two of ours, each of which is compared with each peer: what a user of the library
/// calls, and the classes behind it.
inline void comparePublic(const std::string& label, double megabytes,
                          const std::function<void()>& door, const std::function<void()>& core,
                          const std::vector<Peer>& peers, int runs = 9) {
    runs = runsOf(runs);
    std::vector<double> doorTimes;
    std::vector<double> coreTimes;
    std::vector<std::vector<double>> doorRatios(peers.size());
    std::vector<std::vector<double>> coreRatios(peers.size());
    for (int run = 0; run < runs; ++run) {
        doorTimes.push_back(seconds(door));
        coreTimes.push_back(seconds(core));
        for (std::size_t i = 0; i < peers.size(); ++i) {
            const double theirs = seconds(peers[i].work);
            doorRatios[i].push_back(theirs / doorTimes.back());
            coreRatios[i].push_back(theirs / coreTimes.back());
        }
    }
    std::printf("%-30s public %8.1f MB/s  core %8.1f MB/s", label.c_str(),
                megabytes / median(doorTimes), megabytes / median(coreTimes));
    for (std::size_t i = 0; i < peers.size(); ++i) {
        std::printf("  %s %5.2f / %5.2f", peers[i].name.c_str(), median(doorRatios[i]),
                    median(coreRatios[i]));
    }
    std::printf("\n");
}

}  // namespace bench
