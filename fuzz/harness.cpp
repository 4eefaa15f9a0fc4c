#include "harness.h"

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "charset/ansi_text.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/stored_tables.h"

#define TESSOLT_UNWATCHED __attribute__((no_sanitize("address", "undefined")))
#ifdef __clang__
#define TESSOLT_UNCOUNTED __attribute__((no_sanitize("coverage", "address", "undefined")))
#else
#define TESSOLT_UNCOUNTED TESSOLT_UNWATCHED
#endif

namespace {

std::uint64_t blocksRun = 0;
std::int64_t bytesInUse = 0;
std::int64_t mostInUse = 0;

}  // namespace

extern "C" {
// The names are those that the compilers and their libraries ask for.
// NOLINTBEGIN(bugprone-reserved-identifier)
__attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*onMalloc)(const volatile void*, std::size_t), void (*onFree)(const volatile void*));
__attribute__((weak)) std::size_t __sanitizer_get_allocated_size(const volatile void* block);

/// Called at each block of code; the linker puts it in place of the one of the fuzzing library.
TESSOLT_UNCOUNTED void __wrap___sanitizer_cov_trace_pc() {
    ++blocksRun;
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace fuzz {
namespace {

TESSOLT_UNCOUNTED void onMalloc(const volatile void*, std::size_t size) {
    bytesInUse += static_cast<std::int64_t>(size);
    mostInUse = std::max(mostInUse, bytesInUse);
}

TESSOLT_UNCOUNTED void onFree(const volatile void* block) {
    if (block != nullptr) {
        bytesInUse -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(block));
    }
}

bool watchesMemory() {
    static const bool watches = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                                __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree) != 0;
    return watches;
}

struct Cost {
    std::uint64_t memory;
    std::uint64_t work;
};

Cost costOf(const Target& target, std::string_view bytes) {
    const std::int64_t before = bytesInUse;
    mostInUse = before;
    const std::uint64_t blocksBefore = blocksRun;
    target.run(Input(bytes));
    return {static_cast<std::uint64_t>(mostInUse - before), blocksRun - blocksBefore};
}

std::uint64_t mostOf(const Limit& limit, std::size_t size) {
    return limit.base + limit.times * size;
}

bool isWithin(const Target& target, const Cost& cost, std::size_t size) {
    return cost.memory <= mostOf(target.limits.memory, size) &&
           cost.work <= mostOf(target.limits.work, size);
}

class Folder {
public:
    Folder() {
        for (const char* parent : {"/dev/shm", "/tmp"}) {
            path_ = std::string(parent) + "/tessolt-fuzz-XXXXXX";
            if (mkdtemp(path_.data()) != nullptr) {
                return;
            }
        }
        path_.clear();
        require(false);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace

void require(bool holds, const char* file, int line) {
    if (!holds) {
        std::fprintf(stderr, "%s:%d: what must hold doesn't\n", file, line);
        std::abort();
    }
}

std::uint8_t Input::choice() {
    if (rest_.empty()) {
        return 0;
    }
    const auto value = static_cast<std::uint8_t>(rest_.back());
    rest_.remove_suffix(1);
    return value;
}

std::string_view Input::piece() {
    const std::size_t end = std::min(rest_.find(kSeparator), rest_.size());
    const std::string_view taken = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return taken;
}

std::u16string Input::wide(bool raw) {
    const std::string_view bytes = piece();
    if (!raw) {
        return borvik::utf8ToWidePaired(bytes);
    }
    std::u16string units(bytes.size() / sizeof(char16_t), u'\0');
    if (!units.empty()) {
        std::memcpy(units.data(), bytes.data(), units.size() * sizeof(char16_t));
    }
    return units;
}

const Target* findTarget(std::string_view name) {
    const std::span<const Target> all = targets();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Target& target) { return target.name == name; });
    return found == all.end() ? nullptr : &*found;
}

void runTarget(const Target& target, std::string_view bytes) {
    if (bytes.size() > target.limits.longest) {
        return;
    }
    watchesMemory();
    Cost cost = costOf(target, bytes);
    if (!isWithin(target, cost, bytes.size())) {
        // The first use of a table pays for all later ones.
        cost = costOf(target, bytes);
    }
    if (!isWithin(target, cost, bytes.size())) {
        std::fprintf(stderr,
                     "%zu bytes took %llu bytes of memory of %llu and %llu blocks of %llu\n",
                     bytes.size(), static_cast<unsigned long long>(cost.memory),
                     static_cast<unsigned long long>(mostOf(target.limits.memory, bytes.size())),
                     static_cast<unsigned long long>(cost.work),
                     static_cast<unsigned long long>(mostOf(target.limits.work, bytes.size())));
        require(false);
    }
}

const std::string& scratchFolder() {
    static const Folder folder;
    return folder.path();
}

std::string scratchFile(std::string_view name, std::string_view content) {
    std::string path = scratchFolder() + "/" + std::string(name);
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool isHeader(std::string_view text, std::size_t& fields) {
    fields = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find("\r\n"), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 2, text.size()));
        if (line.empty() || line.find_first_of(std::string_view("\r\n\0", 3)) != line.npos) {
            return false;
        }
        fields += line[0] == ' ' || line[0] == '\t' ? 0 : 1;
    }
    return true;
}

std::span<const std::uint32_t> codePages() {
    static const std::vector<std::uint32_t> pages = [] {
        constexpr std::uint32_t kGb18030 = 54936;
        std::vector<std::uint32_t> all = {
            borvik::kNoCodePage, kGb18030,
            borvik::kUtf16Le,    borvik::kUtf16Be,
            borvik::kUtf7,       borvik::kUtf8,
            borvik::kUtf32Le,    borvik::kUtf32Be,
            borvik::kIso2022Jp,  borvik::kIso2022JpCs,
            borvik::kIso2022Jp2, borvik::kIso2022Kr,
        };
        for (const borvik::StoredTable& table : borvik::storedTables()) {
            all.push_back(table.codePage);
        }
        return all;
    }();
    return pages;
}

}  // namespace fuzz
