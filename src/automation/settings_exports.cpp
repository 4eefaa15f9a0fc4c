/// What the public headers tell of the settings.
#include <tessolt/settings.h>

#include "automation/results.h"
#include "platform/settings_store.h"

BSTR TessoltSettingsPath() {
    return tessolt::allocUtf8(platform::settingsPath());
}

BSTR TessoltSettingsTrouble() {
    return tessolt::allocUtf8(platform::currentSettings()->trouble);
}

BSTR TessoltReadSetting(const char* key, const char* name) {
    const auto text = platform::readSetting(key, name);
    return text ? tessolt::allocUtf8(*text) : nullptr;
}
