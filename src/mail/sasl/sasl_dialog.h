#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "mail/sasl/sasl_mechanism.h"

namespace tessolt {

/// What a server says within a login.
struct SaslReply {
    enum Kind { kChallenge, kDone, kRefused, kLost };
    Kind kind = kLost;
    std::string challenge = {};  ///< As it came, in base64.
};

/// How a login ended.
enum class SaslEnd {
    kLoggedIn,
    kRefused,  ///< By the server, or by the client for what the server said.
    kLost,     ///< A line didn't get out or no reply came.
};

/// Sends a line and reads the reply; `logged` is what a log may show of the line.
using SaslExchange = std::function<SaslReply(const std::string& line, const std::string& logged)>;

/// Runs a login by AUTH, the same in SMTP (RFC 4954) and in POP3 (RFC 5034). First words that would
/// make the command longer than `longestCommand` wait for the server's empty challenge.
SaslEnd RunSaslDialog(SaslMechanism& mechanism, std::size_t longestCommand,
                      const SaslExchange& exchange);

}  // namespace tessolt
