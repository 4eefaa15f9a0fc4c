#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mail/smtp_envelope.h"
#include "queue/message_state.h"
#include "queue/queued_message.h"

namespace tessolt::queue {

/// The addresses of an address field (RFC 5322, 3.4), each once. Where one has angle brackets, it
/// is what stands in them.
std::vector<std::string> addressesOf(std::string_view field);

/// The envelope of a message: sender from `From`, none for a notice, and recipients from `To`, `Cc`
/// and `Bcc`, without those that `state` knows as settled. Recipients that can't stand in a command
/// are added to the refused ones of `state`.
SmtpEnvelope envelopeOf(const QueuedMessage& message, MessageState& state);

/// Whether an address can stand in a command. An empty one can't.
bool canBeSent(std::string_view address);

}  // namespace tessolt::queue
