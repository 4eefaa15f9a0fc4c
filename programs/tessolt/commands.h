/// The subcommands: each adds itself with its options to the program.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>

namespace tessolt::shell {

/// Runs the chosen subcommand; the result is an ExitCode.
using Action = std::function<int()>;
using Json = nlohmann::ordered_json;

void addSend(CLI::App& program, Action& chosen);
void addFetch(CLI::App& program, Action& chosen);
void addShow(CLI::App& program, Action& chosen);
void addExtract(CLI::App& program, Action& chosen);
void addConvert(CLI::App& program, Action& chosen);
void addCheck(CLI::App& program, Action& chosen);
void addError(CLI::App& program, Action& chosen);
void addSettings(CLI::App& program, Action& chosen);

/// Prints data as JSON. What isn't UTF-8 in it becomes U+FFFD.
void printJson(const Json& data);

}  // namespace tessolt::shell
