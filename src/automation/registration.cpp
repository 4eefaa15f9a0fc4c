#include "automation/registration.h"

#include <filesystem>
#include <string>

#include "automation/guid_text.h"
#include "automation/object_map.h"
#include "automation/quelt_module.h"
#include "automation/registrar.h"
#include "automation/registration_scripts.h"
#include "charset/ansi_text.h"
#include "platform/settings_file.h"
#include "platform/settings_store.h"

namespace tessolt {
namespace {

std::string utf8(const OLECHAR* text) {
    return borvik::wideToUtf8Paired(text);
}

/// The library's path, whole, so that it holds from any folder.
std::string absoluteModulePath() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(modulePath(), error);
    return error ? std::string(modulePath()) : path.string();
}

Registrar makeRegistrar() {
    Registrar registrar;
    module().AddCommonRGSReplacements(registrar);
    registrar.addReplacement("MODULE", absoluteModulePath());
    const TypeDescription& library = objectMap().front().description();
    registrar.addReplacement("LIBID", guidText(library.libraryId));
    registrar.addReplacement("LIBRARY", utf8(library.libraryHelp));
    registrar.addReplacement("VERSION", std::to_string(library.libraryMajor) + "." +
                                            std::to_string(library.libraryMinor));
    return registrar;
}

/// Makes the registrar speak of one class and its interface.
void setClass(Registrar& registrar, const TypeDescription& description) {
    registrar.addReplacement("CLASS", utf8(description.className));
    registrar.addReplacement("CLSID", guidText(description.classId));
    registrar.addReplacement("INTERFACE", utf8(description.interfaceName));
    registrar.addReplacement("IID", guidText(description.interfaceId));
}

using platform::SettingsEditor;
using Step = HRESULT (Registrar::*)(SettingsEditor&, std::string_view) const;

/// One way through the scripts on one edit of the settings.
class ScriptRun {
public:
    ScriptRun(SettingsEditor& settings, Step step) : settings_(settings), step_(step) {}

    void application() { run(registrationScript(kApplicationScript)); }
    void classes() {
        for (const ObjectMapEntry& entry : objectMap()) {
            setClass(registrar_, entry.description());
            run(registrationScript(entry.script));
        }
    }
    void typeLibrary() {
        run(kTypeLibraryScript);
        for (const ObjectMapEntry& entry : objectMap()) {
            setClass(registrar_, entry.description());
            run(kInterfaceScript);
        }
    }
    /// The first failure, after which nothing more is run.
    HRESULT status() const { return status_; }

private:
    void run(std::string_view script) {
        if (SUCCEEDED(status_)) {
            status_ = (registrar_.*step_)(settings_, script);
        }
    }

    SettingsEditor& settings_;
    Step step_;
    Registrar registrar_ = makeRegistrar();
    HRESULT status_ = S_OK;
};

/// Changes the settings at once, or not at all when `change` fails.
template <class Change>
HRESULT changeSettings(Step step, Change&& change) {
    HRESULT status = S_OK;
    const bool written = platform::editSettings([&](SettingsEditor& settings) {
        ScriptRun run(settings, step);
        change(run);
        status = run.status();
        return SUCCEEDED(status);
    });
    return written || FAILED(status) ? status : SELFREG_E_CLASS;
}

}  // namespace

HRESULT registerServer() {
    return changeSettings(&Registrar::registerScript, [](ScriptRun& run) {
        run.application();
        run.classes();
        run.typeLibrary();
    });
}

HRESULT unregisterServer() {
    return changeSettings(&Registrar::unregisterScript, [](ScriptRun& run) {
        run.classes();
        run.typeLibrary();
        run.application();
    });
}

}  // namespace tessolt
