#include "mail/trouble.h"

#include <tessolt/advice.h>

#include <algorithm>
#include <cctype>

#include "mail/smtp.h"
#include "platform/ascii_text.h"
#include "platform/socket.h"

namespace tessolt {
namespace {

constexpr std::uint32_t kMillisecondsPerSecond = 1000;
enum ReplyCode : std::int32_t {
    kFirstTemporary = 400,
    kLastTemporary = 499,
    kUnknownCommand = 500,
    kNotImplemented = 502,
    kMechanismUnknown = 504,
    kWantsLogInFirst = 530,
    kMechanismTooWeak = 534,
    kWantsTlsFirst = 538,
    kMailboxUnavailable = 550,
};
/// Of what a stranger says, so much is shown.
constexpr std::size_t kMostQuoted = 100;

struct CauseOfNumber {
    std::int32_t number;
    std::int32_t cause;
    const char* text;
};

constexpr CauseOfNumber kConnectCauses[] = {
    {platform::kSocketHostNotFound, TESSOLT_CAUSE_NAME_UNKNOWN, "there is no host of that name"},
    {platform::kSocketNoData, TESSOLT_CAUSE_NAME_UNKNOWN, "that name has no address"},
    {platform::kSocketTryAgain, TESSOLT_CAUSE_NAME_SERVER,
     "no name server tells the host's address just now"},
    {platform::kSocketNoRecovery, TESSOLT_CAUSE_NAME_SERVER, "the look-up of the name failed"},
    {platform::kSocketConnectionRefused, TESSOLT_CAUSE_REFUSED,
     "the connection was refused: nothing listens on that port"},
    {platform::kSocketTimedOut, TESSOLT_CAUSE_TIMED_OUT, "the host doesn't answer"},
    {platform::kSocketHostUnreachable, TESSOLT_CAUSE_UNREACHABLE, "the host can't be reached"},
    {platform::kSocketNetworkUnreachable, TESSOLT_CAUSE_UNREACHABLE,
     "the network can't be reached"},
    {platform::kSocketNetworkDown, TESSOLT_CAUSE_UNREACHABLE, "the network is down"},
    {platform::kSocketAddressNotAvailable, TESSOLT_CAUSE_UNREACHABLE,
     "that address can't be reached from here"},
    {platform::kSocketFamilyNotSupported, TESSOLT_CAUSE_UNREACHABLE,
     "this machine has no network of that address's kind"},
    {platform::kSocketAccessDenied, TESSOLT_CAUSE_UNREACHABLE,
     "this machine's rules forbid the connection"},
};

struct CauseOfFault {
    platform::TlsFault fault;
    std::int32_t cause;
    const char* text;  ///< In front of what is known beside.
};

constexpr CauseOfFault kChannelCauses[] = {
    {platform::TlsFault::kNotTls, TESSOLT_CAUSE_TLS_NOT_SPOKEN, "the server doesn't speak TLS"},
    {platform::TlsFault::kExpired, TESSOLT_CAUSE_CERTIFICATE_EXPIRED, "the server's certificate"},
    {platform::TlsFault::kNotYetValid, TESSOLT_CAUSE_CERTIFICATE_EARLY, "the server's certificate"},
    {platform::TlsFault::kOtherName, TESSOLT_CAUSE_CERTIFICATE_NAME, "the server's certificate"},
    {platform::TlsFault::kUnknownIssuer, TESSOLT_CAUSE_CERTIFICATE_ISSUER,
     "the server's certificate isn't trusted"},
    {platform::TlsFault::kOtherCertificate, TESSOLT_CAUSE_CERTIFICATE_OTHER,
     "the server's certificate isn't trusted"},
    {platform::TlsFault::kNoTrust, TESSOLT_CAUSE_SETTINGS, "TrustFile"},
    {platform::TlsFault::kOther, TESSOLT_CAUSE_TLS_FAILED, "the TLS handshake failed"},
};

/// Steps of a transaction, as a set.
enum StepSet : unsigned { kOfSender = 1, kOfRecipients = 2, kOfText = 4, kAnyStep = 7 };

struct RefusalRow {
    const char* enhanced;  ///< The end of an enhanced code that it is for; null for any or none.
    std::int32_t first;    ///< The codes that it is for.
    std::int32_t last;
    unsigned steps;
    std::int32_t cause;
    const char* text;
};

constexpr const char* kPutOff = "the server puts it off";
constexpr const char* kTooLarge = "the message is larger than the server takes";
constexpr const char* kNoRoom = "there is no room for the message";
constexpr const char* kWantsLogIn = "the server wants a login first";
constexpr const char* kWantsTls = "the server wants TLS first";

/// The first row that fits decides.
constexpr RefusalRow kRefusals[] = {
    {".3.4", 400, 599, kAnyStep, TESSOLT_CAUSE_TOO_LARGE, kTooLarge},
    {".2.3", 400, 599, kAnyStep, TESSOLT_CAUSE_TOO_LARGE, kTooLarge},
    {".2.2", 400, 599, kAnyStep, TESSOLT_CAUSE_NO_ROOM, "the mailbox is full"},
    {".3.1", 400, 599, kAnyStep, TESSOLT_CAUSE_NO_ROOM, kNoRoom},
    {".5.3", 400, 599, kAnyStep, TESSOLT_CAUSE_TRY_LATER, "these are too many recipients at once"},
    {nullptr, 530, 530, kAnyStep, TESSOLT_CAUSE_LOGIN_NEEDED, kWantsLogIn},
    {nullptr, 538, 538, kAnyStep, TESSOLT_CAUSE_LOGIN_NEEDS_TLS, kWantsTls},
    {nullptr, 523, 523, kAnyStep, TESSOLT_CAUSE_TOO_LARGE, kTooLarge},
    {nullptr, 552, 552, kOfRecipients, TESSOLT_CAUSE_NO_ROOM, "the mailbox is full"},
    {nullptr, 552, 552, kAnyStep, TESSOLT_CAUSE_TOO_LARGE, kTooLarge},
    {nullptr, 452, 452, kAnyStep, TESSOLT_CAUSE_NO_ROOM, kNoRoom},
    {nullptr, 400, 499, kAnyStep, TESSOLT_CAUSE_TRY_LATER, kPutOff},
    {nullptr, 500, 599, kOfSender, TESSOLT_CAUSE_SENDER_REFUSED, "the sender was refused"},
    {nullptr, 500, 599, kOfRecipients, TESSOLT_CAUSE_RECIPIENT_REFUSED, "a recipient was refused"},
    {nullptr, 500, 599, kOfText, TESSOLT_CAUSE_CONTENT_REFUSED, "the message was refused"},
};

/// Words of a server that tell what its code doesn't, in lower case.
struct Word {
    const char* word;
    std::int32_t cause;
    const char* text;
};

constexpr Word kLogInWords[] = {
    {"[in-use]", TESSOLT_CAUSE_MAILBOX_LOCKED, "the mailbox is in use"},
    {"locked", TESSOLT_CAUSE_MAILBOX_LOCKED, "the mailbox is in use"},
    {"[login-delay]", TESSOLT_CAUSE_TRY_LATER, kPutOff},
    {"[sys/temp]", TESSOLT_CAUSE_TRY_LATER, kPutOff},
};
constexpr const char* kTlsWords[] = {"tls", "ssl", "encrypt", "plaintext", "secure"};

unsigned SetOf(SmtpStep step) {
    switch (step) {
        case SmtpStep::kSender:
            return kOfSender;
        case SmtpStep::kRecipients:
            return kOfRecipients;
        default:
            return kOfText;
    }
}

bool SpeaksOfTls(std::string_view lower) {
    return std::any_of(std::begin(kTlsWords), std::end(kTlsWords), [&](const char* word) {
        return lower.find(word) != std::string_view::npos;
    });
}

/// A limit as people read it.
std::string Within(std::uint32_t limitMs) {
    if (limitMs < kMillisecondsPerSecond) {
        return " within " + std::to_string(limitMs) + " ms";
    }
    return limitMs == kNoTimeLimit
               ? ""
               : " within " + std::to_string(limitMs / kMillisecondsPerSecond) + " s";
}

/// The start of what somebody said, in printable ASCII.
std::string Quoted(std::string_view line) {
    std::string quoted(line.substr(0, kMostQuoted));
    std::replace_if(
        quoted.begin(), quoted.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return "\"" + quoted + "\"";
}

}  // namespace

Trouble ConnectTrouble(std::int32_t result, std::uint32_t limitMs) {
    if (result == kTransportConnectTimedOut) {
        return {TESSOLT_CAUSE_TIMED_OUT, "no connection" + Within(limitMs)};
    }
    const auto row = std::find_if(std::begin(kConnectCauses), std::end(kConnectCauses),
                                  [=](const CauseOfNumber& each) { return each.number == result; });
    return row != std::end(kConnectCauses)
               ? Trouble{row->cause, row->text}
               : Trouble{TESSOLT_CAUSE_NOT_CONNECTED,
                         "no connection (network error " + std::to_string(result) + ")"};
}

Trouble ReadTrouble(std::int32_t result, std::uint32_t limitMs, bool isWelcome) {
    switch (result) {
        case kTransportTotalTimedOut:
        case kTransportIdleTimedOut:
        case kSecureTimeout:
            return isWelcome ? Trouble{TESSOLT_CAUSE_SILENT,
                                       "connected, but no welcome came" + Within(limitMs)}
                             : Trouble{TESSOLT_CAUSE_NO_REPLY, "no reply came" + Within(limitMs)};
        case kTransportLineTooLong:
            return {TESSOLT_CAUSE_OTHER_SERVICE, "what came is no reply of a mail server"};
        default:
            return {TESSOLT_CAUSE_LOST, isWelcome
                                            ? "the server closed the connection without a welcome"
                                            : "the connection was lost"};
    }
}

Trouble ChannelTrouble(const TlsTrouble& trouble, std::uint32_t limitMs) {
    switch (trouble.kind) {
        case TlsTrouble::kSettings:
            return {TESSOLT_CAUSE_SETTINGS, "the settings can't be used: " + trouble.text};
        case TlsTrouble::kTimedOut:
            return {TESSOLT_CAUSE_TLS_FAILED, "the TLS handshake didn't end" + Within(limitMs)};
        case TlsTrouble::kClosed:
            return {TESSOLT_CAUSE_TLS_FAILED, "the server ended the TLS handshake"};
        default:
            break;
    }
    for (const CauseOfFault& row : kChannelCauses) {
        if (row.fault == trouble.fault) {
            const bool isSentence = row.cause == TESSOLT_CAUSE_CERTIFICATE_EXPIRED ||
                                    row.cause == TESSOLT_CAUSE_SETTINGS;
            const char* const joint = isSentence ? " " : ": ";
            return {row.cause, trouble.text.empty() || row.cause == TESSOLT_CAUSE_TLS_NOT_SPOKEN
                                   ? row.text
                                   : row.text + (joint + trouble.text)};
        }
    }
    return {TESSOLT_CAUSE_TLS_FAILED, "the TLS handshake failed"};
}

Trouble WelcomeTrouble(std::string_view line) {
    constexpr std::int32_t kTemporary = 4;
    constexpr std::int32_t kPermanent = 5;
    const std::string lower = platform::loweredText(line);
    const int kind = line.size() >= 3 && std::isdigit(static_cast<unsigned char>(line[1])) != 0
                         ? line[0] - '0'
                         : 0;
    if (kind == kTemporary) {
        return {TESSOLT_CAUSE_TRY_LATER, "the server doesn't want to talk now", true};
    }
    if (kind == kPermanent || lower.starts_with("-err")) {
        return {TESSOLT_CAUSE_NOT_SERVED, "the server doesn't want to talk", true};
    }
    return {TESSOLT_CAUSE_OTHER_SERVICE, "another service listens there; it says " + Quoted(line)};
}

Trouble RefusalTrouble(const SmtpReply& reply, SmtpStep step) {
    if ((reply.code == kWantsLogInFirst || reply.code == kMailboxUnavailable) &&
        SpeaksOfTls(platform::loweredText(reply.text)) && step == SmtpStep::kSender) {
        return {TESSOLT_CAUSE_LOGIN_NEEDS_TLS, kWantsTls, true};
    }
    for (const RefusalRow& row : kRefusals) {
        if (reply.code >= row.first && reply.code <= row.last && (row.steps & SetOf(step)) != 0 &&
            (row.enhanced == nullptr || reply.enhanced.ends_with(row.enhanced))) {
            return {row.cause, row.text, true};
        }
    }
    return {TESSOLT_CAUSE_OTHER_SERVICE, "the server's reply has no place here", true};
}

Trouble LogInTrouble(const SmtpReply& reply) {
    const std::string lower = platform::loweredText(reply.text);
    if (reply.code == kWantsTlsFirst || (reply.code == kWantsLogInFirst && SpeaksOfTls(lower))) {
        return {TESSOLT_CAUSE_LOGIN_NEEDS_TLS, kWantsTls, true};
    }
    if (reply.code == kMechanismUnknown || reply.code == kMechanismTooWeak ||
        reply.code == kNotImplemented || reply.code == kUnknownCommand) {
        return {TESSOLT_CAUSE_LOGIN_UNSUPPORTED, "the server takes no login of this kind", true};
    }
    if (reply.code >= kFirstTemporary && reply.code <= kLastTemporary) {
        return {TESSOLT_CAUSE_TRY_LATER, "the server can't check the login now", true};
    }
    return {TESSOLT_CAUSE_LOGIN_REFUSED, "the login was refused", true};
}

Trouble LogInTrouble(std::string_view line, bool isSafe) {
    const std::string lower = platform::loweredText(line);
    for (const Word& row : kLogInWords) {
        if (lower.find(row.word) != std::string::npos) {
            return {row.cause, row.text, true};
        }
    }
    return !isSafe && SpeaksOfTls(lower)
               ? Trouble{TESSOLT_CAUSE_LOGIN_NEEDS_TLS, kWantsTls, true}
               : Trouble{TESSOLT_CAUSE_LOGIN_REFUSED, "the login was refused", true};
}

}  // namespace tessolt
