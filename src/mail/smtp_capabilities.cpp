#include "mail/smtp_capabilities.h"

#include <algorithm>
#include <charconv>

#include "base/ascii_text.h"

namespace tessolt {

namespace {

constexpr std::size_t kWordsAt = 4;
constexpr std::string_view kAuthOfOld = "AUTH=";

struct KeywordRow {
    std::string_view word;
    bool SmtpCapabilities::*offered;
};

constexpr KeywordRow kKeywords[] = {
    {"STARTTLS", &SmtpCapabilities::startTls},     {"SIZE", &SmtpCapabilities::size},
    {"8BITMIME", &SmtpCapabilities::eightBitMime}, {"SMTPUTF8", &SmtpCapabilities::smtpUtf8},
    {"PIPELINING", &SmtpCapabilities::pipelining},
};

void readArguments(const std::vector<std::string>& words, SmtpCapabilities& result) {
    if (words[0] == "SIZE" && words.size() > 1) {
        const std::string& limit = words[1];
        std::from_chars(limit.data(), limit.data() + limit.size(), result.sizeLimit);
    }
    if (words[0] == "AUTH") {
        result.mechanisms.insert(result.mechanisms.end(), words.begin() + 1, words.end());
    }
}

}  // namespace

std::vector<std::string> UpperWords(std::string_view line) {
    constexpr std::string_view kBlanks = " \t";
    std::vector<std::string> words;
    for (std::size_t at = line.find_first_not_of(kBlanks); at < line.size();) {
        const std::size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
        std::string& word = words.emplace_back(line.substr(at, end - at));
        std::transform(word.begin(), word.end(), word.begin(), borvik::asciiUpper);
        at = line.find_first_not_of(kBlanks, end);
    }
    return words;
}

SmtpCapabilities ReadSmtpCapabilities(const std::vector<std::string>& lines) {
    SmtpCapabilities result;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::vector<std::string> words =
            UpperWords(std::string_view(lines[i]).substr(std::min(kWordsAt, lines[i].size())));
        if (!words.empty() && words[0].starts_with(kAuthOfOld)) {
            words.insert(words.begin() + 1, words[0].substr(kAuthOfOld.size()));
            words[0] = "AUTH";
        }
        if (words.empty()) {
            continue;
        }
        for (const KeywordRow& row : kKeywords) {
            result.*row.offered = result.*row.offered || words[0] == row.word;
        }
        readArguments(words, result);
    }
    return result;
}

}  // namespace tessolt
