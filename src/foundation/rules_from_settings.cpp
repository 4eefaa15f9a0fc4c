#include "foundation/rules_from_settings.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "base/ascii_text.h"
#include "platform/settings_store.h"

namespace tessolt {
namespace {

constexpr const char* kSettingsKey = "HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt";

bool isSetTo(const platform::SettingsState& settings, const char* name, std::string_view text) {
    const std::string setting = settings.text(kSettingsKey, name).value_or(std::string());
    return borvik::equalsNoCase(borvik::trimmed(setting), text);
}

MailRules adjusted(MailRules rules, const platform::SettingsState& settings) {
    if (isSetTo(settings, "AllowPlainText", "1")) {
        rules.secretsNeedTls = false;
    }
    if (const auto verify = settings.text(kSettingsKey, "VerifyServer")) {
        rules.verifyServer = platform::isSwitchedOn(*verify);
    }
    return rules;
}

MailRules rulesOf(const platform::SettingsState& settings) {
    // Nobody knows what settings that can't be read would ask for: the safe rules hold then.
    const bool current = !settings.trouble.empty() || isSetTo(settings, "Rules", "current");
    return adjusted(current ? MailRules::current() : MailRules::classic(), settings);
}

}  // namespace

MailRules rulesFromSettings() {
    // Objects are made far more often than settings change. What a thread keeps needs no end of its
    // own, which would hold the library in the process until then.
    thread_local std::uint64_t known = 0;
    thread_local MailRules rules;
    const auto settings = platform::currentSettings();
    if (settings->number != known) {
        rules = rulesOf(*settings);
        known = settings->number;
    }
    return rules;
}

MailRules withSingleSettings(MailRules rules) {
    return adjusted(rules, *platform::currentSettings());
}

}  // namespace tessolt
