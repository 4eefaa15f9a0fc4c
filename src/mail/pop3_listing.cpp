#include <charconv>
#include <cstddef>
#include <string>
#include <utility>

#include "mail/pop3.h"

namespace tessolt {

namespace {

/// A server that lists more than this isn't listing a mailbox.
constexpr int kMaxListLines = 1'000'000;

/// A line of a list: a number, a blank, and what is told of that message.
struct ListLine {
    std::int32_t number = 0;
    std::string_view value;
};

ListLine ReadListLine(std::string_view line) {
    ListLine result;
    const char* const end = line.data() + line.size();
    const auto [behind, error] = std::from_chars(line.data(), end, result.number);
    if (error != std::errc() || behind == end || *behind != ' ') {
        return {};
    }
    result.value = std::string_view(behind + 1, static_cast<std::size_t>(end - behind - 1));
    return result;
}

}  // namespace

/// Sends a command whose reply is a list and hands on each line of it.
template <typename Take>
std::int32_t CZnPop3::ReadList(std::string_view command, Take take) {
    std::int32_t result = SendCommand(command);
    if (result == 0 && !IsPositive()) {
        result = kPop3RetrieveFailed;
    }
    CZncString line;
    for (int lines = 0; result == 0 && lines < kMaxListLines; ++lines) {
        if (AfterRead(ReadLine(line, m_lTimeoutCommand)) != 0) {
            return kPop3ReadFailed;
        }
        if (line == ".") {
            return 0;
        }
        take(ReadListLine(line.View()));
    }
    return result != 0 ? result : AfterRead(kPop3ReadFailed);
}

std::int32_t CZnPop3::List(std::vector<Pop3Entry>& entries) {
    entries.clear();
    ForgetTrouble();
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    const std::int32_t result = InStep([&] { return ReadLists(entries); });
    if (result != 0) {
        entries.clear();
    }
    BlameResult(result);
    return Told(result);
}

std::int32_t CZnPop3::ReadLists(std::vector<Pop3Entry>& entries) {
    std::int32_t result = ReadList("LIST", [&](const ListLine& line) {
        Pop3Entry entry{line.number};
        std::from_chars(line.value.data(), line.value.data() + line.value.size(), entry.size);
        if (line.number > 0) {
            entries.push_back(std::move(entry));
        }
    });
    if (result == 0 && (m_uCapabilities & kPop3CanUidl) != 0) {
        // Both lists come in the order of the numbers; one that doesn't costs its ids.
        std::size_t at = 0;
        result = ReadList("UIDL", [&](const ListLine& line) {
            while (at < entries.size() && entries[at].number < line.number) {
                ++at;
            }
            if (at < entries.size() && entries[at].number == line.number) {
                entries[at].uid = line.value;
            }
        });
    }
    return result;
}

}  // namespace tessolt
