#include "queue/delivery.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/random_bytes.h"
#include "queue/envelope.h"
#include "queue/failure_notice.h"
#include "queue/file_text.h"

namespace tessolt::queue {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
/// When something in the folder itself stands in the way.
constexpr std::int64_t kFolderTroubleDelay = 60;
/// Another runner needs longer, a command that changes the state is done by then.
constexpr std::int64_t kBusyDelay = 1;
/// So many connections lost in a row, each with another message, are no message's fault.
constexpr std::int32_t kMostLosses = 3;

std::uint32_t chance() {
    std::uint32_t number = 0;
    platform::randomBytes(&number, sizeof number);
    return number;
}

bool isRefusedForGood(const SmtpRecipient& recipient) {
    return recipient.code >= 500 && recipient.code < 600;
}

}  // namespace

/// A message in the hands of this runner.
struct Delivery::Case {
    Claim claim;
    QueuedMessage message = {};
    MessageState state = {};
    SmtpEnvelope envelope = {};
    std::size_t recipients = 0;
};

void Delivery::log(EventKind kind, const Case& message, std::string_view what,
                   const std::string& words) const {
    std::string line = std::string(what) + " " + message.claim.name();
    if (!message.state.server.empty()) {
        line += " server=" + message.state.server;
    }
    line += " recipients=" + std::to_string(message.recipients) +
            " size=" + std::to_string(message.message.size);
    if (!message.state.step.empty()) {
        line += " step=\"" + message.state.step + "\"";
    }
    log_(kind, oneLine(line + ": " + words));
}

MessageState Delivery::stateOf(const std::string& name) const {
    {
        const std::lock_guard guard(mutex_);
        const auto unwritten = unwritten_.find(name);
        if (unwritten != unwritten_.end()) {
            return unwritten->second;
        }
    }
    return readState(folder_.statePath(name));
}

int Delivery::record(const std::string& name, const MessageState& state) {
    const int error = writeState(folder_.statePath(name), state);
    const std::lock_guard guard(mutex_);
    if (error == 0) {
        unwritten_.erase(name);
    } else {
        unwritten_[name] = state;
        log_(EventKind::kError, "The state of " + name + " can't be written to " + folder_.path() +
                                    ": " + platform::errorText(error) +
                                    ". It is kept in memory; make room.");
    }
    return error;
}

void Delivery::forget(const std::string& name) {
    const std::lock_guard guard(mutex_);
    unwritten_.erase(name);
}

bool Delivery::inspect(const std::string& name, ServerSettings& server, MessageState& state) const {
    server = {};
    state = stateOf(name);
    if (options_.relay) {
        server = *options_.relay;
        return true;
    }
    platform::File file;
    constexpr unsigned kFlags =
        platform::kOpenRead | platform::kOpenNoFollow | platform::kOpenRegularOnly;
    int error = file.open(folder_.messagePath(name), kFlags);
    if (error == ENOENT) {
        error = file.open(folder_.claimedPath(name), kFlags);
    }
    QueuedMessage message;
    if (error == 0 && readQueuedMessage(file, name, message) == 0 && message.server) {
        server = *message.server;
    }
    return error != ENOENT;
}

Delivered Delivery::deliver(Claim claim, Claim::Outcome outcome, Courier& courier,
                            const ServerHistory& history) {
    Case message{.claim = std::move(claim)};
    const std::string name = message.claim.name();
    const std::int64_t now = platform::unixTime();
    switch (outcome) {
        case Claim::Outcome::kGone:
            forget(name);
            return {.fate = Delivered::Fate::kAbsent};
        case Claim::Outcome::kBusy:
            return {.fate = Delivered::Fate::kLater, .due = now + kBusyDelay};
        case Claim::Outcome::kUnreadable:
            return fail(message, "read",
                        "the message can't be read: " + platform::errorText(message.claim.error()));
        case Claim::Outcome::kTaken:
            break;
    }
    // Only now nobody else can change it.
    message.state = stateOf(name);
    if (message.state.isHeld || (message.state.nextTry > now && !message.state.isAsked)) {
        message.claim.giveBack();
        return {.fate = message.state.isHeld ? Delivered::Fate::kHeld : Delivered::Fate::kLater,
                .due = message.state.nextTry};
    }
    if (const int error = readQueuedMessage(message.claim.file(), name, message.message)) {
        return fail(message, "read", "the message can't be read: " + platform::errorText(error));
    }
    return attempt(message, courier, history);
}

Delivered Delivery::attempt(Case& message, Courier& courier, const ServerHistory& history) {
    if (options_.relay) {
        message.message.server = options_.relay;
    }
    message.envelope = envelopeOf(message.message, message.state);
    message.recipients = message.envelope.recipients.size();
    if (message.state.failedAt != 0) {
        return fail(message, message.state.step, message.state.reply);
    }
    if (!message.message.server) {
        return fail(message, "read", message.message.problem);
    }
    if (*message.message.server != courier.server()) {
        // The file has been exchanged for another since it was looked at.
        message.claim.giveBack();
        return {.fate = Delivered::Fate::kAbsent};
    }
    message.state.server = courier.server().label();
    if (message.envelope.recipients.empty()) {
        const std::string problem = message.state.refused.empty()
                                        ? "the message has no recipient"
                                        : message.state.refused.back().reply;
        return fail(message, "recipient", problem);
    }
    if (!canBeSent(message.envelope.sender) && !message.envelope.sender.empty()) {
        return fail(message, "sender", "the sender's address can't be sent");
    }
    FileText text(message.claim.file(), message.message);
    return settle(message, courier.deliver(message.envelope, text), history);
}

