/// The options of the subcommands that talk to a server.
#pragma once

#include <tessolt/mail.h>

#include <CLI/CLI.hpp>
#include <string>

namespace tessolt::shell {

/// Where to connect, and how, as the command line says it.
struct ServerOptions {
    std::string server;
    std::string user;
    std::string passwordFile;
    std::string security = "usual";
    std::string log;
    int seconds = 0;  ///< For the connection and for each reply; 0 leaves the usual limits.

    /// Adds the options, but for `--server` where the host is named otherwise.
    void add(CLI::App& command, bool withServer = true);
    /// All of it for a session. Asks for the password when there is a user and no other source.
    /// Throws a Problem for what can't be.
    SessionOptions session() const;
};

}  // namespace tessolt::shell
