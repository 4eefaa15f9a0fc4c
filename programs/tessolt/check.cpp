#include <arpa/inet.h>
#include <netdb.h>
#include <tessolt/settings.h>

#include <array>
#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "server_options.h"
#include "terminal.h"

namespace tessolt::shell {
namespace {

struct CheckArguments {
    ServerOptions server;
    bool isPop3 = false;
    bool isJson = false;
};

/// The addresses of a host, as the system tells them. Empty when there are none.
std::vector<std::string> addressesOf(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    std::vector<std::string> addresses;
    if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) {
        return addresses;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    for (const addrinfo* each = found; each != nullptr; each = each->ai_next) {
        std::array<char, INET6_ADDRSTRLEN> text{};
        const void* const bytes =
            each->ai_family == AF_INET
                ? static_cast<const void*>(
                      &reinterpret_cast<const sockaddr_in*>(each->ai_addr)->sin_addr)
                : &reinterpret_cast<const sockaddr_in6*>(each->ai_addr)->sin6_addr;
        if (::inet_ntop(each->ai_family, bytes, text.data(), text.size()) != nullptr) {
            addresses.emplace_back(text.data());
        }
    }
    return addresses;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

/// The steps of a connection, and how far it came.
class Check {
public:
    explicit Check(const CheckArguments& arguments)
        : arguments_(arguments), options_(arguments.server.session()) {}

    int run() {
        const std::vector<std::string> addresses = addressesOf(options_.host);
        if (!addresses.empty()) {
            tell("Name", options_.host + " is " + joined(addresses));
        }
        if (arguments_.isPop3) {
            Pop3Session session(std::nothrow, options_);
            talk(session);
        } else {
            SmtpSession session(std::nothrow, options_);
            talk(session);
        }
        if (arguments_.isJson) {
            printJson({{"ok", result_ == kDone}, {"steps", steps_}});
        }
        return result_;
    }

private:
    /// Where a failure belongs: to the step that begins with the cause.
    struct Step {
        LONG first;
        const char* name;
    };
    static constexpr Step kSteps[] = {{TESSOLT_CAUSE_LOGIN_REFUSED, "Login"},
                                      {TESSOLT_CAUSE_CERTIFICATE_EXPIRED, "Certificate"},
                                      {TESSOLT_CAUSE_TLS_NOT_SPOKEN, "TLS"},
                                      {TESSOLT_CAUSE_SILENT, "Welcome"},
                                      {TESSOLT_CAUSE_REFUSED, "Connection"},
                                      {TESSOLT_CAUSE_NAME_UNKNOWN, "Name"},
                                      {0, "Conversation"}};

    void tell(const std::string& step, const std::string& text, bool isGood = true) {
        constexpr std::size_t kColumn = 14;
        if (arguments_.isJson) {
            steps_.push_back({{"step", step}, {"ok", isGood}, {"text", text}});
        } else {
            print(step + std::string(kColumn - step.size(), ' ') + printable(text) + "\n");
        }
    }

    template <class Session>
    void talk(Session& session) {
        const Status status = session.open(std::nothrow);
        const bool isConnected = status || status.cause >= TESSOLT_CAUSE_SILENT;
        if (isConnected) {
            const int port = portOf(session);
            tell("Connection", "port " + std::to_string(port) + " answers");
        }
        tellChannel(session, bool(status));
        if (const std::vector<std::string> offers = session.capabilities(); !offers.empty()) {
            tell("Offers", joined(offers));
        }
        if (!status && isOnlyLoginLeft(status)) {
            tell("Login", "not tried: there is no --user");
        } else if (!status) {
            fail(status);
        } else if (options_.user.empty()) {
            tell("Login", "not tried: there is no --user");
        } else {
            const std::string way = session.mechanism();
            tell("Login", options_.user + " is welcome" + (way.empty() ? "" : ", by " + way));
        }
    }

    /// POP3 has no conversation without a login: its refusal says that all else is well.
    bool isOnlyLoginLeft(const Status& status) const {
        return arguments_.isPop3 && options_.user.empty() &&
               (status.cause == TESSOLT_CAUSE_LOGIN_REFUSED ||
                status.cause == TESSOLT_CAUSE_LOGIN_UNSUPPORTED);
    }

    template <class Session>
    int portOf(const Session& session) const {
        LONG port = 0;
        session.object()->get_HostPort(&port);
        return port;
    }

    template <class Session>
    void tellChannel(const Session& session, bool isOpen) {
        const TlsInfo tls = session.tls();
        if (tls.version.empty()) {
            if (isOpen) {
                tell("TLS", "none: everybody on the way can read along");
            }
            return;
        }
        tell("TLS", tls.version + ", " + tls.cipher);
        const BSTR text =
            TessoltReadSetting("HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt", "VerifyServer");
        SysFreeString(text);
        tell("Certificate",
             "for " + tls.names + ", signed by " + tls.issuer + ", until " + tls.last_day +
                 (text ? "; checked only if the setting VerifyServer wants that"
                       : "; trusted: its name is that of the host, and it leads to an issuer that "
                         "this machine trusts"));
    }

    void fail(const Status& status) {
        result_ = exitCodeOf(status);
        for (const Step& step : kSteps) {
            if (status.cause >= step.first) {
                tell(step.name, "failed", false);
                break;
            }
        }
        complain(status.description);
    }

    const CheckArguments& arguments_;
    SessionOptions options_;
    Json steps_ = Json::array();
    int result_ = kDone;
};

}  // namespace

void addCheck(CLI::App& program, Action& chosen) {
    CLI::App* command = program.add_subcommand(
        "check", "Try a connection step by step: name, TLS, certificate, login");
    const auto arguments = std::make_shared<CheckArguments>();
    command->add_option("host", arguments->server.server, "The server")
        ->required()
        ->type_name("HOST[:PORT]");
    arguments->server.add(*command, false);
    command->add_flag("--pop3", arguments->isPop3, "It is a POP3 server, and not an SMTP one");
    command->add_flag("--json", arguments->isJson, "As JSON");
    command->callback(
        [arguments, &chosen] { chosen = [arguments] { return Check(*arguments).run(); }; });
}

}  // namespace tessolt::shell
