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

constexpr std::string_view kAnsiPageName = "ACP";

/// The single-byte pages with ASCII, the double-byte pages that keep ASCII in one byte, and UTF-8.
constexpr std::uint32_t kLegalPages[] = {
    437,   708,   720,   737,   775,   850,   852,   855,   857,   858,   860,   861,   862,
    863,   864,   865,   866,   869,   874,   932,   936,   949,   950,   1250,  1251,  1252,
    1253,  1254,  1255,  1256,  1257,  1258,  10000, 10004, 10005, 10006, 10007, 10010, 10017,
    10021, 10029, 10079, 10081, 10082, 20127, 20261, 20269, 20866, 21866, 28591, 28592, 28593,
    28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605, 38598, 65001};

/// 0 stands for "not read yet"; no page has that number.
std::atomic<std::uint32_t> ansiPage{0};
std::atomic<std::uint32_t> oemPage{0};

std::optional<std::uint32_t> legalPage(std::string_view text) {
    std::uint32_t page = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, page);
    if (error != std::errc() || stop != end || !isLegalAnsiPage(page)) {
        return std::nullopt;
    }
    return page;
}

std::optional<std::uint32_t> configuredPage(std::string_view name) {
    const std::optional<std::string> text = readSetting(kCodePageKey, name);
    return text ? legalPage(*text) : std::nullopt;
}

std::uint32_t pageOf(std::atomic<std::uint32_t>& cache, std::string_view name,
                     std::uint32_t fallback) {
    std::uint32_t page = cache.load(std::memory_order_relaxed);
    if (page == 0) {
        page = configuredPage(name).value_or(fallback);
        if (!currentSettings()->trouble.empty()) {
            return page;  // for now: the file may be read the next time
        }
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
    return pageOf(ansiPage, kAnsiPageName, kDefaultAnsiPage);
}

std::uint32_t GetOEMCP() {
    return pageOf(oemPage, "OEMCP", kDefaultOemPage);
}

std::string ansiPageProblem() {
    const std::optional<std::string> text = readSetting(kCodePageKey, kAnsiPageName);
    if (!text || legalPage(*text)) {
        return {};
    }
    return settingsPath() + ": \"ACP\"=\"" + *text +
           "\" is no code page that has ASCII in its bytes below 128";
}

void reloadCodePages() {
    refreshSettings();
    ansiPage = 0;
    oemPage = 0;
}

ScopedAnsiCodePage::ScopedAnsiCodePage(std::uint32_t page) : previous_(ansiPage.exchange(page)) {}

ScopedAnsiCodePage::~ScopedAnsiCodePage() {
    ansiPage = previous_;
}

}  // namespace platform
