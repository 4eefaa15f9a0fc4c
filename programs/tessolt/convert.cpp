#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "files.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

struct ConvertArguments {
    std::string file = "-";
    std::string from;
    std::string to;
};

std::uint32_t pageOf(const std::string& name) {
    const std::uint32_t page = TessoltCodePage(name.data(), name.size());
    if (page == 0) {
        throw Problem{kWrongUse, "there is no charset of the name " + name +
                                     ": docs/charsets.md has them all"};
    }
    return page;
}

int convert(const ConvertArguments& arguments) {
    const std::uint32_t from = pageOf(arguments.from);
    const std::uint32_t to = pageOf(arguments.to);
    const std::string bytes = readWhole(arguments.file);
    std::size_t lost = 0;
    const BSTR converted = TessoltConvertBytes(bytes.data(), bytes.size(), from, to, &lost);
    if (!converted) {
        if (lost == 0) {
            throw std::bad_alloc();
        }
        throw Problem{kWrongUse, arguments.from + " can't be converted to " + arguments.to};
    }
    const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> owner(converted, &SysFreeString);
    print({reinterpret_cast<const char*>(converted), SysStringByteLen(converted)});
    finishOutput();
    if (lost > 0) {
        complain(std::to_string(lost) +
                 (lost == 1 ? " character is lost" : " characters are lost"));
    }
    return lost > 0 ? kPartly : kDone;
}

}  // namespace

void addConvert(CLI::App& program, Action& chosen) {
    CLI::App* command =
        program.add_subcommand("convert", "Convert text between charsets, to standard output");
    const auto arguments = std::make_shared<ConvertArguments>();
    command->add_option("--from", arguments->from, "The charset that it is in")
        ->required()
        ->type_name("CHARSET");
    command->add_option("--to", arguments->to, "The charset that it is to be in")
        ->required()
        ->type_name("CHARSET");
    command->add_option("file", arguments->file, "The text; - is standard input")
        ->type_name("FILE");
    command->callback(
        [arguments, &chosen] { chosen = [arguments] { return convert(*arguments); }; });
}

}  // namespace tessolt::shell
