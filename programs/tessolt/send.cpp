#include <unistd.h>

#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "files.h"
#include "server_options.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

struct SendArguments {
    ServerOptions server;
    std::string from, replyTo, subject, text, html, eml;
    std::vector<std::string> to, cc, bcc, headers, attached, embedded;
    bool isQueued = false;
    bool isJson = false;
};

struct Mailbox {
    std::string address, name;
};

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\"");
    return first == std::string::npos
               ? std::string()
               : text.substr(first, text.find_last_not_of(" \t\"") + 1 - first);
}

/// "Ann <ann@example.org>", or an address alone.
Mailbox mailboxOf(const std::string& text) {
    const std::size_t open = text.rfind('<');
    const std::size_t close = text.rfind('>');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return {trimmed(text), {}};
    }
    return {trimmed(text.substr(open + 1, close - open - 1)), trimmed(text.substr(0, open))};
}

/// A text of the command line: itself, or with "@" in front what that file holds.
std::string textOf(const std::string& argument) {
    return argument.starts_with('@') ? readWhole(argument.substr(1)) : argument;
}

/// What the HTML calls an image: its file's name in ASCII.
std::string contentIdOf(const std::string& path) {
    std::string id = std::filesystem::path(path).filename().string();
    for (char& c : id) {
        const bool isFit = c > ' ' && c <= '~' && c != '<' && c != '>' && c != '"';
        c = isFit ? c : '_';
    }
    return id;
}

void addBody(const SendArguments& arguments, Message& message) {
    if (!arguments.html.empty()) {
        message.html(textOf(arguments.html));
    }
    if (!arguments.text.empty()) {
        message.text(textOf(arguments.text));
    } else if (arguments.html.empty()) {
        if (::isatty(STDIN_FILENO) == 1) {
            complain("type the text, and Ctrl-D behind its last line");
        }
        message.text(readWhole("-"));
    }
}

Message composed(const SendArguments& arguments) {
    Message message;
    const Mailbox from = mailboxOf(arguments.from);
    message.from(from.address, from.name).subject(arguments.subject);
    using Add = Message& (Message::*)(const std::string&, const std::string&);
    const std::pair<const std::vector<std::string>*, Add> lists[] = {
        {&arguments.to, &Message::to},
        {&arguments.cc, &Message::cc},
        {&arguments.bcc, &Message::bcc}};
    for (const auto& [addresses, add] : lists) {
        for (const std::string& address : *addresses) {
            const Mailbox mailbox = mailboxOf(address);
            (message.*add)(mailbox.address, mailbox.name);
        }
    }
    if (!arguments.replyTo.empty()) {
        message.reply_to(arguments.replyTo);
    }
    for (const std::string& line : arguments.headers) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) {
            throw Problem{kWrongUse, "a header field is NAME: VALUE, and not " + line};
        }
        message.header(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    }
    addBody(arguments, message);
    for (const std::string& file : arguments.embedded) {
        message.embed(readWhole(file), std::filesystem::path(file).filename().string(),
                      contentIdOf(file));
    }
    for (const std::string& file : arguments.attached) {
        message.attach(std::filesystem::path(file));
    }
    return message;
}

Message messageOf(const SendArguments& arguments) {
    return arguments.eml.empty() ? composed(arguments) : Message::parse(readWhole(arguments.eml));
}

std::string replyLine(const Reply& reply) {
    std::string line = std::to_string(reply.code);
    line += reply.enhanced.empty() ? "" : " " + reply.enhanced;
    return line + " " + reply.text;
}

Json asJson(const std::vector<Recipient>& recipients) {
    Json list = Json::array();
    for (const Recipient& each : recipients) {
        list.push_back({{"address", each.address},
                        {"accepted", each.accepted()},
                        {"code", each.reply.code},
                        {"enhanced", each.reply.enhanced},
                        {"reply", each.reply.text}});
    }
    return list;
}

/// Whether some have the message though it failed: what failed it is the refusal of another.
bool isTaken(const std::vector<Recipient>& recipients, const Reply& decisive) {
    bool anyTook = false;
    bool isOneRecipients = false;
    for (const Recipient& each : recipients) {
        anyTook = anyTook || each.accepted();
        isOneRecipients =
            isOneRecipients || (!each.accepted() && each.reply.code == decisive.code &&
                                each.reply.text == decisive.text);
    }
    return anyTook && isOneRecipients;
}

