#include "foundation/system_utilities.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "charset/ansi_text.h"
#include "foundation/system_files.h"
#include "platform/c_random.h"
#include "platform/clock.h"
#include "platform/machine.h"
#include "platform/settings_store.h"

namespace tessolt {
namespace {

/// Twice as many tries as there are random numbers: then only another time gives another name.
constexpr int kTriesPerSecond = 65536;
constexpr std::size_t kRegStringBytes = 510;

std::optional<std::string> readText(const char* root, const char* key, const char* value) {
    const auto text = platform::readSetting(std::string(root) + "\\" + key, value);
    return text ? std::optional<std::string>(borvik::utf8ToAnsi(*text)) : std::nullopt;
}

}  // namespace

void MakeUniqueName(const char* folder, const char* prefix, const char* suffix,
                    CZncString& result) {
    std::string place = folder ? folder : "";
    if (place.empty() || (place.back() != '/' && place.back() != '\\')) {
        place.push_back('/');
    }
    auto seconds = static_cast<std::uint32_t>(platform::unixTime());
    int number = platform::rand();
    for (int tries = 1;; ++tries) {
        result.FormatLong("%s%s%08X%08X%04X%s", place.c_str(), prefix ? prefix : "",
                          platform::threadId(), seconds, static_cast<unsigned>(number),
                          suffix ? suffix : "");
        number = platform::rand();
        if (!FileExists(result.GetBuffer())) {
            return;
        }
        if (tries % kTriesPerSecond == 0) {
            seconds = static_cast<std::uint32_t>(platform::unixTime());
        }
    }
}

char* RegReadString(const char* root, const char* key, const char* value, const char* defaultText,
                    char* dest, std::size_t size, bool) {
    std::fill_n(dest, size, '\0');
    std::optional<std::string> text = readText(root, key, value);
    if (!text || text->size() + 1 > size) {
        text = defaultText ? defaultText : "";
    }
    if (size > 0) {
        std::copy_n(text->begin(), std::min(text->size(), size - 1), dest);
    }
    return dest;
}

CZncString& RegReadString(const char* root, const char* key, const char* value,
                          const char* defaultText, CZncString& dest, bool) {
    const std::optional<std::string> text = readText(root, key, value);
    return text && text->size() <= kRegStringBytes ? dest.Assign(*text) : dest.Assign(defaultText);
}

}  // namespace tessolt
