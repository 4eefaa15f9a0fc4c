#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "files.h"
#include "seen_ids.h"
#include "server_options.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

struct FetchArguments {
    ServerOptions server;
    std::string folder;
    bool isMaildir = false;
    bool isNewOnly = false;
    bool isDeleting = false;
    bool isJson = false;
};

/// A run over a mailbox.
class Fetch {
public:
    explicit Fetch(const FetchArguments& arguments)
        : arguments_(arguments), options_(arguments.server.session()) {}

    int run() {
        makeFolder(arguments_.folder);
        SeenIds seen(arguments_.folder, options_.user + "@" + options_.host);
        Pop3Session session(options_);
        const std::vector<MailboxEntry> entries = session.list();
        for (const MailboxEntry& entry : entries) {
            if (arguments_.isNewOnly && entry.unique_id.empty()) {
                throw Problem{kOther,
                              "this server gives messages no unique ids, which --new needs"};
            }
            if (arguments_.isNewOnly && seen.holds(entry.unique_id)) {
                ++skipped_;
                continue;
            }
            // Without the connection no later message comes either.
            if (!take(session, entry, entries.size(), seen) && !session.is_open()) {
                break;
            }
        }
        session.close();
        tell();
        return result_;
    }

private:
    bool take(Pop3Session& session, const MailboxEntry& entry, std::size_t all, SeenIds& seen) {
        ProgressBar bar("Message " + std::to_string(entry.number) + " of " + std::to_string(all));
        std::optional<Message> message;
        Status status = session.fetch(std::nothrow, entry, message, bar.callback());
        if (!status) {
            fail(status);
            return false;
        }
        const std::string name =
            (entry.unique_id.empty() ? "message " + std::to_string(entry.number)
                                     : entry.unique_id) +
            ".eml";
        const std::filesystem::path path =
            arguments_.isMaildir ? deliverToMaildir(arguments_.folder, message->raw())
                                 : writeDurably(arguments_.folder, name, message->raw());
        if (!entry.unique_id.empty()) {
            seen.add(entry.unique_id);
        }
        ++saved_;
        list(*message, path);
        if (arguments_.isDeleting) {
            status = session.erase(std::nothrow, message->number());
            if (!status) {
                fail(status);
            }
        }
        return true;
    }

    void fail(const Status& status) {
        complain(status.description);
        result_ = saved_ > 0 ? static_cast<int>(kPartly) : exitCodeOf(status);
    }

    void list(const Message& message, const std::filesystem::path& path) {
        if (arguments_.isJson) {
            data_.push_back({{"file", path.string()},
                             {"unique_id", message.unique_id()},
                             {"size", message.raw().size()},
                             {"from", message.from_address()},
                             {"subject", message.subject()}});
        } else {
            print(printable(path.string()) + "\n");
        }
    }

    void tell() const {
        if (arguments_.isJson) {
            printJson(data_);
        } else {
            print(std::to_string(saved_) + " saved" +
                  (skipped_ > 0 ? ", " + std::to_string(skipped_) + " known before" : "") + "\n");
        }
    }

    const FetchArguments& arguments_;
    SessionOptions options_;
    Json data_ = Json::array();
    std::size_t saved_ = 0;
    std::size_t skipped_ = 0;
    int result_ = kDone;
};

}  // namespace

void addFetch(CLI::App& program, Action& chosen) {
    CLI::App* command = program.add_subcommand("fetch", "Fetch a POP3 mailbox into a folder");
    const auto arguments = std::make_shared<FetchArguments>();
    arguments->server.add(*command);
    command->add_option("folder", arguments->folder, "Where the messages go, a file each")
        ->required()
        ->type_name("FOLDER");
    command->add_flag("--maildir", arguments->isMaildir, "The folder is a Maildir");
    command->add_flag("--new", arguments->isNewOnly,
                      "Only what wasn't fetched into this folder before, by unique ids");
    command->add_flag("--delete", arguments->isDeleting,
                      "Delete each message on the server once it is safe on the disk");
    command->add_flag("--json", arguments->isJson, "List what was fetched as JSON");
    command->callback(
        [arguments, &chosen] { chosen = [arguments] { return Fetch(*arguments).run(); }; });
}

}  // namespace tessolt::shell
