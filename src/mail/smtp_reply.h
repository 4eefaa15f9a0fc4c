#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// A reply of an SMTP server, taken apart.
struct SmtpReply {
    std::int32_t code = 0;  ///< 0 when none was read.
    std::string enhanced;   ///< "5.1.1" (RFC 3463), empty when the server gives none.
    std::string text;       ///< The words of all lines, without the codes, one line each.

    bool IsPositive() const { return code >= 200 && code <= 299; }
    /// Code, enhanced code and words in one line.
    std::string Line() const;
};

/// Takes a reply apart that came in these lines.
SmtpReply ReadSmtpReply(const std::vector<std::string>& lines);

/// What the server said to one recipient.
struct SmtpRecipientReply {
    std::string address;
    SmtpReply reply;  ///< Code 0: it was never asked, or never answered.
};

/// How the last transaction went.
struct SmtpDelivery {
    std::vector<SmtpRecipientReply> recipients;  ///< In the order of the envelope.
    SmtpReply last;      ///< What the server said that decided it, or would have.
    bool taken = false;  ///< The server has taken the message for all that it had accepted.

    /// The first recipient that wasn't accepted, null when all were.
    const SmtpRecipientReply* FirstRefused() const;
    /// The reply that led to the result: where the message was taken, that of the first who was
    /// refused.
    const SmtpReply& Decisive() const;
    /// Whether there is one that was.
    bool AnyAccepted() const;
};

}  // namespace tessolt
