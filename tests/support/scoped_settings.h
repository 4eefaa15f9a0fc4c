#pragma once

#include <string>

#include "platform/settings_store.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace support {

/// Changes one text of the settings file in use, which it makes where there is none.
inline bool writeSetting(const char* key, const std::string& name, const std::string& text) {
    return platform::editSettings(
        [&](platform::SettingsEditor& editor) { return editor.write(key, name, text); });
}

/// The settings of this system for the scope of a test: lines of the form "name"="text".
class ScopedSettings {
public:
    explicit ScopedSettings(const std::string& lines) {
        folder_.write("settings", "[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n" + lines);
    }

private:
    TemporaryFolder folder_;
    ScopedEnv name_{"TESSOLT_SETTINGS", folder_.file("settings").c_str()};
};

}  // namespace support
