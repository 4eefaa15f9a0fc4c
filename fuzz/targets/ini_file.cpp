#include "platform/ini_file.h"

#include <string>
#include <vector>

#include "harness.h"

namespace fuzz {

/// Reads the bytes as an INI file, changes it, saves it, and reads what was saved.
void fuzzIniFile(Input input) {
    constexpr std::uint32_t kDefault = 7;
    const std::string section(input.piece());
    const std::string key(input.piece());
    const std::string value(input.piece());
    const std::string path = scratchFile("list.ini", input.rest());
    platform::IniFile file(path);
    const std::uint32_t number = file.number(section, key, kDefault);
    require(!file.section(section).empty() || number == kDefault);
    const std::vector<std::string> other = file.section("other");
    file.setValue("mine", "key", "-5");
    require(file.number("mine", "key", kDefault) == static_cast<std::uint32_t>(-5));
    file.setSection("set", {value, key});
    require(file.section("other") == other);
    require(file.save());

    const platform::IniFile again(path);
    for (const char* name : {"mine", "set", "other"}) {
        require(again.section(name) == file.section(name));
    }
    file.setSection("set", {"line"});
    require(file.section("set") == std::vector<std::string>{"line"});
    require(file.section("other") == other && file.save());
}

}  // namespace fuzz