/// Says who has the message and who hasn't, and what that makes of the run.
int report(const SendArguments& arguments, const SmtpSession& session, const Status& status) {
    const std::vector<Recipient> recipients = session.recipients();
    const bool isPartly = !status && isTaken(recipients, status.reply);
    if (arguments.isJson) {
        printJson({{"sent", bool(status) || isPartly},
                   {"reply", status ? session.last_reply().text : status.reply.text},
                   {"recipients", asJson(recipients)}});
    } else if (status || isPartly) {
        for (const Recipient& each : recipients) {
            print((each.accepted() ? "sent to " : "refused for ") + printable(each.address) +
                  (each.accepted() ? "\n" : ": " + printable(replyLine(each.reply)) + "\n"));
        }
    }
    if (!status) {
        complain(status.description);
    }
    return status ? kDone : isPartly ? kPartly : exitCodeOf(status);
}

int send(const SendArguments& arguments) {
    const SessionOptions options = arguments.server.session();
    const Message message = messageOf(arguments);
    SmtpSession session(std::nothrow, options);
    if (arguments.isQueued) {
        session.queue(message);
        if (arguments.isJson) {
            printJson({{"queued", true}});
        } else {
            print("queued\n");
        }
        return kDone;
    }
    Status status = session.open(std::nothrow);
    if (status) {
        ProgressBar bar("Sending");
        status = session.send(std::nothrow, message, bar.callback());
    }
    return report(arguments, session, status);
}

}  // namespace

void addSend(CLI::App& program, Action& chosen) {
    CLI::App* command = program.add_subcommand("send", "Send a message");
    const auto arguments = std::make_shared<SendArguments>();
    arguments->server.add(*command);
    CLI::Option* eml =
        command->add_option("--eml", arguments->eml, "Send this file as it is; - is standard input")
            ->type_name("FILE");
    CLI::Option* from =
        command->add_option("--from", arguments->from, "The sender")->type_name("ADDRESS");
    const std::tuple<const char*, std::vector<std::string>*, const char*> lists[] = {
        {"--to", &arguments->to, "A recipient; the option may be repeated"},
        {"--cc", &arguments->cc, "One who gets a copy"},
        {"--bcc", &arguments->bcc, "One who gets a copy that the others don't see"}};
    for (const auto& [name, list, help] : lists) {
        command->add_option(name, *list, help)
            ->type_name("ADDRESS")
            ->allow_extra_args(false)
            ->excludes(eml);
    }
    const std::tuple<const char*, std::string*, const char*, const char*> texts[] = {
        {"--reply-to", &arguments->replyTo, "Where answers go", "ADDRESS"},
        {"--subject", &arguments->subject, "The subject", "TEXT"},
        {"--text", &arguments->text,
         "The text, or @FILE; without it, and without --html, it comes from standard input",
         "TEXT"},
        {"--html", &arguments->html, "The text as HTML, or @FILE", "HTML"}};
    for (const auto& [name, text, help, type] : texts) {
        command->add_option(name, *text, help)->type_name(type)->excludes(eml);
    }
    const std::tuple<const char*, std::vector<std::string>*, const char*, const char*> more[] = {
        {"--header", &arguments->headers, "Another header field, NAME: VALUE", "FIELD"},
        {"--attach", &arguments->attached, "Files to attach", "FILE"},
        {"--inline", &arguments->embedded, "Images that the HTML shows as cid:NAME-OF-THE-FILE",
         "FILE"}};
    for (const auto& [name, list, help, type] : more) {
        command->add_option(name, *list, help)->type_name(type)->excludes(eml);
    }
    from->excludes(eml);
    command->add_flag("--queue", arguments->isQueued,
                      "Leave it to tessolt-queue, which tries until the server takes it");
    command->add_flag("--json", arguments->isJson, "Tell what became of it as JSON");
    command->callback([arguments, &chosen] { chosen = [arguments] { return send(*arguments); }; });
}

}  // namespace tessolt::shell
