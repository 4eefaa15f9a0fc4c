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
///
/// The file is looked up at most once in a second, so that a change counts within a second. A file
/// that is there and can't be used never reads as one that says nothing: what was read from it last
/// stays, `SettingsState::trouble` tells why, and each look-up tries again.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/settings_file.h"

namespace platform {

/// The settings file in use: $TESSOLT_SETTINGS, else the first that exists of
/// $XDG_CONFIG_HOME/tessolt/settings (~/.config without that variable) and /etc/tessolt/settings,
/// else the first of these two. A program with more rights than its user looks at the last only.
std::string settingsPath();

/// What the settings say at one moment.
struct SettingsState {
    SettingsIndex index;
    /// Path of the file and why it can't be used; empty when it can, or when there is none.
    /// $TESSOLT_SETTINGS must name a file.
    std::string trouble;
    /// Of this state alone; never 0.
    std::uint64_t number = 0;

    /// The text of `name` under `key`, or nothing when key or name is missing. An empty `name` is
    /// the key's own text.
    std::optional<std::string> text(std::string_view key, std::string_view name) const;
};

/// The settings in use, never null. Whoever needs several texts that fit each other, or has to know
/// of trouble, takes them from one state.
std::shared_ptr<const SettingsState> currentSettings();
/// One text of the settings in use.
std::optional<std::string> readSetting(std::string_view key, std::string_view name);
/// Has the next look-up read the file, whenever the last one was.
void refreshSettings();

/// Makes several changes with one rewrite of the file. False when `change` says so, which leaves
/// the file alone, or when the file can't be written. `change` must not use the functions above.
bool editSettings(const std::function<bool(SettingsEditor&)>& change);

}  // namespace platform
