/// Runs registration scripts on the settings, in an edit that its caller has begun.
///
/// A script is a tree of keys under a root:
///
///     HKCR
///     {
///         NoRemove CLSID
///         {
///             ForceRemove '{...}' = s 'Smtp Class'
///             {
///                 InprocServer32 = s '%MODULE%'
///                 {
///                     val ThreadingModel = s 'Apartment'
///                 }
///             }
///         }
///     }
///
/// `= s` gives a key its text, `val` names a value of the key around it. Quotes may be left off a
/// word without blanks, braces, "=" or quotes; inside quotes '' is one quote. %NAME% stands for a
/// replacement.
#pragma once

#include <tessolt/automation_types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {
class SettingsEditor;
}

namespace tessolt {

/// One key of a script, with what stands in it.
struct ScriptKey {
    struct Value {
        std::string name;
        std::string text;
    };

    std::string name;
    bool noRemove = false;     ///< unregistering leaves it
    bool forceRemove = false;  ///< goes with all that it holds, also before registering
    std::optional<std::string> text;
    std::vector<Value> values;
    std::vector<ScriptKey> keys;
};

class Registrar {
public:
    /// From now on %`name`% stands for `text` wherever a script names or sets something.
    void addReplacement(std::string name, std::string text);

    /// Enters what the script tells. E_FAIL for a script that can't be read, which changes nothing;
    /// SELFREG_E_CLASS for a name or text that the settings can't hold.
    HRESULT registerScript(platform::SettingsEditor& settings, std::string_view script) const;
    /// Removes it again: values, texts, and keys that hold no other key by then.
    HRESULT unregisterScript(platform::SettingsEditor& settings, std::string_view script) const;

    /// The roots of a script with replacements made; nothing when it can't be read.
    std::optional<std::vector<ScriptKey>> parse(std::string_view script) const;

private:
    std::map<std::string, std::string, std::less<>> replacements_;
};

}  // namespace tessolt
