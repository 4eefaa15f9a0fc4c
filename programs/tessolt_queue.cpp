// tessolt-queue: sends what Smtp.Queue leaves in the queue folder, and shows and changes what waits
// there.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "foundation/rules_from_settings.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/process_events.h"
#include "platform/settings_store.h"
#include "queue/queue_commands.h"
#include "queue/runner.h"

namespace {

using namespace tessolt::queue;

constexpr const char* kSettingsKey = "HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt";
constexpr const char* kFolderSetting = "Queue";
constexpr int kStderr = 2;
constexpr std::uint32_t kMillisecondsPerSecond = 1000;
constexpr std::size_t kBarWidth = 30;

enum ExitCode : int { kDone = 0, kSomethingWaits = 1, kSomethingFailed = 2, kCantRun = 3 };

/// What the command line says.
struct Arguments {
    std::string folder;
    std::string relay;
    std::string name;
    std::int64_t giveUp = RetryPlan::kDefaultGiveUp;
    std::uint32_t timeout = 300;  ///< Seconds.
    std::size_t connections = 4;
    std::size_t perServer = 1;
    bool isOnce = false;
    bool hasNoBounce = false;
    bool isJson = false;
    bool isAll = false;
};

struct Problem {
    std::string text;
};

/// The folder of the command line, else of the settings.
std::string folderOf(const Arguments& arguments) {
    std::string folder = arguments.folder;
    if (folder.empty()) {
        folder = platform::toNativePath(
            platform::readSetting(kSettingsKey, kFolderSetting).value_or(""));
    }
    if (folder.empty()) {
        throw Problem{"There is no queue folder. Name it with --folder, or as \"Queue\" in " +
                      platform::settingsPath() + "."};
    }
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return folder;
}

ServerSettings parseRelay(const std::string& text) {
    ServerSettings server;
    const std::size_t colon = text.rfind(':');
    server.host = text.substr(0, colon);
    server.port = colon == std::string::npos ? 25 : std::atoi(text.substr(colon + 1).c_str());
    constexpr std::int32_t kLastPort = 65535;
    if (server.host.empty() || server.port < 1 || server.port > kLastPort) {
        throw Problem{"--relay wants HOST:PORT, like localhost:25."};
    }
    return server;
}

/// One line an event. The journal reads the importance from the front, people read the time.
void logEvent(EventKind kind, const std::string& line) {
    static const bool isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
    static const std::map<EventKind, const char*> kPriorities{
        {EventKind::kInfo, "<6>"}, {EventKind::kWarning, "<4>"}, {EventKind::kError, "<3>"}};
    const std::string front =
        isJournal ? kPriorities.at(kind) : formatTime(platform::unixTime()) + " ";
    std::fputs((front + line + "\n").c_str(), stderr);
}

RunnerOptions runnerOptions(const Arguments& arguments) {
    RunnerOptions options;
    options.folder = folderOf(arguments);
    options.connections = arguments.connections;
    options.perServer = arguments.perServer;
    options.session.rules = withSingleSettings(options.session.rules);
    options.session.commandMs = arguments.timeout * kMillisecondsPerSecond;
    options.session.connectMs = std::min(options.session.connectMs, options.session.commandMs);
    // RFC 5321, 4.5.3.2.6, gives the end of the text twice the time of a command.
    options.session.dataMs = 2 * options.session.commandMs;
    options.delivery.plan = RetryPlan(arguments.giveUp);
    options.delivery.sendsNotices = !arguments.hasNoBounce;
    if (!arguments.relay.empty()) {
        options.delivery.relay = parseRelay(arguments.relay);
    }
    return options;
}

void showProgress(const Tally& tally) {
    const std::size_t done = tally.sent + tally.failed;
    const std::size_t all = done + tally.waiting;
    const std::size_t filled = all == 0 ? kBarWidth : kBarWidth * done / all;
    std::fprintf(stderr, "\r[%s%s] %zu of %zu", std::string(filled, '#').c_str(),
                 std::string(kBarWidth - filled, '.').c_str(), done, all);
}

int runOnce(const Arguments& arguments, platform::SignalQueue& signals) {
    const bool isWatched = platform::isTerminal(kStderr);
    // The bar and the lines of the log would spoil each other: only trouble breaks through.
    const EventLog log = [isWatched](EventKind kind, const std::string& line) {
        if (isWatched && kind == EventKind::kInfo) {
            return;
        }
        std::fputs(isWatched ? "\r\033[K" : "", stderr);
        logEvent(kind, line);
    };
    Runner runner(runnerOptions(arguments), log, &signals);
    const Tally tally =
        runner.drain(isWatched ? showProgress : std::function<void(const Tally&)>());
    if (isWatched) {
        std::fprintf(stderr, "\r\033[K%zu sent, %zu waiting, %zu failed\n", tally.sent,
                     tally.waiting, tally.failed);
    }
    if (tally.failed > 0 || !tally.isFolderReadable) {
        return kSomethingFailed;
    }
    return tally.waiting > 0 ? kSomethingWaits : kDone;
}

int runService(const Arguments& arguments) {
    platform::SignalQueue signals;
    if (arguments.isOnce) {
        return runOnce(arguments, signals);
    }
    for (;;) {
        Runner runner(runnerOptions(arguments), logEvent, &signals);
        if (runner.serve() != platform::SignalQueue::Request::kReload) {
            logEvent(EventKind::kInfo, "Ending");
            return kDone;
        }
        logEvent(EventKind::kInfo, "Reading the settings again");
    }
}

int report(const std::string& problem) {
    if (!problem.empty()) {
        std::cerr << problem << '\n';
    }
    return problem.empty() ? kDone : kSomethingFailed;
}

int list(const Arguments& arguments) {
    const QueueFolder folder(folderOf(arguments));
    std::vector<ListedMessage> messages;
    const std::string problem = QueueCommands(folder).list(messages);
    if (problem.empty() && arguments.isJson) {
        std::cout << listAsJson(messages, platform::unixTime());
    } else if (problem.empty() && messages.empty()) {
        std::cout << "The queue is empty.\n";
    } else if (problem.empty()) {
        std::cout << listAsText(messages, platform::unixTime());
    }
    return report(problem);
}

int show(const Arguments& arguments) {
    const QueueFolder folder(folderOf(arguments));
    ListedMessage message;
    QueuedMessage content;
    const std::string problem = QueueCommands(folder).show(arguments.name, message, content);
    if (message.name.empty()) {
        return report(problem);
    }
    const bool isWaiting = message.status == ListedMessage::Status::kWaiting;
    std::cout << "Name: " << message.name << "\nStatus: " << wordOf(message.status)
              << "\nQueued: " << formatTime(message.queued) << "\nSize: " << message.size
              << "\nGoes-To: " << message.server << '\n';
    if (isWaiting && message.state.nextTry != 0) {
        std::cout << "Next: " << formatTime(message.state.nextTry) << '\n';
    }
    std::cout << formatState(message.state) << '\n' << content.header;
    return report(problem);
}

using Command = std::string (QueueCommands::*)(const std::string&) const;

int change(const Arguments& arguments, Command command) {
    const QueueFolder folder(folderOf(arguments));
    const QueueCommands commands(folder);
    if (!arguments.isAll) {
        return report((commands.*command)(arguments.name));
    }
    std::vector<ListedMessage> messages;
    int result = report(commands.list(messages));
    for (const ListedMessage& message : messages) {
        if (message.status != ListedMessage::Status::kSending) {
            result = std::max(result, report((commands.*command)(message.name)));
        }
    }
    return result;
}

void addRun(CLI::App& program, Arguments& arguments) {
    CLI::App* run = program.add_subcommand("run", "Send what comes into the queue folder");
    run->add_flag("--once", arguments.isOnce,
                  "Send what is due and exit: 0 all sent, 1 something waits, 2 something failed");
    run->add_option("--connections", arguments.connections, "Connections at a time")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    run->add_option("--per-server", arguments.perServer, "Connections to one server at a time")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    const std::map<std::string, std::int64_t> units{
        {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 24 * 3600}};
    run->add_option("--give-up", arguments.giveUp,
                    "How long a message is tried, like 4d, 12h or 30m (4d)")
        ->transform(CLI::AsNumberWithUnit(units, CLI::AsNumberWithUnit::CASE_INSENSITIVE, "TIME"));
    run->add_option("--timeout", arguments.timeout, "Seconds to wait for a server's reply")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    run->add_option("--relay", arguments.relay,
                    "Send everything to this server, whatever the messages say")
        ->type_name("HOST:PORT");
    run->add_flag("--no-bounce", arguments.hasNoBounce,
                  "Don't tell senders of messages that failed");
}

void addChange(CLI::App& program, Arguments& arguments, const char* word, const char* help) {
    CLI::App* command = program.add_subcommand(word, help);
    CLI::Option* name = command->add_option("name", arguments.name, "Name of the message");
    if (std::string(word) == "retry") {
        CLI::Option* all =
            command->add_flag("--all", arguments.isAll, "All messages, failed ones too");
        name->excludes(all);
    } else {
        name->required();
    }
}

int runProgram(int argc, char** argv) {
    Arguments arguments;
    CLI::App program("Sends what Smtp.Queue leaves in the queue folder.", "tessolt-queue");
    program.require_subcommand(1);
    program.set_version_flag("--version", TESSOLT_VERSION);
    program.fallthrough();
    program.add_option("--folder", arguments.folder,
                       "The queue folder; without it, the setting \"Queue\"");
    addRun(program, arguments);
    program.add_subcommand("list", "Show the messages")
        ->add_flag("--json", arguments.isJson, "As JSON");
    program.add_subcommand("show", "Show a message: its tries and its header")
        ->add_option("name", arguments.name, "Name of the message")
        ->required();
    addChange(program, arguments, "retry", "Try a message at once, also a failed one");
    addChange(program, arguments, "hold", "Keep a message from being sent");
    addChange(program, arguments, "release", "Let a held message go");
    addChange(program, arguments, "remove", "Remove a message for good");
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kDone : kCantRun;
    }
    const std::map<std::string, Command> changes{{"retry", &QueueCommands::retry},
                                                 {"hold", &QueueCommands::hold},
                                                 {"release", &QueueCommands::release},
                                                 {"remove", &QueueCommands::remove}};
    const std::string chosen = program.get_subcommands().front()->get_name();
    if (chosen == "run") {
        return runService(arguments);
    }
    if (chosen == "list") {
        return list(arguments);
    }
    if (chosen == "show") {
        return show(arguments);
    }
    if (arguments.name.empty() && !arguments.isAll) {
        throw Problem{"Name a message, or say --all."};
    }
    return change(arguments, changes.at(chosen));
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return runProgram(argc, argv);
    } catch (const Problem& problem) {
        std::cerr << problem.text << '\n';
    } catch (const std::exception& error) {
        std::cerr << "tessolt-queue: " << error.what() << '\n';
    }
    return kCantRun;
}
