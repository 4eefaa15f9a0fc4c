#include "queue/envelope.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "base/ascii_text.h"
#include "mime/header/quoted_scan.h"
#include "mime/header/rfc822_address.h"

namespace tessolt::queue {

namespace {

/// Nobody has an address as long as this: RFC 5321, 4.5.3.1, allows 64 and 255 bytes.
constexpr std::size_t kLongestAddress = 1000;

constexpr const char* kNoAddress = "this is no address that can be sent";

bool isBlankOrControl(char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7F';
}

/// The address of one mailbox of a list. A display name may hold anything between quotes.
std::string addressOf(std::string_view mailbox) {
    const std::size_t open = borvik::lengthBefore(mailbox, '<', true);
    if (open < mailbox.size()) {
        const std::string_view inside = mailbox.substr(open + 1);
        return std::string(borvik::trimmed(inside.substr(0, inside.find('>'))));
    }
    // The name of a group ends in a colon; an address may have one in its domain only.
    const std::size_t colon = borvik::lengthBefore(mailbox, ':', true);
    if (colon < std::min(mailbox.find('@'), mailbox.size())) {
        mailbox.remove_prefix(colon + 1);
    }
    std::string address;
    if (const borvik::Rfc822Address read(mailbox); read.isValid()) {
        read.address(address);
    }
    return address;
}

}  // namespace

bool canBeSent(std::string_view address) {
    return !address.empty() && address.size() <= kLongestAddress &&
           address.find_first_of("<>") == std::string_view::npos &&
           std::none_of(address.begin(), address.end(), isBlankOrControl);
}

std::vector<std::string> addressesOf(std::string_view field) {
    std::vector<std::string> addresses;
    std::unordered_set<std::string> known;
    while (!field.empty()) {
        const std::size_t length = borvik::lengthBefore(field, ',', true);
        std::string_view mailbox = borvik::trimmed(field.substr(0, length));
        // What is left of a group's frame (RFC 5322, 3.4) at its last member.
        while (mailbox.ends_with(';')) {
            mailbox = borvik::trimmed(mailbox.substr(0, mailbox.size() - 1));
        }
        std::string address = addressOf(mailbox);
        if (!address.empty() && known.insert(address).second) {
            addresses.push_back(std::move(address));
        }
        field.remove_prefix(std::min(length + 1, field.size()));
    }
    return addresses;
}

SmtpEnvelope envelopeOf(const QueuedMessage& message, MessageState& state) {
    SmtpEnvelope envelope;
    const std::vector<std::string> senders = addressesOf(message.from);
    if (!state.isNotice && !senders.empty()) {
        envelope.sender = senders.front();
    }
    std::unordered_set<std::string> settled(state.delivered.begin(), state.delivered.end());
    for (const RefusedRecipient& refused : state.refused) {
        settled.insert(refused.address);
    }
    for (std::string& address : addressesOf(message.to + "," + message.cc + "," + message.bcc)) {
        const bool isPossible = canBeSent(address);
        std::replace_if(address.begin(), address.end(), isBlankOrControl, '_');
        if (settled.contains(address)) {
            continue;
        }
        if (isPossible) {
            envelope.recipients.push_back({.address = std::move(address)});
        } else {
            state.refused.push_back({.address = std::move(address), .reply = kNoAddress});
        }
    }
    return envelope;
}

}  // namespace tessolt::queue
