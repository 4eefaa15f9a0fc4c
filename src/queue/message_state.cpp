#include "queue/message_state.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/ascii_text.h"
#include "platform/file_system.h"

namespace tessolt::queue {

namespace {

constexpr unsigned kStateMode = 0600;
constexpr std::size_t kLongestLine = 500;
constexpr std::string_view kYes = "yes";

struct NumberEntry {
    std::string_view name;
    std::int64_t MessageState::*field;
};
struct CountEntry {
    std::string_view name;
    std::int32_t MessageState::*field;
};
struct TextEntry {
    std::string_view name;
    std::string MessageState::*field;
};
struct FlagEntry {
    std::string_view name;
    bool MessageState::*field;
};

constexpr std::array kCounts{
    CountEntry{"Tries", &MessageState::tries},
    CountEntry{"Server-Tries", &MessageState::serverTries},
};
constexpr std::array kTimes{
    NumberEntry{"First-Try", &MessageState::firstTry},
    NumberEntry{"Next-Try", &MessageState::nextTry},
    NumberEntry{"Server-Since", &MessageState::serverSince},
    NumberEntry{"Server-Next", &MessageState::serverNext},
    NumberEntry{"Failed-At", &MessageState::failedAt},
};
constexpr std::array kTexts{
    TextEntry{"Server", &MessageState::server},
    TextEntry{"Step", &MessageState::step},
    TextEntry{"Reply", &MessageState::reply},
};
constexpr std::array kFlags{
    FlagEntry{"Held", &MessageState::isHeld},
    FlagEntry{"Asked", &MessageState::isAsked},
    FlagEntry{"Notice", &MessageState::isNotice},
    FlagEntry{"Notice-Made", &MessageState::isNoticeMade},
};
constexpr std::string_view kTimeName = "Time";
constexpr std::string_view kDelivered = "Delivered";
constexpr std::string_view kRefused = "Refused";

/// The text with blanks for control characters, and none at its end.
std::string withoutControls(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
    line.resize(line.find_last_not_of(' ') + 1);
    return line;
}

void addLine(std::string& text, std::string_view name, std::string_view value) {
    text.append(name).append(": ").append(value) += '\n';
}

template <typename Number>
void readNumber(std::string_view text, Number& number) {
    std::from_chars(text.data(), text.data() + text.size(), number);
}

void readEntry(std::string_view name, std::string_view value, MessageState& state) {
    for (const CountEntry& entry : kCounts) {
        if (name == entry.name) {
            readNumber(value, state.*entry.field);
        }
    }
    for (const NumberEntry& entry : kTimes) {
        if (name == entry.name) {
            readNumber(value, state.*entry.field);
        }
    }
    for (const TextEntry& entry : kTexts) {
        if (name == entry.name) {
            state.*entry.field = value;
        }
    }
    for (const FlagEntry& entry : kFlags) {
        if (name == entry.name) {
            state.*entry.field = value == kYes;
        }
    }
    if (name == kDelivered) {
        state.delivered.emplace_back(value);
    }
    if (name == kRefused) {
        const std::size_t blank = value.find(' ');
        state.refused.push_back(
            {.address = std::string(value.substr(0, blank)),
             .reply = std::string(value.substr(blank == value.npos ? value.size() : blank + 1))});
    }
}

}  // namespace

bool MessageState::isEmpty() const {
    return formatState(*this).empty();
}

std::string formatState(const MessageState& state) {
    std::string text;
    if (state.failedAt != 0) {
        addLine(text, kTimeName, formatTime(state.failedAt));
    }
    for (const TextEntry& entry : kTexts) {
        if (!(state.*entry.field).empty()) {
            addLine(text, entry.name, oneLine(state.*entry.field));
        }
    }
    // Addresses stay whole, however long: one that is cut isn't known again and gets the message
    // once more.
    for (const RefusedRecipient& refused : state.refused) {
        addLine(text, kRefused, withoutControls(refused.address + " " + oneLine(refused.reply)));
    }
    for (const std::string& address : state.delivered) {
        addLine(text, kDelivered, withoutControls(address));
    }
    for (const CountEntry& entry : kCounts) {
        if (state.*entry.field != 0) {
            addLine(text, entry.name, std::to_string(state.*entry.field));
        }
    }
    for (const NumberEntry& entry : kTimes) {
        if (state.*entry.field != 0) {
            addLine(text, entry.name, std::to_string(state.*entry.field));
        }
    }
    for (const FlagEntry& entry : kFlags) {
        if (state.*entry.field) {
            addLine(text, entry.name, kYes);
        }
    }
    return text;
}

MessageState parseState(std::string_view text) {
    MessageState state;
    platform::splitLines(text, [&](std::string_view line) {
        const std::size_t colon = line.find(": ");
        if (colon != std::string_view::npos) {
            readEntry(line.substr(0, colon), line.substr(colon + 2), state);
        }
    });
    return state;
}

MessageState readState(const std::string& path) {
    std::string text;
    platform::readWholeFile(path, text);
    return parseState(text);
}

int writeState(const std::string& path, const MessageState& state) {
    if (state.isEmpty()) {
        platform::removeFile(path);
        return 0;
    }
    const std::string partial = path + "_";
    // What a crash has left there, and no link that somebody else has put there, is followed.
    platform::removeFile(partial);
    platform::File file;
    int error =
        file.open(partial, platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive,
                  kStateMode);
    if (error == 0) {
        error = file.write(formatState(state));
    }
    if (error == 0) {
        error = file.sync();
    }
    const int closed = file.close();
    error = error == 0 ? closed : error;
    if (error == 0) {
        error = platform::renameReplace(partial, path);
    }
    if (error == 0) {
        error = platform::syncFolderOf(path);
    } else {
        platform::removeFile(partial);
    }
    return error;
}

std::string formatTime(std::int64_t seconds) {
    if (seconds == 0) {
        return "-";
    }
    const auto time = static_cast<time_t>(seconds);
    tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

std::string oneLine(std::string_view text) {
    return withoutControls(text.substr(0, kLongestLine));
}

}  // namespace tessolt::queue
