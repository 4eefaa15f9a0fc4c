#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

struct ErrorArguments {
    LONG number = 0;
    bool isJson = false;
};

int tellError(const ErrorArguments& arguments) {
    constexpr const char* kNone = "Generic Error";
    const std::string text = taken(TessoltAllocErrorText(arguments.number));
    const std::string advice = taken(TessoltAllocAdvice(arguments.number));
    if (text == kNone && arguments.number != -1) {
        throw Problem{kWrongUse, "no operation ends with " + std::to_string(arguments.number)};
    }
    if (arguments.isJson) {
        printJson({{"number", arguments.number}, {"text", text}, {"advice", advice}});
    } else {
        print(std::to_string(arguments.number) + ": " + text + "\n" +
              (advice.empty() ? "" : advice + "\n"));
    }
    return kDone;
}

}  // namespace

void addError(CLI::App& program, Action& chosen) {
    CLI::App* command =
        program.add_subcommand("error", "Tell what an error number means, and what to do");
    const auto arguments = std::make_shared<ErrorArguments>();
    command->add_option("number", arguments->number, "The number")->required();
    command->add_flag("--json", arguments->isJson, "As JSON");
    command->callback(
        [arguments, &chosen] { chosen = [arguments] { return tellError(*arguments); }; });
}

}  // namespace tessolt::shell
