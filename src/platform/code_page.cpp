#include "platform/code_page.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <iterator>
#include <optional>

#include "platform/settings_store.h"

namespace platform {
namespace {

constexpr std::string_view kCodePageKey =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";

/// The single-byte pages and the double-byte pages that keep ASCII in one byte, in order.
constexpr std::uint32_t kLegalPages[] = {
    37,    437,   500,   708,   720,   737,   775,   850,   852,   855,   857,   858,   860,
    861,   862,   863,   864,   865,   866,   869,   870,   874,   875,   932,   936,   949,
    950,   1026,  1047,  1140,  1141,  1142,  1143,  1144,  1145,  1146,  1147,  1148,  1149,
    1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257,  1258,  10000, 10004, 10005, 10006,
    10007, 10010, 10017, 10021, 10029, 10079, 10081, 10082, 20105, 20106, 20107, 20108, 20127,
    20261, 20269, 20273, 20277, 20278, 20280, 20284, 20285, 20290, 20297, 20420, 20423, 20424,
    20838, 20866, 20871, 20880, 20905, 20924, 21025, 21866, 28591, 28592, 28593, 28594, 28595,
    28596, 28597, 28598, 28599, 28603, 28605, 38598, 65001};

/// 0 stands for "not read yet"; no page has that number.
std::atomic<std::uint32_t> ansiPage{0};
std::atomic<std::uint32_t> oemPage{0};

std::optional<std::uint32_t> configuredPage(std::string_view name) {
    const std::optional<std::string> text = readSetting(kCodePageKey, name);
    if (!text) {
        return std::nullopt;
    }
    std::uint32_t page = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, page);
    if (error != std::errc() || stop != end || !isLegalAnsiPage(page)) {
        return std::nullopt;
    }
    return page;
}

std::uint32_t pageOf(std::atomic<std::uint32_t>& cache, std::string_view name,
                     std::uint32_t fallback) {
    std::uint32_t page = cache.load(std::memory_order_relaxed);
    if (page == 0) {
        page = configuredPage(name).value_or(fallback);
        std::uint32_t unread = 0;
        if (!cache.compare_exchange_strong(unread, page)) {
            page = unread;
        }
    }
    return page;
}

}  // namespace

bool isLegalAnsiPage(std::uint32_t page) {
    return std::binary_search(std::begin(kLegalPages), std::end(kLegalPages), page);
}

std::uint32_t GetACP() {
    return pageOf(ansiPage, "ACP", kDefaultAnsiPage);
}

std::uint32_t GetOEMCP() {
    return pageOf(oemPage, "OEMCP", kDefaultOemPage);
}

void reloadCodePages() {
    ansiPage = 0;
    oemPage = 0;
}

ScopedAnsiCodePage::ScopedAnsiCodePage(std::uint32_t page) : previous_(ansiPage.exchange(page)) {}

ScopedAnsiCodePage::~ScopedAnsiCodePage() {
    ansiPage = previous_;
}

}  // namespace platform
