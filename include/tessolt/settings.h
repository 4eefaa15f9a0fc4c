/// The settings in use (docs/settings.md). Usable from C11 and C++17. Whoever gets a text frees it.
#pragma once

#include <tessolt/automation_types.h>

/// The path of the settings file in use, whether there is one or not. Null when memory ends.
TESSOLT_API BSTR TessoltSettingsPath(void);
/// Path of that file and why it can't be used, empty when it can. Null when memory ends.
TESSOLT_API BSTR TessoltSettingsTrouble(void);
/// The text of a value under a key, both in ASCII. Null when there is none, or memory ends.
TESSOLT_API BSTR TessoltReadSetting(const char* key, const char* name);