Delivered Delivery::settle(Case& message, const Attempt& attempt, const ServerHistory& history) {
    if (attempt.kind == Attempt::Kind::kStopped) {
        message.claim.giveBack();
        return {.fate = Delivered::Fate::kStopped};
    }
    MessageState& state = message.state;
    state.step = attempt.step;
    state.reply = attempt.reply;
    state.isAsked = false;
    std::vector<SmtpRecipient> left;
    std::string lastWords = attempt.reply;
    Attempt later = attempt;
    for (SmtpRecipient& recipient : message.envelope.recipients) {
        if (isRefusedForGood(recipient)) {
            lastWords = oneLine(recipient.reply);
            state.refused.push_back({.address = recipient.address, .reply = lastWords});
        } else if (attempt.kind == Attempt::Kind::kTaken && recipient.isAccepted()) {
            state.delivered.push_back(recipient.address);
        } else {
            if (recipient.code != 0 && !recipient.isAccepted() && !attempt.isConnectionLost) {
                later.step = "recipient";
                later.reply = oneLine(recipient.reply);
            }
            left.push_back(std::move(recipient));
        }
    }
    message.envelope.recipients = std::move(left);
    if (attempt.kind == Attempt::Kind::kPermanent) {
        return fail(message, attempt.step, attempt.reply);
    }
    if (!message.envelope.recipients.empty()) {
        return postpone(message, later, history);
    }
    return state.refused.empty() ? sent(message) : fail(message, "recipient", lastWords);
}

Delivered Delivery::sent(Case& message) {
    const std::string words = message.state.reply;
    const int error = message.claim.markSent();
    if (error == 0) {
        remover_.add(message.claim.name());
    }
    forget(message.claim.name());
    message.state.step.clear();
    log(EventKind::kInfo, message, "sent", words);
    if (error != 0) {
        log(EventKind::kError, message, "sent, and can't remove",
            platform::errorText(error) + ". Remove it, or it is sent again.");
    }
    return {.fate = Delivered::Fate::kSent};
}

Delivered Delivery::postpone(Case& message, const Attempt& attempt, const ServerHistory& history) {
    MessageState& state = message.state;
    state.step = attempt.step;
    state.reply = attempt.reply;
    const std::int64_t now = platform::unixTime();
    // Messages behind the one that asked have been waiting for the server as long.
    std::int64_t queued = now;
    if (QueueEntry entry; folder_.find(message.claim.name(), entry)) {
        queued = entry.queued / kNanosecondsPerSecond;
    }
    const std::int64_t since = history.since != 0 ? std::max(history.since, queued) : now;
    state.firstTry = state.firstTry != 0 ? state.firstTry : std::min(since, now);
    ++state.tries;
    Delivered result{.fate = Delivered::Fate::kLater,
                     .isConnectionLost = attempt.isConnectionLost,
                     .history = history};
    result.history.losses = attempt.isConnectionLost ? history.losses + 1 : 0;
    result.isServerTrouble = attempt.isServerTrouble || result.history.losses >= kMostLosses;
    if (options_.plan.isOver(state.firstTry, now)) {
        Delivered failed = fail(message, attempt.step,
                                attempt.reply + " (given up after " + std::to_string(state.tries) +
                                    (state.tries == 1 ? " try)" : " tries)"));
        failed.history = history;
        return failed;
    }
    state.nextTry = now + RetryPlan::delayAfter(state.tries, chance());
    if (result.isServerTrouble) {
        ++result.history.tries;
        result.history.since = history.since != 0 ? history.since : now;
        result.history.next = now + RetryPlan::delayAfter(result.history.tries, chance());
        result.history.losses = 0;
        state.nextTry = std::max(state.nextTry, result.history.next);
        state.serverTries = result.history.tries;
        state.serverSince = result.history.since;
        state.serverNext = result.history.next;
    }
    result.due = state.nextTry;
    record(message.claim.name(), state);
    log(EventKind::kWarning, message, "later",
        attempt.reply + ", next try " + formatTime(state.nextTry));
    message.claim.giveBack();
    return result;
}

Delivered Delivery::fail(Case& message, const std::string& step, const std::string& reply) {
    MessageState& state = message.state;
    const std::int64_t now = platform::unixTime();
    const std::string& name = message.claim.name();
    for (const SmtpRecipient& recipient : message.envelope.recipients) {
        state.refused.push_back({.address = recipient.address, .reply = reply});
    }
    message.envelope.recipients.clear();
    state.step = step;
    state.reply = reply;
    state.failedAt = state.failedAt != 0 ? state.failedAt : now;
    state.nextTry = 0;
    state.serverTries = 0;
    state.serverSince = state.serverNext = 0;
    const Delivered later{.fate = Delivered::Fate::kLater, .due = now + kFolderTroubleDelay};
    // That it failed is known for good before anybody is told.
    if (record(name, state) != 0) {
        state.nextTry = later.due;
        message.claim.giveBack();
        return later;
    }
    if (options_.sendsNotices && !state.isNoticeMade) {
        const int error = queueNotice(folder_, name, message.message, state, now);
        state.isNoticeMade = error == 0;
        if (error != 0) {
            log(EventKind::kError, message, "no notice for", platform::errorText(error));
            message.claim.giveBack();
            return later;
        }
    }
    log(EventKind::kError, message, "failed", reply);
    if (const int error = message.claim.fail(state); error != 0) {
        log(EventKind::kError, message, "can't move to failed/", platform::errorText(error));
        return later;
    }
    forget(name);
    return {.fate = Delivered::Fate::kFailed};
}

}  // namespace tessolt::queue
