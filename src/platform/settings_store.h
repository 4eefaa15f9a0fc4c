/// The settings: one UTF-8 text file with named texts under keys that form a tree.
///
///     # where Queue puts its files
///     [HKEY_LOCAL_MACHINE\Software\Merivane\Tessolt]
///     "Queue"="/var/spool/tessolt"
///     @="text of the key itself"
///
/// A key is a root and a path with "\" between its steps; keys and names ignore ASCII case, and a
/// "\" at the end of a key means nothing. The roots may be written HKLM, HKCR, HKCU and HKU.
/// Inside quotes \" is a quote mark and \\ a backslash; any other backslash stands for itself.
/// Quotes may be left off where the text needs none. Lines that begin with # or ; are comments.
///
/// Writing changes only the lines that it must: comments, order and spacing of everything else stay
/// byte for byte, and deleting what was written restores the file as it was, down to its absence.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class SettingsEditor;

/// The settings file in use: $TESSOLT_SETTINGS, else the first that exists of
/// $XDG_CONFIG_HOME/tessolt/settings (~/.config without that variable) and /etc/tessolt/settings,
/// else the first of these two.
std::string settingsPath();

/// The text of `name` under `key`, or nothing when file, key or name is missing. An empty `name` is
/// the key's own text. Reads the file again only when its path, time or size has changed.
std::optional<std::string> readSetting(std::string_view key, std::string_view name);
/// True when `key`, or a key below it, stands in the file.
bool settingKeyExists(std::string_view key);
/// The names of the keys one step below `key`, in the order of the file, each once.
std::vector<std::string> listSettingKeys(std::string_view key);

/// Makes `key`, empty unless it is there already. False when the file can't be written or the key
/// holds a line break.
bool createSettingKey(std::string_view key);
/// Sets the text, making the key and the file where they are missing. False as above.
bool writeSetting(std::string_view key, std::string_view name, std::string_view text);
/// Removes one text. True when it is gone, also when it never was.
bool deleteSetting(std::string_view key, std::string_view name);
/// Removes a key with its texts and every key below it. True when they are gone.
bool deleteSettingKey(std::string_view key);
/// Makes several changes with one rewrite of the file. False when `change` says so, which leaves
/// the file alone, or when the file can't be written. `change` must not use the functions above.
bool editSettings(const std::function<bool(SettingsEditor&)>& change);

}  // namespace platform
