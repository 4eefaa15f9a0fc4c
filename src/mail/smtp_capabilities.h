#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// What an SMTP server says that it can do (RFC 5321, 4.1.1.1). All off after HELO.
struct SmtpCapabilities {
    bool startTls = false;                ///< RFC 3207
    bool size = false;                    ///< RFC 1870
    bool eightBitMime = false;            ///< RFC 6152
    bool smtpUtf8 = false;                ///< RFC 6531
    bool pipelining = false;              ///< RFC 2920
    std::uint64_t sizeLimit = 0;          ///< Bytes of a message; 0 for none told.
    std::vector<std::string> mechanisms;  ///< For AUTH (RFC 4954), in upper case.
};

/// Reads the lines of a reply to EHLO, the first of which is the greeting.
SmtpCapabilities ReadSmtpCapabilities(const std::vector<std::string>& lines);

/// The words of a line in ASCII upper case, which blanks or tabs separate.
std::vector<std::string> UpperWords(std::string_view line);

}  // namespace tessolt
