/// Runs every seed of every target once, for any compiler:
///
///     fuzz_replay FOLDER            the files of each folder in it that is called as a target
///     fuzz_replay TARGET FILE...    these files

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "harness.h"

extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());  // NOLINT

namespace {

std::string pathInUse;

/// Tells which file ended the program.
void onDeath() {
    std::fprintf(stderr, "while %s was run\n", pathInUse.c_str());
}

void watchForDeath() {
    std::signal(SIGABRT, [](int) { onDeath(); });
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(onDeath);
    }
}

void replay(const fuzz::Target& target, const std::string& path) {
    pathInUse = path;
    const std::string content = fuzz::readFile(path);
    // Of its own size, so that reading behind its end is seen.
    const auto bytes = std::make_unique<char[]>(content.size());
    std::copy(content.begin(), content.end(), bytes.get());
    fuzz::runTarget(target, {bytes.get(), content.size()});
}

std::size_t replayFolder(const fuzz::Target& target, const std::filesystem::path& folder) {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    for (const std::string& path : paths) {
        replay(target, path);
    }
    return paths.size();
}

}  // namespace

int main(int count, char** arguments) {
    fuzz::require(count > 1);
    watchForDeath();
    if (count > 2) {
        const fuzz::Target* target = fuzz::findTarget(arguments[1]);
        if (target == nullptr) {
            std::fprintf(stderr, "no such target\n");
            return 1;
        }
        std::for_each(arguments + 2, arguments + count,
                      [&](const char* path) { replay(*target, path); });
        return 0;
    }
    // Targets may leave the folder that they began in.
    const std::filesystem::path seedsOfAll = std::filesystem::absolute(arguments[1]);
    bool isWhole = true;
    for (const fuzz::Target& target : fuzz::targets()) {
        const std::size_t seeds = replayFolder(target, seedsOfAll / target.name);
        isWhole = isWhole && seeds > 0;
        std::printf("%s: %zu seeds\n", std::string(target.name).c_str(), seeds);
    }
    return isWhole ? 0 : 1;
}
