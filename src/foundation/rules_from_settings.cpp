#include "foundation/rules_from_settings.h"

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

}  // namespace

MailRules rulesFromSettings() {
    const auto settings = platform::currentSettings();
    // Nobody knows what settings that can't be read would ask for: the safe rules hold then.
    const bool current = !settings->trouble.empty() || isSetTo(*settings, "Rules", "current");
    return withSingleSettings(current ? MailRules::current() : MailRules::classic());
}

MailRules withSingleSettings(MailRules rules) {
    const auto settings = platform::currentSettings();
    if (isSetTo(*settings, "AllowPlainText", "1")) {
        rules.secretsNeedTls = false;
    }
    if (const auto verify = settings->text(kSettingsKey, "VerifyServer")) {
        rules.verifyServer = platform::isSwitchedOn(*verify);
    }
    return rules;
}

}  // namespace tessolt
