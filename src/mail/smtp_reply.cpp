#include "mail/smtp_reply.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace tessolt {

namespace {

constexpr std::size_t kCodeDigits = 3;
constexpr int kEnhancedNumbers = 3;
constexpr std::size_t kMostEnhancedDigits = 3;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The length of an enhanced status code at the start of the words, 0 when there is none.
std::size_t enhancedLength(std::string_view words) {
    std::size_t at = 0;
    for (int number = 0; number < kEnhancedNumbers; ++number) {
        const std::size_t start = at;
        while (at < words.size() && isDigit(words[at])) {
            ++at;
        }
        const bool last = number == kEnhancedNumbers - 1;
        const char end = at < words.size() ? words[at] : ' ';
        if (at == start || at - start > kMostEnhancedDigits || end != (last ? ' ' : '.')) {
            return 0;
        }
        at += last ? 0 : 1;
    }
    return at;
}

}  // namespace

std::string SmtpReply::Line() const {
    std::string line = std::to_string(code);
    for (const std::string& piece : {enhanced, text}) {
        if (!piece.empty()) {
            line += " " + piece;
        }
    }
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line;
}

SmtpReply ReadSmtpReply(const std::vector<std::string>& lines) {
    SmtpReply reply;
    for (const std::string& line : lines) {
        std::string_view words = line;
        const char* const begin = line.data();
        int code = 0;
        std::from_chars(begin, begin + std::min(kCodeDigits, line.size()), code);
        reply.code = code;
        words.remove_prefix(std::min(kCodeDigits + 1, words.size()));
        if (const std::size_t length = enhancedLength(words); length > 0) {
            reply.enhanced = words.substr(0, length);
            words.remove_prefix(std::min(length + 1, words.size()));
        }
        reply.text += (&line == lines.data() ? "" : "\n") + std::string(words);
    }
    return reply;
}

const SmtpRecipientReply* SmtpDelivery::FirstRefused() const {
    const auto found = std::find_if(recipients.begin(), recipients.end(),
                                    [](const auto& each) { return !each.reply.IsPositive(); });
    return found == recipients.end() ? nullptr : &*found;
}

const SmtpReply& SmtpDelivery::Decisive() const {
    const SmtpRecipientReply* refused = taken ? FirstRefused() : nullptr;
    return refused ? refused->reply : last;
}

bool SmtpDelivery::AnyAccepted() const {
    return std::any_of(recipients.begin(), recipients.end(),
                       [](const auto& each) { return each.reply.IsPositive(); });
}

}  // namespace tessolt
