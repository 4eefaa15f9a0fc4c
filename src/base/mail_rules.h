#pragma once

#include <initializer_list>

namespace tessolt {

/// Which rules a session or a message follows where the objects' own rules and today's practice
/// part. Every member is false under classic rules, which existing programs may rely on, and true
/// under current rules. It is filled once, where an object is made, and held by value; nothing
/// else asks the settings for a rule.
///
/// docs/rules.md gives the table with the reason for each row.
struct MailRules {
    // Sessions.

    /// The certificate's chain and name are checked in each handshake.
    bool verifyServer = false;
    /// No credential leaves in the clear: without TLS a login fails before it begins, and a refused
    /// STARTTLS or STLS ends the conversation.
    bool secretsNeedTls = false;
    /// A loopback address counts as a channel of that kind.
    bool loopbackIsSafe = false;
    /// Each `Connect` starts from what the caller set, not from what the last session became.
    bool freshSecureFlag = false;
    /// The strongest mechanism that the server offers and the channel allows is used.
    bool strongestMechanism = false;
    /// Dots are stuffed and taken away by RFC 5321 4.5.2 and RFC 1939 3.
    bool exactDots = false;
    /// All addresses of a host are tried, of both families, staggered (RFC 8305).
    bool allAddresses = false;
    /// A message goes to the recipients that the server takes.
    bool partialRecipients = false;
    /// An upload fails when nothing moves for `TimeoutData`, not when it takes long.
    bool uploadByProgress = false;
    /// A reply that came too late is never taken for the next one: after one that couldn't be read
    /// the connection is closed.
    bool closeAfterTimeout = false;
    /// SIZE, 8BITMIME, SMTPUTF8 and PIPELINING are used where offered (RFC 1870, 6152, 6531, 2920).
    bool extensions = false;
    /// The log names the cause of each failure, and what to do about it.
    bool tellsCauses = false;
    /// POP3 encrypts by STLS where it is offered (RFC 2595).
    bool stls = false;

    // Writing.

    /// A blind copy is in the envelope only (RFC 5322 3.6.3).
    bool bccInEnvelopeOnly = false;
    /// The headers that `Queue` adds don't stay on the message.
    bool queueHeadersRemoved = false;
    /// Lines end in CRLF, and a part with a line over 998 bytes is coded (RFC 5322 2.1.1).
    bool canonicalText = false;
    /// A message without `Message-ID` gets one (RFC 5322 3.6.4).
    bool messageId = false;
    /// No empty display name, a `Reply-To` only when it is set, and a `Date` of the caller's own in
    /// place of the time of sending.
    bool onlyFieldsThatAreSet = false;
    /// What was loaded keeps its other fields, and goes out as it came unless something changed.
    bool keepLoadedMessage = false;

    // Reading.

    /// Messages are read by RFC 5322, 2045 to 2047, 2183 and 2231, leniently where mail is broken,
    /// and no text is lost.
    bool standardReading = false;

    static constexpr MailRules classic() { return {}; }
    static constexpr MailRules current();
};

constexpr MailRules MailRules::current() {
    MailRules rules;
    for (bool MailRules::*rule : {&MailRules::verifyServer,
                                  &MailRules::secretsNeedTls,
                                  &MailRules::loopbackIsSafe,
                                  &MailRules::freshSecureFlag,
                                  &MailRules::strongestMechanism,
                                  &MailRules::exactDots,
                                  &MailRules::allAddresses,
                                  &MailRules::partialRecipients,
                                  &MailRules::uploadByProgress,
                                  &MailRules::closeAfterTimeout,
                                  &MailRules::extensions,
                                  &MailRules::tellsCauses,
                                  &MailRules::stls,
                                  &MailRules::bccInEnvelopeOnly,
                                  &MailRules::queueHeadersRemoved,
                                  &MailRules::canonicalText,
                                  &MailRules::messageId,
                                  &MailRules::onlyFieldsThatAreSet,
                                  &MailRules::keepLoadedMessage,
                                  &MailRules::standardReading}) {
        rules.*rule = true;
    }
    return rules;
}

}  // namespace tessolt
