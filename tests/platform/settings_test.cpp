#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/code_page.h"
#include "platform/file_system.h"
#include "platform/settings_file.h"
#include "platform/settings_store.h"
#include "support/process_memory.h"
#include "support/scoped_settings.h"
#include "support/temporary_folder.h"

namespace platform {
namespace {

using support::ScopedEnv;
using support::TemporaryFolder;
using support::writeSetting;
using namespace std::chrono_literals;

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
    const struct {
        const char *key, *name;
        std::optional<std::string> text;
    } cases[] = {{"HKEY_LOCAL_MACHINE\\Software\\Sample", "Queue", "/var/spool/q"},
                 {"hklm\\SOFTWARE\\\\sample\\", "QUEUE", "/var/spool/q"},
                 {"HKLM\\Software\\Sample", "bare", "text with blanks"},
                 {"HKLM\\Software\\Sample", "Esc \"q\"", "C:\\new\\dir \" end"},
                 {"HKLM\\Software\\Sample", "", "own"},
                 {"HKLM\\Software\\Sample", "Off", std::nullopt},
                 {"HKLM\\Software\\Sample", "outside", std::nullopt},
                 {"HKLM\\Software", "Queue", std::nullopt},
                 {"HKEY_CLASSES_ROOT\\Sample.Other", "", ""},
                 {"", "outside", std::nullopt}};
    for (const auto& c : cases) {
        const std::string* found = index.find(c.key, c.name);
        EXPECT_EQ(found ? std::optional(*found) : std::nullopt, c.text) << c.key << "|" << c.name;
    }
    EXPECT_EQ(index.keysBelow("HKCR"), (std::vector<std::string>{"Sample.Thing", "Sample.Other"}));
}

TEST(SettingsIndex, SwitchesAreOnUnlessTheTextSaysOff) {
    for (const char* off :
         {"", " ", "0", " 0\t", "no", "Off", "FALSE", "dword:0", "DWORD:00000000"}) {
        EXPECT_FALSE(isSwitchedOn(off)) << off;
    }
    for (const char* on : {"1", "true", "yes", " 1", "01", "00", "dword:00000001",
                           "dword:", "1 ; comment", "0 ; comment", "-", "\"0\""}) {
        EXPECT_TRUE(isSwitchedOn(on)) << on;
    }
}

TEST(SettingsIndex, TellsWhichLineItCannotRelyOn) {
    const std::string key = "[HKLM\\K]\n";
    const std::pair<std::string, const char*> cases[] = {
        {"", ""},
        {"\xEF\xBB\xBF# comment \xE9\n" + key + "\"n\"=\"\xC3\xA9\xF0\x9F\x98\x80\"\n", ""},
        {"A title\n\n" + key + "; note\nn=1\n", ""},
        {key + "\nn 1\n", "line 3 can't be read"},
        {"# a\n \t[HKLM\\K\nn=1\n", "line 2 can't be read"},
        {"n=1\n" + key + "no\n", "line 1 stands in front of the first key"},
        {"[HKLM\\K]\r\"n\"=\"1\"\r", "line 1 holds a control character"},
        {"# note\r[HKLM\\K]\rn=1\r", "line 1 holds a control character"},
        {"[HKLM\\K] n=1 ]", "line 1 can't be read"},
        {"[ hklm\\K ] ; see [x]\nn=1", ""},
        {"[HKLM/K]\nn=1", "line 1 can't be read"},
        {key + "\u00A0\"n\"=1", "line 2 can't be read"},
        {key + "n=\xE9", "line 2 is no UTF-8 text"},
        {key + "n=\xED\xA0\x80", "line 2 is no UTF-8 text"},
        {key + "n=\xF4\x90\x80\x80", "line 2 is no UTF-8 text"},
        {std::string("\xFF\xFE[\0H\0", 6), "line 1 is no UTF-8 text"}};
    for (const auto& [content, fault] : cases) {
        EXPECT_EQ(SettingsIndex(content).fault(), fault) << content;
    }
}

TEST(SettingsEditor, DeletingWhatWasWrittenRestoresEveryByte) {
    const std::optional<std::string> starts[] = {
        std::nullopt,
        "",
        "\n",
        "# only a comment",
        "# comment\n\n\n",
        kSample,
        "\xEF\xBB\xBF",
        "\xEF\xBB\xBF[HKCR\\Mine]\n\"kept\"=\"1\"\n",
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
        EXPECT_EQ(index.keysBelow("HKCR\\New"), (std::vector<std::string>{"Sub", "Empty"}));

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
    EXPECT_TRUE(editor.write("HKLM\\a \\", "X", "one"));
    EXPECT_FALSE(editor.write("HKLM\\A", "n", "two\nlines"));
    EXPECT_FALSE(editor.write("HKLM\\A", std::string_view("n\0", 2), "t"));
    EXPECT_FALSE(editor.createKey("HKLM\\A]\n[B"));
    EXPECT_FALSE(editor.createKey(""));
    EXPECT_FALSE(editor.createKey("HKXX\\A"));
    EXPECT_FALSE(editor.write("HKLM\\A", "n", "\xE4"));
    EXPECT_FALSE(editor.write("HKLM\\A", "\xE4", "t"));
    EXPECT_FALSE(editor.createKey("HKLM\\\xE4"));
    EXPECT_FALSE(SettingsEditor(std::string("\xFF\xFE[\0", 4)).createKey("HKLM\\A"));
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

TEST(SettingsStore, AProgramWithMoreRightsThanItsUserTakesNoWordFromHim) {
    if (geteuid() != 0 || support::kKeepsFreedMemory) {
        GTEST_SKIP() << "needs root, and a runtime that starts with such rights";
    }
    constexpr gid_t kOtherGroup = 65534;
    const TemporaryFolder folder;
    const std::string copy = folder.file("copy");
    std::filesystem::copy_file("/proc/self/exe", copy);
    ASSERT_EQ(chown(copy.c_str(), 0, kOtherGroup), 0);
    const std::string command =
        copy + " --gtest_filter=SettingsStore.LooksForItsFileInThreePlaces >/dev/null 2>&1";
    for (const mode_t mode : {0755, 02755}) {
        ASSERT_EQ(chmod(copy.c_str(), mode), 0);
        EXPECT_EQ(std::system(command.c_str()) != 0, mode != 0755);
    }
}

TEST(SettingsStore, EditsTheFileAndLeavesNoneBehind) {
    const TemporaryFolder folder;
    const std::string path = folder.file("deep/settings");
    const ScopedEnv given("TESSOLT_SETTINGS", path.c_str());
    EXPECT_FALSE(readSetting("HKLM\\K", "n"));
    for (const char* text : {"first", "other"}) {
        EXPECT_TRUE(writeSetting("HKLM\\K", "n", text));
        EXPECT_EQ(readSetting("HKLM\\K", "n"), text);
    }
    EXPECT_TRUE(editSettings([](SettingsEditor& editor) {
        editor.removeKey("HKLM\\K");
        return true;
    }));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("deep")));
    EXPECT_FALSE(readSetting("HKLM\\K", "n"));

    folder.write("file", "");
    const ScopedEnv blocked("TESSOLT_SETTINGS", folder.file("file/settings").c_str());
    EXPECT_FALSE(writeSetting("HKLM\\K", "n", "x"));
}

TEST(SettingsStore, AFileThatCannotBeUsedKeepsWhatItSaidLast) {
    const TemporaryFolder folder;
    const std::string path = folder.file("settings");
    const auto remove = [&] { std::filesystem::remove(path); };
    struct Case {
        std::function<void()> spoil;
        std::string reason;
    };
    const Case cases[] = {
        {remove, errorText(ENOENT)},
        {[&] { remove(), std::filesystem::create_directory(path); }, errorText(EISDIR)},
        {[&] { remove(), mkfifo(path.c_str(), 0600); }, errorText(EINVAL)},
        {[&] { remove(), std::filesystem::create_symlink(path, path); }, errorText(ELOOP)},
        {[&] { folder.write("settings", "[HKLM\\K]\nn\n"); }, "line 2 can't be read"}};
    for (const Case& c : cases) {
        remove();
        folder.write("settings", "[HKLM\\K]\nn=1\n");
        const ScopedEnv given("TESSOLT_SETTINGS", path.c_str());
        refreshSettings();
        EXPECT_EQ(currentSettings()->trouble, "");
        c.spoil();
        refreshSettings();
        EXPECT_EQ(currentSettings()->trouble, path + ": " + c.reason);
        EXPECT_EQ(readSetting("HKLM\\K", "n"), "1");
        remove();
        folder.write("settings", "[HKLM\\K]\nn=2\n");
        EXPECT_EQ(readSetting("HKLM\\K", "n"), "2") << "a failure is looked at again";
    }
}

TEST(SettingsStore, LooksOnceInASecondAndTakesNoHalfFile) {
    const TemporaryFolder folder;
    const std::string path = folder.write("settings", "[HKLM\\K]\nn=1\n");
    const ScopedEnv given("TESSOLT_SETTINGS", path.c_str());
    const auto age = [&](std::chrono::milliseconds time) {
        std::filesystem::last_write_time(path,
                                         std::filesystem::file_time_type::clock::now() - time);
    };
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "1");
    folder.write("settings", "[HKLM\\K]\nn=2\n");
    age(1h);
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "1") << "within the second";
    std::this_thread::sleep_for(1100ms);
    // Somebody writes: first nothing stands there, then a part.
    for (const char* part : {"", "[HKLM\\K]"}) {
        folder.write("settings", part);
        age(5ms);
        EXPECT_EQ(readSetting("HKLM\\K", "n"), "1") << part;
    }
    folder.write("settings", "[HKLM\\K]\nn=2\n");
    age(1h);
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "2");
}

