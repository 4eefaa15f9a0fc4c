#include "reading/addresses.h"

#include <string>

#include "charset/ansi_text.h"
#include "harness.h"
#include "message/znmail.h"
#include "mime/header/rfc822_address.h"
#include "queue/envelope.h"

namespace fuzz {
namespace {

/// Of a text, no more comes out than one address could be made of each byte.
constexpr std::size_t kMostGrowth = 8;

void checkMailbox(std::string_view text) {
    const borvik::Rfc822Address mailbox(text);
    std::string parts;
    mailbox.friendlyName(parts);
    mailbox.address(parts);
    require(parts.size() <= kMostGrowth * text.size());
    std::string unfolded;
    borvik::Rfc822ParseHelp::unfoldAddressText(text, unfolded);
    require(unfolded.find_first_of("\r\n") == unfolded.npos);
}

void checkEnvelope(std::string_view text) {
    for (const std::string& address : tessolt::queue::addressesOf(text)) {
        const bool holds = address.find_first_of(std::string_view("\r\n\0 <>", 6)) == address.npos;
        require(holds || !tessolt::queue::canBeSent(address));
    }
}

void checkRecipients(std::string_view text) {
    tessolt::CZnMail mail;
    const std::u16string wide = borvik::utf8ToWidePaired(text);
    if (mail.AddTo(wide) == tessolt::kMailOk) {
        const std::string joined = tessolt::CZnMail::JoinAddresses(mail.m_lstTo);
        require(joined.size() <= kMostGrowth * (text.size() + 1));
    } else {
        require(mail.m_lstTo.empty());
    }
}

}  // namespace

/// Reads the text as an address field by every way that there is.
void fuzzAddresses(Input input) {
    const std::string_view text = input.rest();
    checkMailbox(text);
    std::size_t bytes = 0;
    borvik::forEachAddress(text, [&](const borvik::Rfc822Address& mailbox) {
        std::string parts;
        mailbox.friendlyName(parts);
        mailbox.address(parts);
        bytes += parts.size();
    });
    for (const tessolt::reading::Mailbox& mailbox : tessolt::reading::mailboxes(text)) {
        bytes += mailbox.name.size() + mailbox.address.size();
        require(mailbox.address.find_first_of("\r\n") == std::string::npos);
    }
    require(bytes <= 2 * kMostGrowth * text.size());
    checkEnvelope(text);
    checkRecipients(text);
}

}  // namespace fuzz
