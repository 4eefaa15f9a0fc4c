#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt::queue {

/// A recipient that the server refused for good, and its words.
struct RefusedRecipient {
    std::string address;
    std::string reply;
};

/// What is known of a message beside the message itself: its tries so far and what is asked of it.
/// Times are seconds since 1970.
struct MessageState {
    std::int32_t tries = 0;
    std::int64_t firstTry = 0;
    std::int64_t nextTry = 0;  ///< 0 for at once.
    std::string server = {};   ///< Of the last try, "host:port".
    std::string step = {};     ///< Where that try ended.
    std::string reply = {};    ///< The last words of the server, or what happened instead of any.
    bool isHeld = false;       ///< Waits until it is released.
    bool isAsked = false;      ///< Goes at once, also where its server is being left alone.
    bool isNotice = false;     ///< Tells of a failure: goes out without a sender.
    bool isNoticeMade = false;
    /// Set where the whole server is left alone: how often in a row, since when and until when.
    std::int32_t serverTries = 0;
    std::int64_t serverSince = 0;
    std::int64_t serverNext = 0;
    std::vector<std::string> delivered = {};  ///< Recipients for whom the server has the message.
    std::vector<RefusedRecipient> refused = {};
    std::int64_t failedAt = 0;  ///< When the message was given up; 0 while it isn't.

    bool isEmpty() const;
};

/// The state as a text of one line an entry, "Name: value", and back. What can't be read is left
/// out.
std::string formatState(const MessageState& state);
MessageState parseState(std::string_view text);

/// Reads a state; one that isn't there is an empty one.
MessageState readState(const std::string& path);
/// Replaces the state at `path` as a whole: after a crash the old one or the new one stands there.
/// An empty one is removed. Returns 0 or an errno number.
int writeState(const std::string& path, const MessageState& state);

/// The time as "2024-03-05T14:03:09Z", "-" for 0.
std::string formatTime(std::int64_t seconds);
/// A text of one line: control characters count as blanks, and it is cut at 500 bytes.
std::string oneLine(std::string_view text);

}  // namespace tessolt::queue
