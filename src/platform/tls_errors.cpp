#include "platform/tls_errors.h"

#include <openssl/err.h>

namespace platform {

TlsErrorKeeper::TlsErrorKeeper() {
    const char* file = nullptr;
    const char* function = nullptr;
    const char* data = nullptr;
    int line = 0;
    int flags = 0;
    while (const unsigned long code = ERR_get_error_all(&file, &line, &function, &data, &flags)) {
        errors_.push_back(
            {code, line, flags, file ? file : "", function ? function : "", data ? data : ""});
    }
}

TlsErrorKeeper::~TlsErrorKeeper() {
    ERR_clear_error();
    for (const Error& error : errors_) {
        ERR_new();
        ERR_set_debug(error.file.c_str(), error.line, error.function.c_str());
        const bool hasText = (error.flags & ERR_TXT_STRING) != 0;
        ERR_set_error(ERR_GET_LIB(error.code), ERR_GET_REASON(error.code), hasText ? "%s" : nullptr,
                      error.data.c_str());
    }
}

}  // namespace platform
