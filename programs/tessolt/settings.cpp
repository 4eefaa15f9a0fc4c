#include <tessolt/settings.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "commands.h"
#include "default_settings.h"
#include "exit_codes.h"
#include "files.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

constexpr const char* kKey = "HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt";
constexpr const char* kPageKey =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";

struct Setting {
    const char* key;
    const char* name;
    const char* meaning;
    const char* missing;  ///< What counts without it.
};

constexpr Setting kSettings[] = {
    {kKey, "Rules", "the rules of the objects: current or classic; this program's are current",
     "classic"},
    {kKey, "Queue", "the folder into which messages are queued", "the root folder"},
    {kKey, "AllowPlainText", "1: passwords may go without TLS", "they may not"},
    {kKey, "VerifyServer", "1: check certificates; 0: don't", "as the rules have it"},
    {kKey, "TrustFile", "certificates to trust instead of the system's", "the system's"},
    {kKey, "ClientCertificates", "folder with certificates to show to servers", "none"},
    {kPageKey, "ACP", "the code page of 8-bit text", "65001 (UTF-8)"},
    {kPageKey, "OEMCP", "the OEM code page", "437"},
};

struct SettingsArguments {
    std::string target;
    bool isReplacing = false;
    bool isJson = false;
};

int showSettings(const SettingsArguments& arguments) {
    const std::string path = taken(TessoltSettingsPath());
    const std::string trouble = taken(TessoltSettingsTrouble());
    std::error_code error;
    const bool isThere = std::filesystem::exists(path, error);
    Json data = {
        {"file", path}, {"exists", isThere}, {"trouble", trouble}, {"values", Json::array()}};
    std::string lines =
        "The settings file is " + printable(path) + (isThere ? ".\n" : ", which isn't there.\n");
    for (const Setting& setting : kSettings) {
        const BSTR text = TessoltReadSetting(setting.key, setting.name);
        const bool isSet = text != nullptr;
        const std::string value = taken(text);
        data["values"].push_back({{"key", setting.key},
                                  {"name", setting.name},
                                  {"value", isSet ? Json(value) : Json()},
                                  {"default", setting.missing},
                                  {"meaning", setting.meaning}});
        lines += std::string(setting.name) + " = " +
                 (isSet ? printable(value) : "(not set: " + std::string(setting.missing) + ")") +
                 "\n    " + setting.meaning + "\n";
    }
    if (arguments.isJson) {
        printJson(data);
    } else {
        print(lines);
    }
    if (!trouble.empty()) {
        complain("it can't be used: " + trouble);
    }
    return trouble.empty() ? kDone : kFile;
}

/// The user's own file.
std::string usersFile() {
    const char* folder = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    if (folder == nullptr && home == nullptr) {
        throw Problem{kWrongUse, "there is no home folder: name a file"};
    }
    return (folder != nullptr ? std::string(folder) : std::string(home) + "/.config") +
           "/tessolt/settings";
}

int initSettings(const SettingsArguments& arguments) {
    const std::filesystem::path target =
        std::filesystem::absolute(arguments.target.empty() ? usersFile() : arguments.target);
    std::error_code error;
    if (std::filesystem::exists(target, error) && !arguments.isReplacing) {
        throw Problem{kFile,
                      target.string() + " is there already: name another file, or say --replace"};
    }
    makeFolder(target.parent_path());
    std::filesystem::remove(target, error);
    const std::filesystem::path written =
        writeDurably(target.parent_path(), target.filename().string(), kDefaultSettings);
    print("wrote " + printable(written.string()) + "\n");
    return kDone;
}

}  // namespace

void addSettings(CLI::App& program, Action& chosen) {
    CLI::App* command = program.add_subcommand(
        "settings", "Show which settings file is read, each value and what it means");
    const auto arguments = std::make_shared<SettingsArguments>();
    command->add_flag("--json", arguments->isJson, "As JSON");
    CLI::App* init = command->add_subcommand("init", "Write a file with comments to begin with");
    init->add_option("file", arguments->target, "The file; without one, the user's own")
        ->type_name("FILE");
    init->add_flag("--replace", arguments->isReplacing, "Take the place of a file that is there");
    command->callback([arguments, init, &chosen] {
        const bool isInit = init->parsed();
        chosen = [arguments, isInit] {
            return isInit ? initSettings(*arguments) : showSettings(*arguments);
        };
    });
}

}  // namespace tessolt::shell
