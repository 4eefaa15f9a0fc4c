#include <optional>
#include <string>

#include "automation/registrar.h"
#include "harness.h"
#include "platform/settings_file.h"

namespace fuzz {
namespace {

/// What was entered can be read.
void checkContent(const platform::SettingsEditor& editor) {
    const std::string content = editor.result().value_or(std::string());
    require(platform::SettingsIndex(content).fault().empty());
}

}  // namespace

/// Enters the script into settings, twice, and removes it.
void fuzzRegistrationScript(Input input) {
    tessolt::Registrar registrar;
    registrar.addReplacement("MODULE", "/usr/lib/a 'quoted' module.so");
    registrar.addReplacement("CLSID", "{00000000-0000-0000-0000-000000000000}");
    const std::string_view script = input.rest();
    const auto roots = registrar.parse(script);
    platform::SettingsEditor editor(std::nullopt);
    const HRESULT first = registrar.registerScript(editor, script);
    require(roots.has_value() == (first != E_FAIL));
    if (first == S_OK) {
        checkContent(editor);
        require(registrar.registerScript(editor, script) == S_OK);
        checkContent(editor);
    }
    const HRESULT removed = registrar.unregisterScript(editor, script);
    require(roots.has_value() == (removed == S_OK));
}

}  // namespace fuzz
