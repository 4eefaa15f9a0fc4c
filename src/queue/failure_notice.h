#pragma once

#include <cstdint>
#include <string>

#include "queue/message_state.h"
#include "queue/queue_folder.h"
#include "queue/queued_message.h"

namespace tessolt::queue {

/// The name of the notice about the message `name`: a message has one at most.
std::string noticeNameOf(const std::string& name);

/// The notice for the sender of a message that was given up, as a delivery status notification (RFC
/// 3464) with the original's header. `now` is in seconds since 1970.
std::string makeNotice(const QueuedMessage& message, const MessageState& state,
                       const std::string& recipient, std::int64_t now);

/// Queues the notice for the same server, unless it lies there already. Nothing is queued for a
/// message that is a notice itself, or that has no sender or no server. `server` holds the fields
/// with the server's settings. Returns 0 or an errno number.
int queueNotice(const QueueFolder& folder, const std::string& name, const QueuedMessage& message,
                const MessageState& state, std::int64_t now);

}  // namespace tessolt::queue
