#include "server_options.h"

#include <charconv>
#include <cstdlib>
#include <map>

#include "exit_codes.h"
#include "files.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

constexpr const char* kPasswordVariable = "TESSOLT_PASSWORD";
constexpr int kMostSeconds = 86400;

const std::map<std::string, Security>& securities() {
    static const std::map<std::string, Security> words{{"usual", Security::usual},
                                                       {"tls", Security::tls},
                                                       {"starttls", Security::starttls},
                                                       {"none", Security::none}};
    return words;
}

/// "host", "host:port", "[address]:port" or an address with colons.
void placeOf(const std::string& text, SessionOptions& options) {
    constexpr int kLastPort = 65535;
    const std::size_t colon = text.rfind(':');
    const bool isBracketed = text.starts_with('[');
    const bool hasPort = colon != std::string::npos &&
                         (isBracketed ? text.rfind(']') < colon : text.find(':') == colon);
    options.host = hasPort ? text.substr(0, colon) : text;
    if (isBracketed && options.host.ends_with(']')) {
        options.host = options.host.substr(1, options.host.size() - 2);
    }
    if (hasPort) {
        const char* const end = text.data() + text.size();
        const auto [behind, error] = std::from_chars(text.data() + colon + 1, end, options.port);
        if (error != std::errc() || behind != end || options.port < 1 || options.port > kLastPort) {
            throw Problem{kWrongUse, "a server is HOST or HOST:PORT, and not " + text};
        }
    }
    if (options.host.empty()) {
        throw Problem{kWrongUse, "name a server with --server HOST or HOST:PORT"};
    }
}

/// The first line of a file.
std::string passwordIn(const std::string& file) {
    const std::string text = readWhole(file);
    return text.substr(0, text.find_first_of("\r\n"));
}

std::string passwordFor(const ServerOptions& options, const std::string& host) {
    if (!options.passwordFile.empty()) {
        return passwordIn(options.passwordFile);
    }
    if (const char* given = std::getenv(kPasswordVariable)) {
        return given;
    }
    std::string answer;
    if (!askSecret("Password of " + options.user + " at " + host + ": ", answer)) {
        throw Problem{kWrongUse,
                      "there is no password: name a file with --password-file, or set "
                      "TESSOLT_PASSWORD"};
    }
    return answer;
}

}  // namespace

void ServerOptions::add(CLI::App& command, bool withServer) {
    if (withServer) {
        command.add_option("-s,--server", server, "The server")
            ->type_name("HOST[:PORT]")
            ->envname("TESSOLT_SERVER")
            ->required();
    }
    command.add_option("-u,--user", user, "Log in as this user")->envname("TESSOLT_USER");
    command
        .add_option("--password-file", passwordFile,
                    "Take the password from the first line of a file; else it comes from the "
                    "variable TESSOLT_PASSWORD or is asked for")
        ->type_name("FILE");
    std::vector<std::string> words;
    for (const auto& [word, security] : securities()) {
        words.push_back(word);
    }
    command
        .add_option("--security", security,
                    "usual: TLS on 465 and 995, else STARTTLS where it is offered; tls: from the "
                    "start; starttls: or nothing; none")
        ->check(CLI::IsMember(words))
        ->type_name("WORD");
    command.add_option("--timeout", seconds, "Seconds to wait for a connection and for each reply")
        ->check(CLI::Range(1, kMostSeconds))
        ->type_name("SECONDS");
    command.add_option("--log", log, "Append what is said to a file")->type_name("FILE");
}

SessionOptions ServerOptions::session() const {
    SessionOptions options;
    placeOf(server, options);
    options.user = user;
    options.security = securities().at(security);
    options.log_file = log;
    if (seconds > 0) {
        options.connect_timeout = options.reply_timeout = options.data_timeout =
            std::chrono::seconds(seconds);
    }
    if (!user.empty()) {
        options.password = passwordFor(*this, options.host);
    }
    return options;
}

}  // namespace tessolt::shell
