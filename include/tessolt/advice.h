/// What to do about a failure. Usable from C11 and C++17.
#pragma once

#include <tessolt/automation_types.h>

/// Why an operation failed, where more is known than the error number says: what
/// `ITransfer::GetFailure` tells. The tens tell the kind.
enum TessoltCause {
    TESSOLT_CAUSE_NONE = 0,  ///< Nothing is known beyond the error number.

    // No connection, or none to a server of that kind.
    TESSOLT_CAUSE_NAME_UNKNOWN = 1,   ///< There is no such host, or it has no address.
    TESSOLT_CAUSE_NAME_SERVER = 2,    ///< Nobody could look the name up just now.
    TESSOLT_CAUSE_REFUSED = 3,        ///< Nothing listens at that port.
    TESSOLT_CAUSE_TIMED_OUT = 4,      ///< No connection within the limit.
    TESSOLT_CAUSE_UNREACHABLE = 5,    ///< This machine has no way to the host.
    TESSOLT_CAUSE_NOT_CONNECTED = 6,  ///< No connection, for any other reason.
    TESSOLT_CAUSE_SILENT = 7,         ///< Connected, but no welcome came.
    TESSOLT_CAUSE_OTHER_SERVICE = 8,  ///< What listens there isn't such a mail server.
    TESSOLT_CAUSE_NOT_SERVED = 9,     ///< The server wants nothing to do with this client.
    TESSOLT_CAUSE_NO_REPLY = 10,      ///< Connected, but a reply didn't come in time.
    TESSOLT_CAUSE_LOST = 11,          ///< The connection ended in the middle.

    // No channel that is safe.
    TESSOLT_CAUSE_TLS_NOT_SPOKEN = 20,   ///< What came isn't TLS: the port begins in the clear.
    TESSOLT_CAUSE_TLS_NOT_OFFERED = 21,  ///< TLS was required; the server has no STARTTLS or STLS.
    TESSOLT_CAUSE_TLS_FAILED = 22,       ///< The handshake failed or didn't end.
    TESSOLT_CAUSE_CERTIFICATE_EXPIRED = 23,  ///< No longer valid.
    TESSOLT_CAUSE_CERTIFICATE_EARLY = 24,    ///< Not yet valid.
    TESSOLT_CAUSE_CERTIFICATE_NAME = 25,     ///< Made out for another host.
    TESSOLT_CAUSE_CERTIFICATE_ISSUER = 26,   ///< Signed by nobody who is trusted here.
    TESSOLT_CAUSE_CERTIFICATE_OTHER = 27,    ///< Refused for any other reason.
    TESSOLT_CAUSE_SETTINGS = 28,             ///< The settings, or what they name, can't be used.

    // No login.
    TESSOLT_CAUSE_LOGIN_REFUSED = 40,      ///< The server refused user or password.
    TESSOLT_CAUSE_LOGIN_UNSUPPORTED = 41,  ///< No kind of login that both sides know.
    TESSOLT_CAUSE_LOGIN_NEEDED = 42,       ///< The server wants a login first; none was made.
    TESSOLT_CAUSE_LOGIN_NEEDS_TLS = 43,    ///< No login or no mail without TLS.
    TESSOLT_CAUSE_MAILBOX_LOCKED = 44,     ///< Another session has the mailbox open.

    // The message wasn't taken, or isn't there.
    TESSOLT_CAUSE_SENDER_REFUSED = 60,     ///< The server doesn't take mail from that address.
    TESSOLT_CAUSE_RECIPIENT_REFUSED = 61,  ///< The server doesn't take mail for that address.
    TESSOLT_CAUSE_TOO_LARGE = 62,          ///< More than the server takes.
    TESSOLT_CAUSE_NO_ROOM = 63,            ///< The mailbox or the server's disk is full.
    TESSOLT_CAUSE_TRY_LATER = 64,          ///< Put off for now: a later try may do.
    TESSOLT_CAUSE_CONTENT_REFUSED = 65,    ///< The server doesn't take what is in the message.
    TESSOLT_CAUSE_NO_SUCH_MESSAGE = 66,  ///< The server has none of that number, or keeps it back.

    // A file.
    TESSOLT_CAUSE_FILE_MISSING = 80,    ///< There is no file or folder of that name.
    TESSOLT_CAUSE_FILE_FORBIDDEN = 81,  ///< The permissions don't allow it.
    TESSOLT_CAUSE_DISK_FULL = 82,       ///< No space left, or more than the user may have.
    TESSOLT_CAUSE_FILE_OTHER = 83       ///< It couldn't be read or written, for any other reason.
};

/// What a user can do about a TESSOLT_CAUSE, or about an error number of the catalogue: one or two
/// whole sentences, empty for a number about which nothing is known. The caller frees it; null when
/// memory ends.
TESSOLT_API BSTR TessoltAllocAdvice(int32_t number);
/// The text of an error number, as `GetErrorDescription` gives it. The caller frees it; null when
/// memory ends.
TESSOLT_API BSTR TessoltAllocErrorText(int32_t number);