TEST(SettingsStore, WaitsAtTheFirstLookForAFileThatIsBeingReplaced) {
    const TemporaryFolder folder;
    const ScopedEnv none("TESSOLT_SETTINGS", nullptr);
    const ScopedEnv config("XDG_CONFIG_HOME", folder.path().c_str());
    std::filesystem::create_directories(folder.file("tessolt"));
    std::thread writer([&] {
        std::this_thread::sleep_for(20ms);
        folder.write("tessolt/settings", "[HKLM\\K]\nn=1\n");
    });
    EXPECT_EQ(readSetting("HKLM\\K", "n"), "1");
    writer.join();
}

TEST(CodePage, ComesFromTheSettingsWhenLegal) {
    const TemporaryFolder folder;
    const std::string path = folder.file("settings");
    const ScopedEnv given("TESSOLT_SETTINGS", path.c_str());
    const struct {
        const char *acp, *oemcp;
        std::uint32_t ansi, oem;
    } cases[] = {{"1252", "850", 1252, 850},  {"932", "1", 932, 437},
                 {"1200", "", 65001, 437},    {"1251x", "866", 65001, 866},
                 {"51932", "-1", 65001, 437}, {"99999999999", "437", 65001, 437},
                 {"1047", "437", 65001, 437}, {"20106", "437", 65001, 437}};
    for (const auto& c : cases) {
        folder.write("settings",
                     "[HKLM\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage]\n\"ACP\"=\"" +
                         std::string(c.acp) + "\"\n\"OEMCP\"=\"" + c.oemcp + "\"\n");
        reloadCodePages();
        EXPECT_EQ(GetACP(), c.ansi) << c.acp;
        EXPECT_EQ(GetOEMCP(), c.oem) << c.oemcp;
        EXPECT_EQ(ansiPageProblem().find(path + ": \"ACP\"=\"" + c.acp) == 0, c.ansi == 65001);
    }
    {
        const ScopedAnsiCodePage page(1251);
        EXPECT_EQ(GetACP(), 1251u);
    }
    folder.write("settings", "");
    reloadCodePages();
    EXPECT_EQ(GetACP(), 65001u);
    EXPECT_EQ(ansiPageProblem(), "");
}

}  // namespace
}  // namespace platform
