#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/code_page.h"
#include "platform/settings_file.h"
#include "platform/settings_store.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace platform {
namespace {

using support::ScopedEnv;
using support::TemporaryFolder;

constexpr const char* kSample =
    "# places\n"
    "\"outside\"=\"lost\"\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Sample\\]\n"
    "\"Queue\"=\"/var/spool/q\"\r\n"
    "Bare = text with blanks \n"
    "; \"Off\"=\"x\"\n"
    "\"Esc \\\"q\\\"\"=\"C:\\new\\\\dir \\\" end\" trailing\n"
    "@=\"own\"\n"
    "\"queue\"=\"second\"\n"
    "no value here\n"
    "[hkcr\\Sample.Thing\\CurVer]\n"
    "[HKCR\\Sample.Other]\n"
    "@=\n";

TEST(SettingsIndex, ReadsEveryFormOfLine) {
    const SettingsIndex index(kSample);
    struct Case {
        const char *key, *name;
        std::optional<std::string> text;
    };
    const Case cases[] = {{"HKEY_LOCAL_MACHINE\\Software\\Sample", "Queue", "/var/spool/q"},
                          {"hklm\\SOFTWARE\\\\sample\\", "QUEUE", "/var/spool/q"},
                          {"HKLM\\Software\\Sample", "bare", "text with blanks"},
                          {"HKLM\\Software\\Sample", "Esc \"q\"", "C:\\new\\dir \" end"},
                          {"HKLM\\Software\\Sample", "", "own"},
                          {"HKLM\\Software\\Sample", "Off", std::nullopt},
                          {"HKLM\\Software\\Sample", "outside", std::nullopt},
                          {"HKLM\\Software", "Queue", std::nullopt},
                          {"HKEY_CLASSES_ROOT\\Sample.Other", "", ""},
                          {"", "outside", std::nullopt}};
    for (const Case& c : cases) {
        const std::string* found = index.find(c.key, c.name);
        EXPECT_EQ(found ? std::optional(*found) : std::nullopt, c.text) << c.key << "|" << c.name;
    }
    EXPECT_TRUE(index.hasKey("HKCR\\sample.thing"));
    EXPECT_FALSE(index.hasKey("HKCR\\Sample"));
    EXPECT_EQ(index.keysBelow("HKCR"), (std::vector<std::string>{"Sample.Thing", "Sample.Other"}));
}

TEST(SettingsEditor, DeletingWhatWasWrittenRestoresEveryByte) {
    const std::optional<std::string> starts[] = {
        std::nullopt,
        "",
        "\n",
        "# only a comment",
        "# comment\n\n\n",
        kSample,
        "[HKCR\\Mine]\n\"kept\"=\"1\"",
        "[HKCR\\Mine]\n\n[HKCR\\Last]\n\"kept\"=\"1\"\n\n# end"};
    for (const auto& start : starts) {
        SettingsEditor editor(start);
        const bool hadMine = start && start->find("Mine") != std::string::npos;
        const char* const written[][3] = {{"HKCR\\New", "", "a \"b\" \\c"},
                                          {"HKCR\\New\\Sub", "N", "v"},
                                          {"HKCR\\New", "SECOND", "y"},
                                          {hadMine ? "HKCR\\Mine" : "HKCR\\New", "added", "z"}};
        EXPECT_TRUE(editor.write("HKCR\\New", "second", "x"));
        for (const auto& [key, name, text] : written) {
            EXPECT_TRUE(editor.write(key, name, text));
        }
        EXPECT_TRUE(editor.createKey("HKCR\\New\\Empty"));
        EXPECT_TRUE(editor.createKey("HKCR\\Another"));
        const SettingsIndex index(editor.result().value_or("nothing"));
        for (const auto& [key, name, text] : written) {
            const std::string* found = index.find(key, name);
            EXPECT_EQ(found ? *found : "missing", text) << key;
        }
        EXPECT_TRUE(index.hasKey("HKCR\\New\\Empty"));

        // The undoing starts from the file, as another process would.
        SettingsEditor undo(editor.result());
        undo.removeKey("HKCR\\New");
        undo.removeKey("HKCR\\Another");
        if (hadMine) {
            undo.remove("HKCR\\Mine", "added");
        }
        EXPECT_EQ(undo.result(), start) << start.value_or("missing");
    }
}

TEST(SettingsEditor, ChangesAValueInItsPlaceAndRefusesWhatNoLineHolds) {
    SettingsEditor editor(std::string("[HKLM\\A]\r\n\"x\"=\"1\"\r\n\"y\"=\"2\"\r\n"));
    EXPECT_TRUE(editor.write("HKLM\\a", "X", "one"));
    EXPECT_FALSE(editor.write("HKLM\\A", "n", "two\nlines"));
    EXPECT_FALSE(editor.write("HKLM\\A", std::string_view("n\0", 2), "t"));
    EXPECT_FALSE(editor.createKey("HKLM\\A]\n[B"));
    EXPECT_FALSE(editor.createKey(""));
    EXPECT_EQ(editor.result(), "[HKLM\\A]\r\n\"X\"=\"one\"\r\n\"y\"=\"2\"\r\n");
}

TEST(SettingsStore, LooksForItsFileInThreePlaces) {
    const TemporaryFolder folder;
    const std::string own = folder.path() + "/tessolt/settings";
    const ScopedEnv config("XDG_CONFIG_HOME", folder.path().c_str());
    const ScopedEnv home("HOME", "/home/nobody");
    {
        const ScopedEnv given("TESSOLT_SETTINGS", "/some/file");
        EXPECT_EQ(settingsPath(), "/some/file");
    }
    const ScopedEnv none("TESSOLT_SETTINGS", nullptr);
    EXPECT_EQ(settingsPath(),
              std::filesystem::exists("/etc/tessolt/settings") ? "/etc/tessolt/settings" : own);
    std::filesystem::create_directories(folder.path() + "/tessolt");
    folder.write("tessolt/settings", "");
    EXPECT_EQ(settingsPath(), own);
}

TEST(SettingsStore, SeesEachChangeAndLeavesNoFileBehind) {
    const TemporaryFolder folder;
    const std::string path = folder.file("deep/settings");
    const ScopedEnv given("TESSOLT_SETTINGS", path.c_str());
    EXPECT_FALSE(readSetting("HKLM\\K", "n"));
    EXPECT_TRUE(writeSetting("HKLM\\K", "n", "first"));
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "first");
    EXPECT_TRUE(writeSetting("HKLM\\K", "n", "other"));
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "other");
    folder.write("deep/settings", "[HKLM\\K]\n\"n\"=\"third\"\n");
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "third");
    EXPECT_TRUE(createSettingKey("HKLM\\K\\Below"));
    EXPECT_EQ(listSettingKeys("HKLM\\K"), std::vector<std::string>{"Below"});
    EXPECT_TRUE(deleteSettingKey("HKLM\\K\\Below"));
    EXPECT_FALSE(settingKeyExists("HKLM\\K\\Below"));
    EXPECT_TRUE(deleteSetting("HKLM\\K", "missing"));
    EXPECT_EQ(TemporaryFolder::read(path), "[HKLM\\K]\n\"n\"=\"third\"\n");

    const std::string second = folder.file("made/settings");
    const ScopedEnv other("TESSOLT_SETTINGS", second.c_str());
    EXPECT_FALSE(readSetting("HKLM\\K", "n"));
    EXPECT_TRUE(writeSetting("HKCR\\X\\Y", "", "t"));
    EXPECT_TRUE(deleteSettingKey("HKCR\\X"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("made")));

    folder.write("file", "");
    const ScopedEnv blocked("TESSOLT_SETTINGS", folder.file("file/settings").c_str());
    EXPECT_FALSE(writeSetting("HKLM\\K", "n", "x"));
}

