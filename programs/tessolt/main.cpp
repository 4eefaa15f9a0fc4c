// tessolt: mail from the shell.

#include <csignal>
#include <exception>
#include <new>
#include <string>

#include "commands.h"
#include "exit_codes.h"
#include "terminal.h"

namespace tessolt::shell {

void printJson(const Json& data) {
    constexpr int kIndent = 2;
    print(data.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n");
}

namespace {

/// What was wrong with the words of the command line, and where help is.
std::string wrongUse(const CLI::App* program, const CLI::Error& error) {
    const auto chosen = program->get_subcommands();
    std::string command = program->get_name();
    if (!chosen.empty()) {
        command += " " + chosen.front()->get_name();
    }
    const auto unknown = program->remaining();
    const bool isUnknown = chosen.empty() && !unknown.empty();
    const std::string what =
        isUnknown ? "there is no subcommand \"" + printable(unknown.front()) + "\"" : error.what();
    return command + ": " + what + "\n`" + command + " --help` tells more.\n";
}

int run(int argc, char** argv) {
    CLI::App program("Send, fetch and read mail.", "tessolt");
    program.require_subcommand(1);
    program.set_version_flag("--version", TESSOLT_VERSION);
    program.failure_message(wrongUse);
    Action chosen;
    for (const auto add :
         {addSend, addFetch, addShow, addExtract, addConvert, addCheck, addError, addSettings}) {
        add(program, chosen);
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = program.exit(error);
        finishOutput();
        return code == 0 ? kDone : kWrongUse;
    }
    const int code = chosen();
    finishOutput();
    return code;
}

int runGuarded(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const Problem& problem) {
        complain(problem.text);
        return problem.code;
    } catch (const Error& error) {
        complain(error.what());
        return exitCodeOf(error.cause(), error.number());
    } catch (const std::bad_alloc&) {
        complain("there isn't enough memory");
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return kOther;
}

}  // namespace
}  // namespace tessolt::shell

int main(int argc, char** argv) {
    // A reader that has gone is told as a failure to write.
    std::signal(SIGPIPE, SIG_IGN);
    return tessolt::shell::runGuarded(argc, argv);
}
