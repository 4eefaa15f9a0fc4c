#include "platform/settings_file.h"

#include <string>

#include "harness.h"

namespace fuzz {
namespace {

using platform::SettingsEditor;
using platform::SettingsIndex;

/// What is written can be read, nothing else changes, and its removal brings back what was.
void checkEditing(const std::string& content, const std::string& key, const std::string& name,
                  const std::string& text) {
    const SettingsIndex before(content);
    SettingsEditor editor(content);
    if (!editor.write(key, name, text)) {
        return;
    }
    const SettingsIndex after(editor.result().value_or(std::string()));
    const std::string* found = after.find(key, name);
    require(found != nullptr && *found == text);
    require(!before.fault().empty() || after.fault().empty());
    const std::size_t keys = before.keysBelow("HKLM").size();
    require(after.keysBelow("HKLM").size() <= keys + 1);

    SettingsEditor twice(editor.result());
    require(twice.write(key, name, text));
    require(twice.result() == editor.result());

    editor.remove(key, name);
    const SettingsIndex removed(editor.result().value_or(std::string()));
    require(removed.find(key, name) == nullptr);
    editor.removeKey(key);
    const auto remaining = SettingsIndex(editor.result().value_or(std::string())).keysBelow(key);
    require(remaining.empty());
}

}  // namespace

/// Reads the bytes as settings, and enters a text; the three last pieces are key, name and text.
void fuzzSettingsFile(Input input) {
    const std::string text(input.piece());
    const std::string name(input.piece());
    const std::string key(input.piece());
    const std::string content(input.rest());
    const SettingsIndex index(content);
    index.find("HKLM\\Software\\Merivane\\Tessolt", "Queue");
    platform::isSwitchedOn(text);
    const std::string normal = platform::normalisedKey(key);
    require(platform::normalisedKey(normal) == normal);
    checkEditing(content, key, name, text);
    checkEditing(content, "HKLM\\Software\\Merivane\\Tessolt", "Queue", text);
}

}  // namespace fuzz
