/// Host names in the form that the network knows.
#pragma once

#include <string>

namespace platform {

/// The ASCII form of a host name in UTF-8, for look-ups, name indication and certificates: letters
/// beyond ASCII by the rules of IDNA 2008 (RFC 5891). A name that is ASCII is left as it is.
/// Returns false for one that has no such form; it is left as it is then.
bool toAsciiHostName(std::string& name);

/// Takes away the dot with which an absolute name may end: neither a certificate nor a name
/// indication has it (RFC 6066, 3).
void removeRootDot(std::string& name);

}  // namespace platform
