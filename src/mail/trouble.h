/// Why an operation of a session failed, in words that name the cause.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mail/smtp_reply.h"
#include "transport/secure_protocol.h"

namespace tessolt {

enum class SmtpStep;

/// A cause and what happened.
struct Trouble {
    std::int32_t cause = 0;    ///< A TESSOLT_CAUSE; 0 while there is none.
    std::string text = {};     ///< UTF-8, no whole sentence; begins in lower case.
    bool isTheReplys = false;  ///< The server's last reply tells it too.
};

/// Why no connection came about: from a result of the socket, and the limit in milliseconds.
Trouble ConnectTrouble(std::int32_t result, std::uint32_t limitMs);
/// Why no reply came: from a result of reading, the limit in milliseconds, and whether it was the
/// welcome.
Trouble ReadTrouble(std::int32_t result, std::uint32_t limitMs, bool isWelcome);
/// Why the handshake failed.
Trouble ChannelTrouble(const TlsTrouble& trouble, std::uint32_t limitMs);
/// What a welcome means that isn't one of this protocol.
Trouble WelcomeTrouble(std::string_view line);

/// What an SMTP server's refusal at a step of a transaction means.
Trouble RefusalTrouble(const SmtpReply& reply, SmtpStep step);
/// What its refusal of a login means.
Trouble LogInTrouble(const SmtpReply& reply);
/// The same for a status line of POP3.
Trouble LogInTrouble(std::string_view line, bool isSafe);

}  // namespace tessolt
