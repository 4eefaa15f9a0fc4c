#include "queue/queued_message.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "mail/scramble.h"
#include "message/queue_fields.h"
#include "mime/coding/content_coding.h"
#include "platform/file_system.h"

namespace tessolt::queue {

namespace {

constexpr std::array<std::string_view, 5> kSettingNames{"Host", "Port", "Secure", "Account",
                                                        "Password"};
enum Setting : std::size_t { kHost, kPort, kSecure, kAccount, kPassword };
constexpr std::int32_t kLastPort = 65535;
constexpr std::size_t kFirstRead = 16 * 1024;

using SettingValues = std::array<std::optional<std::string>, kSettingNames.size()>;

/// A field of a header: its name, its value with the folding, and all of its bytes.
struct Field {
    std::string_view name;
    std::string_view value;
    std::string_view whole;
};

/// Position behind the empty line that ends a header, npos if there is none.
std::size_t endOfHeader(std::string_view text, std::size_t from) {
    // A line end may have come with the bytes before.
    from = from < 3 ? 0 : from - 3;
    if (from == 0 && (text.starts_with("\r\n") || text.starts_with("\n"))) {
        return text.find('\n') + 1;
    }
    for (std::size_t at = text.find('\n', from); at != std::string_view::npos;
         at = text.find('\n', at + 1)) {
        const std::string_view rest = text.substr(at + 1, 2);
        if (rest.starts_with('\n') || rest == "\r\n") {
            return at + 1 + (rest.starts_with('\n') ? 1 : 2);
        }
    }
    return std::string_view::npos;
}

/// Takes the next field with its folded lines off `text`.
Field nextField(std::string_view& text) {
    std::size_t end = 0;
    do {
        const std::size_t feed = text.find('\n', end);
        end = feed == std::string_view::npos ? text.size() : feed + 1;
    } while (end < text.size() && (text[end] == ' ' || text[end] == '\t'));
    const std::string_view whole = text.substr(0, end);
    text.remove_prefix(end);
    const std::size_t colon = whole.find(':');
    if (colon == std::string_view::npos) {
        return {.name = {}, .value = {}, .whole = whole};
    }
    return {.name = borvik::trimmed(whole.substr(0, colon)),
            .value = borvik::trimmed(whole.substr(colon + 1)),
            .whole = whole};
}

std::string unfolded(std::string_view value) {
    std::string text;
    for (const char c : value) {
        if (c != '\r' && c != '\n') {
            text += c == '\t' ? ' ' : c;
        }
    }
    return text;
}

/// The text of a setting in the ANSI code page, as it was given.
std::string settingText(std::string_view value) {
    std::string text = unfolded(value);
    if (text.find("=?") == std::string::npos) {
        return text;
    }
    borvik::ContentCoding::decodeEncodedWords(text);
    return borvik::utf8ToAnsi(text);
}

std::optional<std::size_t> settingOf(std::string_view name) {
    if (borvik::beginsWithNoCase(name, kQueueFieldPrefix)) {
        for (std::size_t i = 0; i < kSettingNames.size(); ++i) {
            if (borvik::equalsNoCase(name.substr(kQueueFieldPrefix.size()), kSettingNames[i])) {
                return i;
            }
        }
    }
    return std::nullopt;
}

void fillServer(const SettingValues& values, QueuedMessage& message) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        // No account and no password are written as no field at all.
        if (!values[i] && i != kAccount && i != kPassword) {
            message.problem = "the field " +
                              std::string(kQueueFieldPrefix).append(kSettingNames[i]) +
                              " is missing";
            return;
        }
    }
    ServerSettings server;
    server.host = *values[kHost];
    server.isSecure = borvik::equalsNoCase(*values[kSecure], "True");
    server.account = values[kAccount].value_or("");
    const std::string& port = *values[kPort];
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), server.port);
    std::string scrambled = values[kPassword].value_or("");
    std::erase(scrambled, ' ');
    const std::optional<std::string> password = Unscramble(scrambled);
    if (error != std::errc() || end != port.data() + port.size() || server.port < 1 ||
        server.port > kLastPort) {
        message.problem = "the field for the server's port holds no port";
    } else if (server.host.empty()) {
        message.problem = "the field for the server's name is empty";
    } else if (!password) {
        message.problem = "the field for the password is damaged";
    } else {
        server.password = *password;
        message.server = server;
    }
}

