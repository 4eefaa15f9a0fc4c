/// The library's list of errors belongs to the thread, and so to the program that calls us. Only
/// for the sources of `TlsClient`.
#pragma once

#include <string>
#include <vector>

namespace platform {

/// Empties the thread's list of errors, as the library wants it before a call, and puts back what
/// was there when this goes.
class TlsErrorKeeper {
public:
    TlsErrorKeeper();
    ~TlsErrorKeeper();
    TlsErrorKeeper(const TlsErrorKeeper&) = delete;
    TlsErrorKeeper& operator=(const TlsErrorKeeper&) = delete;

private:
    struct Error {
        unsigned long code;
        int line;
        int flags;
        std::string file, function, data;
    };
    std::vector<Error> errors_;  ///< Oldest first.
};

}  // namespace platform
