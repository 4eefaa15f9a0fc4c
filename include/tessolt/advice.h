/// What to do about a failure. Usable from C11 and C++17.
#pragma once

#include <tessolt/automation_types.h>

/// Why an operation failed, where more is known than the error number says: what
/// `ITransfer::GetFailure` tells. The tens tell the kind.
enum TessoltCause {
    TESSOLT_CAUSE_NONE = 0,

    // No connection, or none to a server of that kind.
    TESSOLT_CAUSE_NAME_UNKNOWN = 1,
    TESSOLT_CAUSE_NAME_SERVER = 2,  ///< Nobody could look the name up just now.
    TESSOLT_CAUSE_REFUSED = 3,
    TESSOLT_CAUSE_TIMED_OUT = 4,
    TESSOLT_CAUSE_UNREACHABLE = 5,
    TESSOLT_CAUSE_NOT_CONNECTED = 6,
    TESSOLT_CAUSE_SILENT = 7,  ///< Connected, but no welcome came.
    TESSOLT_CAUSE_OTHER_SERVICE = 8,
    TESSOLT_CAUSE_NOT_SERVED = 9,  ///< The server wants nothing to do with this client.
    TESSOLT_CAUSE_NO_REPLY = 10,
    TESSOLT_CAUSE_LOST = 11,  ///< The connection ended in the middle.

    // No channel that is safe.
    TESSOLT_CAUSE_TLS_NOT_SPOKEN = 20,
    TESSOLT_CAUSE_TLS_NOT_OFFERED = 21,
    TESSOLT_CAUSE_TLS_FAILED = 22,
    TESSOLT_CAUSE_CERTIFICATE_EXPIRED = 23,
    TESSOLT_CAUSE_CERTIFICATE_EARLY = 24,  ///< Not yet valid.
    TESSOLT_CAUSE_CERTIFICATE_NAME = 25,
    TESSOLT_CAUSE_CERTIFICATE_ISSUER = 26,
    TESSOLT_CAUSE_CERTIFICATE_OTHER = 27,
    TESSOLT_CAUSE_SETTINGS = 28,  ///< The settings, or what they name, can't be used.

    // No login.
    TESSOLT_CAUSE_LOGIN_REFUSED = 40,
    TESSOLT_CAUSE_LOGIN_UNSUPPORTED = 41,
    TESSOLT_CAUSE_LOGIN_NEEDED = 42,
    TESSOLT_CAUSE_LOGIN_NEEDS_TLS = 43,
    TESSOLT_CAUSE_MAILBOX_LOCKED = 44,

    // The message wasn't taken, or isn't there.
    TESSOLT_CAUSE_SENDER_REFUSED = 60,
    TESSOLT_CAUSE_RECIPIENT_REFUSED = 61,
    TESSOLT_CAUSE_TOO_LARGE = 62,
    TESSOLT_CAUSE_NO_ROOM = 63,
    TESSOLT_CAUSE_TRY_LATER = 64,
    TESSOLT_CAUSE_CONTENT_REFUSED = 65,
    TESSOLT_CAUSE_NO_SUCH_MESSAGE = 66,

    // A file.
    TESSOLT_CAUSE_FILE_MISSING = 80,
    TESSOLT_CAUSE_FILE_FORBIDDEN = 81,
    TESSOLT_CAUSE_DISK_FULL = 82,
    TESSOLT_CAUSE_FILE_OTHER = 83
};

/// What a user can do about a TESSOLT_CAUSE, or about an error number of the catalogue: one or two
/// whole sentences, empty for a number about which nothing is known. The caller frees it; null when
/// memory ends.
TESSOLT_API BSTR TessoltAllocAdvice(int32_t number);
/// The text of an error number, as `GetErrorDescription` gives it. The caller frees it; null when
/// memory ends.
TESSOLT_API BSTR TessoltAllocErrorText(int32_t number);
