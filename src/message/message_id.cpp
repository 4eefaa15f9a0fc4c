#include "message/message_id.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/machine.h"
#include "platform/random_bytes.h"

namespace tessolt {
namespace {

/// Five bits a character: as many as make two equal identifiers out of the question.
constexpr std::size_t kRandomCharacters = 26;
constexpr std::string_view kAlphabet = "0123456789abcdefghijklmnopqrstuv";

/// Whether the text can stand behind the "@" without quoting (RFC 5322, section 3.2.3).
bool isDomain(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               c == '-' || c == '.' || c == '_';
    });
}

}  // namespace

std::string MakeMessageId(std::string_view senderAddress) {
    std::array<std::uint8_t, kRandomCharacters> random{};
    if (!platform::randomBytes(random.data(), random.size())) {
        return {};
    }
    std::string id = "<";
    for (const std::uint8_t byte : random) {
        id += kAlphabet[byte % kAlphabet.size()];
    }
    const std::size_t at = senderAddress.rfind('@');
    const std::string_view domain =
        at == std::string_view::npos ? std::string_view() : senderAddress.substr(at + 1);
    const std::string machine = isDomain(domain) ? std::string() : platform::computerName();
    id += '@';
    id += isDomain(domain) ? domain : isDomain(machine) ? std::string_view(machine) : "localhost";
    id += '>';
    return id;
}

}  // namespace tessolt
