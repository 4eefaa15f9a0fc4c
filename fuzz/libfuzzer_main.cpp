/// One program for all targets: TESSOLT_FUZZ_TARGET names the one that it runs. Without that it
/// prints their names and the longest input of each.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "harness.h"

namespace {

const fuzz::Target* chosen = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (const char* name = std::getenv("TESSOLT_FUZZ_TARGET")) {
        chosen = fuzz::findTarget(name);
        fuzz::require(chosen != nullptr);
        return 0;
    }
    for (const fuzz::Target& target : fuzz::targets()) {
        std::printf("%s %zu\n", std::string(target.name).c_str(), target.limits.longest);
    }
    std::exit(0);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::runTarget(*chosen, {reinterpret_cast<const char*>(data), size});
    return 0;
}