TEST(CodePage, ComesFromTheSettingsWhenLegal) {
    const TemporaryFolder folder;
    const std::string path = folder.file("settings");
    const ScopedEnv given("TESSOLT_SETTINGS", path.c_str());
    struct Case {
        const char *acp, *oemcp;
        std::uint32_t ansi, oem;
    };
    const Case cases[] = {{"65001", "850", 65001, 850}, {"932", "1", 932, 437},
                          {"1200", "", 1252, 437},      {"1251x", "866", 1252, 866},
                          {"51932", "-1", 1252, 437},   {"99999999999", "437", 1252, 437}};
    for (const Case& c : cases) {
        folder.write("settings",
                     "[HKLM\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage]\n\"ACP\"=\"" +
                         std::string(c.acp) + "\"\n\"OEMCP\"=\"" + c.oemcp + "\"\n");
        reloadCodePages();
        EXPECT_EQ(GetACP(), c.ansi) << c.acp;
        EXPECT_EQ(GetOEMCP(), c.oem) << c.oemcp;
    }
    {
        const ScopedAnsiCodePage page(1251);
        EXPECT_EQ(GetACP(), 1251u);
    }
    EXPECT_EQ(GetACP(), 1252u);
    reloadCodePages();
}

}  // namespace
}  // namespace platform
