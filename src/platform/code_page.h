/// The two code pages of the machine. They are read from the settings at the first use and stay for
/// the life of the process, since text that was converted with one page must come back with it.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

inline constexpr std::uint32_t kUtf8Page = 65001;
inline constexpr std::uint32_t kDefaultAnsiPage = kUtf8Page;
inline constexpr std::uint32_t kDefaultOemPage = 437;

/// The ANSI code page: the setting `ACP` of
/// `HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Nls\CodePage` when it names a legal page,
/// else 65001. Costs one atomic read.
std::uint32_t GetACP();
/// The OEM code page: the setting `OEMCP` of the same key, else 437.
std::uint32_t GetOEMCP();

/// True for the pages that may be the ANSI page: 65001, 932, 936, 949, 950, and every single-byte
/// page in which the bytes below 128 are ASCII. Header names and protocol commands are written in
/// the ANSI page, so that no other would do.
bool isLegalAnsiPage(std::uint32_t page);

/// Why the setting `ACP` can't be followed, as a text for logs; empty when it is missing or legal.
/// Reads the setting anew.
std::string ansiPageProblem();

/// Forgets both pages, so that the next question reads the settings again.
void reloadCodePages();

/// Sets the ANSI page for all threads while it lives, then puts the old one back. For tests.
class ScopedAnsiCodePage {
public:
    explicit ScopedAnsiCodePage(std::uint32_t page);
    ~ScopedAnsiCodePage();
    ScopedAnsiCodePage(const ScopedAnsiCodePage&) = delete;
    ScopedAnsiCodePage& operator=(const ScopedAnsiCodePage&) = delete;

private:
    std::uint32_t previous_;
};

}  // namespace platform
