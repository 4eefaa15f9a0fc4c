#include "automation/registration.h"

#include <filesystem>
#include <string>

#include "automation/guid_text.h"
#include "automation/object_map.h"
#include "automation/quelt_module.h"
#include "automation/registrar.h"
#include "automation/registration_scripts.h"
#include "charset/ansi_text.h"

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

using Step = HRESULT (Registrar::*)(std::string_view) const;

/// Keeps the first failure.
void note(HRESULT& status, HRESULT next) {
    status = FAILED(status) ? status : next;
}

HRESULT runTypeLibrary(Registrar& registrar, Step step) {
    HRESULT status = (registrar.*step)(kTypeLibraryScript);
    for (const ObjectMapEntry& entry : objectMap()) {
        setClass(registrar, entry.description());
        note(status, (registrar.*step)(kInterfaceScript));
    }
    return status;
}

}  // namespace

HRESULT registerServer() {
    Registrar registrar = makeRegistrar();
    HRESULT status = registrar.registerScript(registrationScript(kApplicationScript));
    for (const ObjectMapEntry& entry : objectMap()) {
        if (FAILED(status)) {
            return status;
        }
        setClass(registrar, entry.description());
        status = registrar.registerScript(registrationScript(entry.script));
    }
    return FAILED(status) ? status : runTypeLibrary(registrar, &Registrar::registerScript);
}

HRESULT unregisterServer() {
    Registrar registrar = makeRegistrar();
    HRESULT status = S_OK;
    for (const ObjectMapEntry& entry : objectMap()) {
        setClass(registrar, entry.description());
        note(status, registrar.unregisterScript(registrationScript(entry.script)));
    }
    note(status, runTypeLibrary(registrar, &Registrar::unregisterScript));
    note(status, registrar.unregisterScript(registrationScript(kApplicationScript)));
    return status;
}

}  // namespace tessolt
