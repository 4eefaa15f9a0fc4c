#pragma once

#include <string>

#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace support {

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
