/// Names of this machine, its user and its running parts.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

/// The machine's name, at most 255 bytes, with "-" for blanks and control characters; "localhost"
/// when it has none.
std::string computerName();
/// The login name of the user that runs the process; its number in decimal when it has none.
std::string userName();
/// The number of the calling thread in the system.
std::uint32_t threadId();

}  // namespace platform
