#pragma once

#include <tessolt/mail.h>

#include <string>

namespace tessolt::shell {

/// How the program ends; the manual page tells the same.
enum ExitCode : int {
    kDone = 0,
    kPartly = 1,  ///< Some recipients, messages, files or characters were left out.
    kWrongUse = 2,
    kNoConnection = 3,
    kNotSafe = 4,  ///< TLS or its certificate.
    kNoLogin = 5,
    kRefused = 6,
    kLater = 7,  ///< The same may work in a while.
    kFile = 8,
    kOther = 9,
};

/// Ends the program with a line for people.
struct Problem {
    int code;
    std::string text;
};

/// The code for a failure of the library.
int exitCodeOf(LONG cause, LONG number);
inline int exitCodeOf(const Status& status) {
    return exitCodeOf(status.cause, status.number);
}

}  // namespace tessolt::shell
