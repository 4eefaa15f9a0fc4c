#include "foundation/advice.h"

#include <tessolt/advice.h>

#include <algorithm>
#include <iterator>

namespace tessolt {
namespace {

struct Row {
    std::int32_t number;
    std::string_view text;
};

/// In rising order: causes, then error numbers.
constexpr Row kAdvice[] = {
    {TESSOLT_CAUSE_NAME_UNKNOWN,
     "Check how the host's name is spelled; is this machine connected to a network?"},
    {TESSOLT_CAUSE_NAME_SERVER,
     "Try again in a moment; check this machine's network and its name server "
     "(/etc/resolv.conf)."},
    {TESSOLT_CAUSE_REFUSED,
     "Check host and port: SMTP is usually on 465, 587 or 25, POP3 on 995 or 110. Is the server "
     "running?"},
    {TESSOLT_CAUSE_TIMED_OUT,
     "Check host and port; a firewall may drop the connection. Many networks block port 25: try "
     "465 or 587."},
    {TESSOLT_CAUSE_UNREACHABLE,
     "Check this machine's network connection, its routes and its firewall."},
    {TESSOLT_CAUSE_NOT_CONNECTED, "Check host and port, and this machine's network."},
    {TESSOLT_CAUSE_SILENT,
     "The port may want TLS from the start, as 465 (SMTP) and 995 (POP3) do: ask for TLS, or use "
     "587 or 110 with STARTTLS. Else the server is overloaded: try later."},
    {TESSOLT_CAUSE_OTHER_SERVICE,
     "Check the port: SMTP is usually on 465, 587 or 25, POP3 on 995 or 110."},
    {TESSOLT_CAUSE_NOT_SERVED,
     "Use the server that your provider names for mail programs, and its port for them (465 or "
     "587); this one doesn't serve your address."},
    {TESSOLT_CAUSE_NO_REPLY,
     "The server may be overloaded: try later, or allow it more time. A message whose end was sent "
     "may have arrived."},
    {TESSOLT_CAUSE_LOST, "Try again; if it happens each time, look into the server's log."},
    {TESSOLT_CAUSE_TLS_NOT_SPOKEN,
     "This port speaks no TLS yet: use port 465 (SMTP) or 995 (POP3), or STARTTLS on this one."},
    {TESSOLT_CAUSE_TLS_NOT_OFFERED,
     "Use port 465 (SMTP) or 995 (POP3) with TLS from the start, or another server. Where nobody "
     "can listen, as in a test network, the setting AllowPlainText lifts this."},
    {TESSOLT_CAUSE_TLS_FAILED,
     "The two sides found no common form of TLS: check the port, and whether the server is up to "
     "date."},
    {TESSOLT_CAUSE_CERTIFICATE_EXPIRED,
     "Whoever runs the server has to renew its certificate. Check this machine's clock too."},
    {TESSOLT_CAUSE_CERTIFICATE_EARLY, "Check this machine's clock."},
    {TESSOLT_CAUSE_CERTIFICATE_NAME,
     "Use the host name that the certificate is made out for. If that is a stranger's, something "
     "stands between you and the server."},
    {TESSOLT_CAUSE_CERTIFICATE_ISSUER,
     "If the server is your own, name its certificate, or that of its issuer, in the setting "
     "TrustFile; else something may stand between you and the server. The package ca-certificates "
     "holds the issuers that everybody trusts."},
    {TESSOLT_CAUSE_CERTIFICATE_OTHER,
     "Whoever runs the server has to mend its certificate, or the chain that it sends."},
    {TESSOLT_CAUSE_SETTINGS, "Mend the settings file, or what it names."},
    {TESSOLT_CAUSE_LOGIN_REFUSED,
     "Check user name and password. The user name is often the whole address, and some providers "
     "want a password made for mail programs."},
    {TESSOLT_CAUSE_LOGIN_UNSUPPORTED,
     "The server may offer a login on port 465 or 587 only, or to tokens only (OAuth 2). A server "
     "that takes mail without a login wants no user name."},
    {TESSOLT_CAUSE_LOGIN_NEEDED, "Give user name and password."},
    {TESSOLT_CAUSE_LOGIN_NEEDS_TLS,
     "Use TLS: port 465 (SMTP) or 995 (POP3), or STARTTLS on this one."},
    {TESSOLT_CAUSE_MAILBOX_LOCKED,
     "Another program has this mailbox open: close it, or wait some minutes."},
    {TESSOLT_CAUSE_SENDER_REFUSED,
     "Check the sender's address: most servers want the one that belongs to the login."},
    {TESSOLT_CAUSE_RECIPIENT_REFUSED,
     "Check the recipient's address. For addresses elsewhere, most servers want a login first."},
    {TESSOLT_CAUSE_TOO_LARGE,
     "Make the message smaller: share large files by a link, or send them one by one."},
    {TESSOLT_CAUSE_NO_ROOM,
     "The mailbox or the server is full: tell the recipient by other means, or try later."},
    {TESSOLT_CAUSE_TRY_LATER,
     "Send it again in some minutes, as the queue does by itself: servers put off senders whom "
     "they don't know yet."},
    {TESSOLT_CAUSE_CONTENT_REFUSED,
     "Read what the server says: filters refuse some attachments, links and senders."},
    {TESSOLT_CAUSE_NO_SUCH_MESSAGE, "List the mailbox anew: another program may have changed it."},
    {TESSOLT_CAUSE_FILE_MISSING, "Check the path."},
    {TESSOLT_CAUSE_FILE_FORBIDDEN,
     "Check the rights of the file and of its folder, or choose another place."},
    {TESSOLT_CAUSE_DISK_FULL, "Make room, or choose another place."},
    {TESSOLT_CAUSE_FILE_OTHER, "Check the path and the disk."},

    {421, "The server is closing: try later."},
    {441, "Connect first; the connection may have ended since."},
    {592,
     "The message, or one of its addresses, can't be sent as it is; else the connection was "
     "lost: connect again."},
    {707, "Connect first; the connection may have ended since."},
    {711, "The mailbox is empty."},
    {713, "The mailbox is empty."},
    {715, "The server may be overloaded: try later, or allow it more time."},
    {731, "The server may be overloaded: try later, or allow it more time."},
    {732, "The server may be overloaded: try later, or allow it more time."},
    {15010, "Give an EMailMessage."},
    {36002, "A text here may not hold control characters, nor a name what can't stand in it."},
    {36500, "Disconnect first."},
    {37400, "Name a host."},
    {37401, "A port is a number from 1 to 65535."},
    {37435, "Name a folder that exists and may be written in the setting Queue."},
    {37436, "Check the rights of the queue folder, and the room on its disk."},
    {37500, "Disconnect first."},
    {37501, "Name a host."},
    {37502, "A port is a number from 1 to 65535."},
    {37601, "This is no message: check what was read."},
    {37602, "Check the path."},
    {37603, "Check the folder, its rights and the room on its disk."},
    {37604, "Check the file that was attached."},
    {37605, "Check the path, and whether the file may be read."},
    {37606, "Check the file that was attached."},
    {37607, "Check the folder, its rights and the room on its disk."},
    {37608, "Give a sender: one address, like ann@example.org."},
    {37609, "Give a recipient."},
    {37610, "An address looks like bob@example.org."},
    {37611, "An address looks like bob@example.org."},
    {37612, "An address looks like bob@example.org."},
    {37613, "Attachments are counted from 1."},
    {37614, "The attachment is damaged: have it sent again."},
    {37712, "Ask for TLS before connecting."},
};

static_assert(std::is_sorted(std::begin(kAdvice), std::end(kAdvice),
                             [](const Row& a, const Row& b) { return a.number < b.number; }));

/// Numbers that tell a cause, and so have its advice.
struct Likeness {
    std::int32_t number;
    std::int32_t cause;
};
constexpr Likeness kLikenesses[] = {
    {450, TESSOLT_CAUSE_TRY_LATER},
    {451, TESSOLT_CAUSE_TRY_LATER},
    {452, TESSOLT_CAUSE_NO_ROOM},
    {454, TESSOLT_CAUSE_LOGIN_NEEDED},
    {505, TESSOLT_CAUSE_SENDER_REFUSED},
    {530, TESSOLT_CAUSE_LOGIN_NEEDED},
    {535, TESSOLT_CAUSE_LOGIN_REFUSED},
    {550, TESSOLT_CAUSE_RECIPIENT_REFUSED},
    {551, TESSOLT_CAUSE_RECIPIENT_REFUSED},
    {552, TESSOLT_CAUSE_TOO_LARGE},
    {553, TESSOLT_CAUSE_RECIPIENT_REFUSED},
    {554, TESSOLT_CAUSE_CONTENT_REFUSED},
    {704, TESSOLT_CAUSE_LOGIN_REFUSED},
    {710, TESSOLT_CAUSE_MAILBOX_LOCKED},
    {716, TESSOLT_CAUSE_NO_SUCH_MESSAGE},
    {725, TESSOLT_CAUSE_NO_SUCH_MESSAGE},
    {37402, TESSOLT_CAUSE_NOT_CONNECTED},
    {37403, TESSOLT_CAUSE_NO_REPLY},
    {37404, TESSOLT_CAUSE_OTHER_SERVICE},
    {37405, TESSOLT_CAUSE_NOT_SERVED},
    {37406, TESSOLT_CAUSE_OTHER_SERVICE},
    {37408, TESSOLT_CAUSE_LOST},
    {37410, TESSOLT_CAUSE_LOGIN_UNSUPPORTED},
    {37411, TESSOLT_CAUSE_LOGIN_REFUSED},
    {37414, TESSOLT_CAUSE_TLS_FAILED},
    {37503, TESSOLT_CAUSE_NOT_CONNECTED},
    {37504, TESSOLT_CAUSE_TLS_FAILED},
    {37506, TESSOLT_CAUSE_OTHER_SERVICE},
    {37508, TESSOLT_CAUSE_LOGIN_REFUSED},
    {37510, TESSOLT_CAUSE_LOGIN_REFUSED},
    {37511, TESSOLT_CAUSE_LOGIN_REFUSED},
    {37512, TESSOLT_CAUSE_LOST},
    {37516, TESSOLT_CAUSE_NO_SUCH_MESSAGE},
    {37517, TESSOLT_CAUSE_NO_SUCH_MESSAGE},
    {37518, TESSOLT_CAUSE_LOST},
    {37521, TESSOLT_CAUSE_LOST},
    {37702, TESSOLT_CAUSE_SETTINGS},
    {37703, TESSOLT_CAUSE_LOST},
    {37704, TESSOLT_CAUSE_TLS_NOT_SPOKEN},
    {37705, TESSOLT_CAUSE_SETTINGS},
    {37706, TESSOLT_CAUSE_TLS_FAILED},
    {37708, TESSOLT_CAUSE_TLS_NOT_OFFERED},
    {37709, TESSOLT_CAUSE_LOST},
    {37710, TESSOLT_CAUSE_LOST},
    {37713, TESSOLT_CAUSE_NO_REPLY},
};

}  // namespace

std::string_view AdviceFor(std::int32_t number) {
    const auto alike = std::find_if(std::begin(kLikenesses), std::end(kLikenesses),
                                    [=](const Likeness& row) { return row.number == number; });
    const std::int32_t wanted = alike != std::end(kLikenesses) ? alike->cause : number;
    const auto row = std::lower_bound(
        std::begin(kAdvice), std::end(kAdvice), wanted,
        [](const Row& candidate, std::int32_t key) { return candidate.number < key; });
    return row != std::end(kAdvice) && row->number == wanted ? row->text : std::string_view();
}

}  // namespace tessolt