/// 64 bits of FNV-1a, as text.
std::string digestOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
    return digits.data();
}

bool isPlain(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '_';
}

/// An identifier that follows from the file alone: however often the message is tried, and whatever
/// is forgotten in between, it has the same one.
std::string madeMessageId(std::string_view name, std::string_view header, std::string_view from) {
    std::string left;
    for (const char c : name) {
        left += isPlain(c) ? c : '-';
    }
    const std::size_t at = from.rfind('@');
    std::string domain;
    for (std::size_t i = at; at != std::string_view::npos && ++i < from.size();) {
        if (!isPlain(from[i]) && from[i] != '.') {
            break;
        }
        domain += from[i];
    }
    return "<" + left + "." + digestOf(header) + "@" +
           (domain.empty() ? "tessolt-queue.invalid" : domain) + ">";
}

void appendList(std::string& list, std::string_view value) {
    list += list.empty() ? "" : ",";
    list += unfolded(value);
}

}  // namespace

std::string ServerSettings::label() const {
    return host + ":" + std::to_string(port);
}

QueuedMessage parseQueuedMessage(std::string_view header, std::uint64_t fileSize,
                                 std::string_view name) {
    QueuedMessage message;
    SettingValues values;
    std::uint64_t kept = 0;  // where the range begins that hasn't ended yet
    const auto keepTo = [&](std::uint64_t end) {
        if (end > kept) {
            message.ranges.push_back({.begin = kept, .size = end - kept});
            message.size += end - kept;
        }
    };
    std::string_view rest = header;
    while (!rest.empty()) {
        const auto at = static_cast<std::uint64_t>(rest.data() - header.data());
        const Field field = nextField(rest);
        const std::optional<std::size_t> setting = settingOf(field.name);
        const bool isBcc = borvik::equalsNoCase(field.name, "Bcc");
        if (setting && !values[*setting]) {
            values[*setting] = settingText(field.value);
        } else if (isBcc) {
            appendList(message.bcc, field.value);
        } else if (borvik::equalsNoCase(field.name, "From")) {
            appendList(message.from, field.value);
        } else if (borvik::equalsNoCase(field.name, "To")) {
            appendList(message.to, field.value);
        } else if (borvik::equalsNoCase(field.name, "Cc")) {
            appendList(message.cc, field.value);
        } else if (borvik::equalsNoCase(field.name, "Message-ID") && !message.hasMessageId) {
            message.hasMessageId = true;
            message.messageId = unfolded(field.value);
        }
        if (setting || isBcc) {
            keepTo(at);
            kept = at + field.whole.size();
            message.serverFields.append(setting ? field.whole : std::string_view());
        } else {
            message.header += field.whole;
        }
    }
    keepTo(fileSize);
    if (!message.hasMessageId) {
        message.messageId = madeMessageId(name, header, message.from);
    }
    fillServer(values, message);
    return message;
}

int readQueuedMessage(const platform::File& file, std::string_view name, QueuedMessage& message) {
    std::uint64_t size = 0;
    int error = file.size(size);
    std::string text;
    std::size_t end = std::string::npos;
    while (error == 0 && end == std::string::npos && text.size() < kMaxHeaderBytes) {
        const std::size_t before = text.size();
        text.resize(before == 0 ? kFirstRead : 2 * before);
        std::size_t got = 0;
        error = file.readAt(before, text.data() + before, text.size() - before, got);
        text.resize(before + got);
        if (got == 0) {
            end = text.size();
        } else {
            end = endOfHeader(text, before);
        }
    }
    if (error == 0 && end == std::string::npos) {
        error = EFBIG;
    }
    if (error == 0) {
        message = parseQueuedMessage(std::string_view(text).substr(0, end), size, name);
    }
    return error;
}

}  // namespace tessolt::queue
