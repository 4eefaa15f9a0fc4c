#pragma once

#include <string>
#include <string_view>

namespace tessolt {

/// A new identifier for a message, with its angle brackets (RFC 5322, section 3.6.4): random
/// letters and digits, "@", and the domain of the sender's address, or this machine's name where
/// the address has no domain in ASCII. Empty when the system has no random bytes to give.
std::string MakeMessageId(std::string_view senderAddress);

}  // namespace tessolt
