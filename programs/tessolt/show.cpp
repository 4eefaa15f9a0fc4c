#include <strings.h>

#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "files.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

struct ShowArguments {
    std::string file;
    bool hasAllHeaders = false;
    bool isJson = false;
};

constexpr const char* kUsualHeaders[] = {"From", "To", "Cc", "Reply-To", "Date", "Subject"};

void showHeaders(const Message& message, bool all) {
    if (all) {
        for (const Header& header : message.headers()) {
            print(printable(header.name) + ": " + printable(header.value) + "\n");
        }
        return;
    }
    const std::vector<Header> headers = message.headers();
    for (const char* name : kUsualHeaders) {
        for (const Header& header : headers) {
            if (::strcasecmp(header.name.c_str(), name) == 0) {
                print(std::string(name) + ": " + printable(header.value) + "\n");
            }
        }
    }
}

void showTree(const Message& message) {
    constexpr std::size_t kIndent = 2;
    for (const Part& part : message.parts()) {
        print(std::string(kIndent * (static_cast<std::size_t>(part.depth) + 1), ' ') +
              printable(part.content_type) + ", " + sizeText(part.size) +
              (part.name.empty() ? "" : ", " + printable(part.name)) + "\n");
    }
}

Json asJson(const Message& message) {
    Json data = {
        {"headers", Json::array()}, {"parts", Json::array()}, {"attachments", Json::array()}};
    for (const Header& header : message.headers()) {
        data["headers"].push_back({{"name", header.name}, {"value", header.value}});
    }
    for (const Part& part : message.parts()) {
        data["parts"].push_back({{"depth", part.depth},
                                 {"type", part.content_type},
                                 {"name", part.name},
                                 {"size", part.size}});
    }
    for (const Attachment& each : message.attachments()) {
        data["attachments"].push_back({{"name", each.name()},
                                       {"type", each.content_type()},
                                       {"inline", each.is_inline()},
                                       {"size", each.bytes().size()}});
    }
    data["text"] = message.text();
    data["html"] = message.html();
    return data;
}

int show(const ShowArguments& arguments) {
    const Message message = Message::parse(readWhole(arguments.file));
    if (arguments.isJson) {
        printJson(asJson(message));
        return kDone;
    }
    showHeaders(message, arguments.hasAllHeaders);
    print("\n");
    showTree(message);
    const std::string text = message.text();
    std::string shown = printable(text.empty() ? message.html() : text, true);
    shown += shown.empty() || shown.back() == '\n' ? "" : "\n";
    print("\n" + shown);
    return kDone;
}

struct ExtractArguments {
    std::string file;
    std::string folder;
    bool isReplacing = false;
    bool isJson = false;
};

int extract(const ExtractArguments& arguments) {
    const Message message = Message::parse(readWhole(arguments.file));
    makeFolder(arguments.folder);
    Json data = Json::array();
    int result = kDone;
    std::size_t saved = 0;
    for (const Attachment& each : message.attachments()) {
        std::filesystem::path path;
        const Status status =
            each.save_to(std::nothrow, arguments.folder, path,
                         arguments.isReplacing ? Existing::replace : Existing::keep);
        if (!status) {
            complain(status.description);
            result = saved > 0 ? static_cast<int>(kPartly) : exitCodeOf(status);
            continue;
        }
        ++saved;
        if (arguments.isJson) {
            data.push_back(
                {{"file", path.string()}, {"name", each.name()}, {"type", each.content_type()}});
        } else {
            print(printable(path.string()) + "\n");
        }
    }
    if (arguments.isJson) {
        printJson(data);
    } else if (message.attachments().empty()) {
        print("the message has no attachments\n");
    }
    return result;
}

}  // namespace

void addShow(CLI::App& program, Action& chosen) {
    CLI::App* command =
        program.add_subcommand("show", "Show a message: its header, its parts and its text");
    const auto arguments = std::make_shared<ShowArguments>();
    command->add_option("file", arguments->file, "The message; - is standard input")
        ->required()
        ->type_name("FILE");
    command->add_flag("--all-headers", arguments->hasAllHeaders, "Show all of its header fields");
    command->add_flag("--json", arguments->isJson, "As JSON");
    command->callback([arguments, &chosen] { chosen = [arguments] { return show(*arguments); }; });
}

void addExtract(CLI::App& program, Action& chosen) {
    CLI::App* command = program.add_subcommand("extract", "Save the attachments of a message");
    const auto arguments = std::make_shared<ExtractArguments>();
    command->add_option("file", arguments->file, "The message; - is standard input")
        ->required()
        ->type_name("FILE");
    command->add_option("--into", arguments->folder, "The folder, made where it is missing")
        ->required()
        ->type_name("FOLDER");
    command->add_flag("--replace", arguments->isReplacing,
                      "Take the place of files of the same names; else a new file gets a number");
    command->add_flag("--json", arguments->isJson, "List what was saved as JSON");
    command->callback(
        [arguments, &chosen] { chosen = [arguments] { return extract(*arguments); }; });
}

}  // namespace tessolt::shell
