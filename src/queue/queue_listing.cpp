#include <algorithm>
#include <array>
#include <cstdio>

#include "platform/ascii_text.h"
#include "queue/queue_commands.h"

namespace tessolt::queue {

namespace {

constexpr std::size_t kColumns = 6;
constexpr std::size_t kLongestReply = 60;
constexpr std::size_t kGap = 2;

using Row = std::array<std::string, kColumns>;

struct Unit {
    std::int64_t seconds;
    char letter;
};
constexpr std::array kUnits{Unit{24 * 3600, 'd'}, Unit{3600, 'h'}, Unit{60, 'm'}, Unit{1, 's'}};

/// A stretch of time in its largest unit, like "5m".
std::string stretch(std::int64_t seconds) {
    for (const Unit& unit : kUnits) {
        if (seconds >= unit.seconds) {
            return std::to_string(seconds / unit.seconds) + unit.letter;
        }
    }
    return "0s";
}

std::int64_t nextTryOf(const ListedMessage& message) {
    return message.status == ListedMessage::Status::kWaiting ? message.state.nextTry : 0;
}

std::string nextWords(const ListedMessage& message, std::int64_t now) {
    if (message.status != ListedMessage::Status::kWaiting) {
        return wordOf(message.status);
    }
    const std::int64_t next = nextTryOf(message);
    return next <= now ? "now" : "in " + stretch(next - now);
}

/// A text between quote marks as JSON wants it (RFC 8259). What isn't UTF-8 is shown byte by byte.
std::string jsonText(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (byte < ' ' || byte >= 0x7F) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
            result += escape.data();
        } else {
            result += c;
        }
    }
    return result + '"';
}

}  // namespace

std::string listAsText(const std::vector<ListedMessage>& messages, std::int64_t now) {
    std::vector<Row> rows{{"NAME", "AGE", "SERVER", "TRIES", "NEXT TRY", "LAST REPLY"}};
    for (const ListedMessage& message : messages) {
        rows.push_back({oneLine(message.name), stretch(now - message.queued),
                        oneLine(message.server.empty() ? "-" : message.server),
                        std::to_string(message.state.tries), nextWords(message, now),
                        oneLine(message.state.reply).substr(0, kLongestReply)});
    }
    Row widest;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < kColumns; ++i) {
            widest[i].resize(std::max(widest[i].size(), row[i].size()));
        }
    }
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < kColumns; ++i) {
            line += row[i];
            line.append(widest[i].size() - row[i].size() + kGap, ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

std::string listAsJson(const std::vector<ListedMessage>& messages, std::int64_t now) {
    std::string text = "[";
    for (const ListedMessage& message : messages) {
        const std::int64_t next = nextTryOf(message);
        text += text.size() > 1 ? ",\n " : "\n ";
        text += "{\"name\": " + jsonText(message.name) +
                ", \"status\": " + jsonText(wordOf(message.status)) +
                ", \"queued\": " + jsonText(formatTime(message.queued)) +
                ", \"age\": " + std::to_string(now - message.queued) +
                ", \"size\": " + std::to_string(message.size) +
                ", \"server\": " + jsonText(message.server) +
                ", \"tries\": " + std::to_string(message.state.tries) +
                ", \"next\": " + (next != 0 ? jsonText(formatTime(next)) : "null") +
                ", \"step\": " + jsonText(message.state.step) +
                ", \"reply\": " + jsonText(message.state.reply) + "}";
    }
    return text + (messages.empty() ? "]\n" : "\n]\n");
}

}  // namespace tessolt::queue
